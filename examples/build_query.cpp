// SPDX-License-Identifier: Apache-2.0
// Asks for the full images after a time and reads the answer. The other party's side stands here too: it takes the query
// apart, finds what meets it and writes the results.
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <string>
#include <vector>

#include "vellix/CatQueryCriteriaHelper.h"
#include "vellix/VellixAttributes.h"
#include "vellix/VellixWalk.h"
#include "vellix/VellixWriter.h"

namespace {

// [format]
void addFormat(CatQueryCriteriaHelper& query) {
    VellixDoc format(VELLIX_DOC_RETURN_RESULT_FORMAT);
    query.addDoc(format);

    VellixDoc limits(VELLIX_DOC_RESULT_CONSTRAINTS);
    vellix::set(limits, vellix::query::maxResultEntries, 100); // before the document's tag goes out
    format.addChildDoc(limits);
    limits.close();

    VellixDoc wanted(VELLIX_DOC_IMAGE_ATTRIBUTES);
    format.addChildDoc(wanted);
    for (const char* name : {"Name", "Time"}) {
        VellixEntry column(VELLIX_DOC_IMAGE_ATTRIBUTES);
        vellix::set(column, vellix::query::name, name);
        wanted.addEntry(column);
    }
    wanted.close();
    format.close();
}
// [format]

void addCriterion(VellixDoc& all, const char* name, const char* comparison, const char* value) {
    VellixEntry column(VELLIX_DOC_IMAGE_CONSTR_AND);
    vellix::set(column, vellix::query::name, name);
    vellix::set(column, vellix::query::op, comparison);
    vellix::set(column, vellix::query::value, value);
    all.addEntry(column);
}

void addConstraints(CatQueryCriteriaHelper& query) {
    VellixDoc constraints(VELLIX_DOC_QUERY_CONSTRAINTS);
    VellixDoc images(VELLIX_DOC_IMAGE_CONSTRAINTS);
    VellixDoc all(VELLIX_DOC_IMAGE_CONSTR_AND);
    query.addDoc(constraints);
    constraints.addChildDoc(images);
    images.addChildDoc(all);
    addCriterion(all, "Type", "=", "Full");
    addCriterion(all, "Time", ">", "1700000000");
    all.close(); // from the inside outward
    images.close();
    constraints.close();
}

std::string ask() {
    // [query]
    CatQueryCriteriaHelper query;
    if (!query.create(nullptr)) return ""; // by way of a temporary file
    query.setRequester("job");
    query.setRequestId("r1"); // both before the first document
    addFormat(query);
    addConstraints(query);

    const char* text = query.serialize(); // no NUL behind it
    if (text == nullptr) return "";       // something of it was lost
    return std::string(text, static_cast<std::size_t>(query.size() - 1));
    // [query]
}

// What the other party knows.
struct Backup {
    const char* name;
    const char* kind;
    std::uint32_t time;
};
constexpr Backup kBackups[] = {{"host_1699913600", "Full", 1699913600},
                               {"host_1700086400", "Full", 1700086400},
                               {"host_1700172800", "Incremental", 1700172800},
                               {"host_1700691200", "Full", 1700691200}};

struct Criterion {
    std::string name, comparison, value;
};

// What names, comparisons and values mean is agreed between the two; the library doesn't know it.
bool meets(const Backup& backup, const Criterion& criterion) {
    if (criterion.name == "Type") return criterion.comparison == "=" && criterion.value == backup.kind;
    if (criterion.name != "Time" || criterion.comparison != ">") return false;
    return backup.time > std::strtoull(criterion.value.c_str(), nullptr, 10);
}

// [criteria]
std::vector<Criterion> criteriaOf(const std::string& query) {
    std::vector<Criterion> criteria;
    vellix::Walk walk = vellix::Walk::overText(query);
    for (const VellixEntry& column : walk.entries(VELLIX_DOC_IMAGE_CONSTR_AND)) {
        criteria.push_back({std::string(vellix::get(column, vellix::query::name).value_or("")),
                            std::string(vellix::get(column, vellix::query::op).value_or("")),
                            std::string(vellix::get(column, vellix::query::value).value_or(""))});
    }
    return criteria;
}
// [criteria]

bool meetsAll(const Backup& backup, const std::vector<Criterion>& criteria) {
    for (const Criterion& criterion : criteria) {
        if (!meets(backup, criterion)) return false;
    }
    return true;
}

// [answer]
bool answer(const std::string& query) {
    const std::vector<Criterion> criteria = criteriaOf(query);
    VellixWriter writer; // root CatResults
    if (!writer.create(L"answer.xml")) return false;
    vellix::set(writer.getRootDoc(), vellix::results::ID, "1700000000");
    VellixDoc list(VELLIX_DOC_DOC);
    writer.addDoc(list);
    for (const Backup& backup : kBackups) {
        if (!meetsAll(backup, criteria)) continue;
        VellixDoc found(VELLIX_DOC_IMAGE);
        vellix::set(found, vellix::image::ID, backup.name);
        vellix::set(found, vellix::image::BT, backup.time);
        list.addChildDoc(found);
        found.close();
    }
    list.close();
    writer.markComplete();
    writer.close();
    return writer.isIntact(); // all of it is in the file
}
// [answer]

// [results]
bool readAnswer() {
    vellix::Walk walk("answer.xml");
    for (const vellix::Document& found : walk.documents(VELLIX_DOC_IMAGE)) {
        std::cout << vellix::get(found.attributes(), vellix::image::ID).value_or("") << " at "
                  << vellix::get(found.attributes(), vellix::image::BT).value_or(0) << '\n';
    }
    return walk && walk.isComplete();
}
// [results]

} // namespace

int main() {
    const std::string query = ask();
    if (query.empty() || !answer(query)) return 1;
    std::cout << query << '\n' << std::ifstream("answer.xml").rdbuf() << '\n';
    return readAnswer() ? 0 : 1;
}
