// SPDX-License-Identifier: Apache-2.0
// Builds a catalog query and prints its text: full images after a time, with their names, at most 100 of them.
#include <cstdio>
#include <initializer_list>

#include "vellix/CatQueryCriteriaHelper.h"

namespace {

// Attribute numbers, the same in all documents of a query.
constexpr unsigned short kMaxEntries = 2; // maxResultEntries
constexpr unsigned short kName = 4;
constexpr unsigned short kOperator = 5;
constexpr unsigned short kValue = 6;

// [format]
void addFormat(CatQueryCriteriaHelper& query) {
    VellixDoc format(VELLIX_DOC_RETURN_RESULT_FORMAT);
    query.addDoc(format);

    VellixDoc limits(VELLIX_DOC_RESULT_CONSTRAINTS);
    limits.addAttribute(kMaxEntries, 100, false); // before the document's tag goes out
    format.addChildDoc(limits);
    limits.close();

    VellixDoc wanted(VELLIX_DOC_IMAGE_ATTRIBUTES);
    format.addChildDoc(wanted);
    for (const char* name : {"Name", "Type"}) {
        VellixEntry column(VELLIX_DOC_IMAGE_ATTRIBUTES);
        column.addAttribute(kName, name);
        wanted.addEntry(column);
    }
    wanted.close();
    format.close();
}
// [format]

void addCriterion(VellixDoc& all, const char* name, const char* comparison, const char* value) {
    VellixEntry column(VELLIX_DOC_IMAGE_CONSTR_AND);
    column.addAttribute(kName, name);
    column.addAttribute(kOperator, comparison);
    column.addAttribute(kValue, value);
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

} // namespace

int main() {
    // [query]
    CatQueryCriteriaHelper query;
    if (!query.create(nullptr)) return 1; // by way of a temporary file
    query.setRequester("job");
    query.setRequestId("r1"); // both before the first document
    addFormat(query);
    addConstraints(query);

    const char* text = query.serialize(); // no NUL behind it
    if (text == nullptr) return 1;
    std::fwrite(text, 1, static_cast<std::size_t>(query.size() - 1), stdout);
    // [query]
    std::putchar('\n');
    return 0;
}
