// SPDX-License-Identifier: Apache-2.0
// Our own library. `make` writes the file without measuring and tells the checksums that every reader must find in it.

#include <cstdio>
#include <future>
#include <string>
#include <string_view>
#include <vector>

#include "Catalog.h"
#include "Driver.h"
#include "EntrySetter.h"
#include "vellix/VellixReader.h"
#include "vellix/VellixWalk.h"
#include "vellix/VellixWriter.h"

using namespace bench;

namespace {

constexpr unsigned short kName = 6;
constexpr unsigned short kSize = 9;
constexpr unsigned short kModified = 13;

// The path of a generated file is plain ASCII.
std::wstring widened(const char* path) { return std::wstring(path, path + std::char_traits<char>::length(path)); }

void addText(const VellixEntry& entry, unsigned short id, Checksum& sum) {
    const std::string_view text = entry.getAttributeView(id);
    sum.add(text.data(), text.size());
}

void foldShort(const VellixEntry& entry, Checksum& sum) {
    for (const unsigned short id : {kName, kSize, kModified}) addText(entry, id, sum);
}

void foldFull(const VellixEntry& entry, Checksum& sum) {
    const VellixMapTag* const rows = VellixEntry::getXmlMapTag(VELLIX_DOC_FH);
    int left = entry.getNumberOfAttributes();
    for (unsigned short id = 0; left > 0; ++id) {
        if (entry.getAttribute(id) == nullptr) continue;
        sum.add(rows[id].tag, rows[id].tagLen);
        addText(entry, id, sum);
        --left;
    }
}

template <class Visit> void visitEntries(const char* file, Visit visit) {
    VellixReader reader;
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry;
    require(reader.load(widened(file).c_str()) && reader.getFirstDoc(image) && image.getFirstChildDoc(files),
            "the file can't be read");
    while (files.getNextEntry(entry)) visit(entry);
}

template <class Fold> std::uint64_t readWith(const Task& task, Meter& meter, Fold fold) {
    Checksum sum;
    meter.start();
    visitEntries(task.file, [&](const VellixEntry& entry) {
        fold(entry, sum);
        meter.entry();
    });
    meter.stop();
    return sum.value();
}

std::uint64_t readFile(const Task& task, Meter& meter) {
    return task.full ? readWith(task, meter, foldFull) : readWith(task, meter, foldShort);
}

struct Found {
    unsigned long entries = 0;
    Checksum sum;
};

Found readAlone(const char* file) {
    Found found;
    visitEntries(file, [&](const VellixEntry& entry) {
        foldShort(entry, found.sum);
        ++found.entries;
    });
    return found;
}

// The same file by so many threads at once, each with a reader of its own. Counts the entries of all of them.
template <int threads> std::uint64_t readAtOnce(const Task& task, Meter& meter) {
    meter.start();
    std::vector<std::future<Found>> readers;
    for (int i = 0; i < threads; ++i) readers.push_back(std::async(std::launch::async, readAlone, task.file));
    std::vector<Found> all;
    for (auto& reader : readers) all.push_back(reader.get());
    for (const Found& found : all) {
        require(found.sum.value() == all[0].sum.value(), "two readers found different things");
        for (unsigned long i = 0; i < found.entries; ++i) meter.entry();
    }
    meter.stop();
    return all[0].sum.value();
}

// The same with a walk, which finds the entries in a file of any shape.
template <class Fold> std::uint64_t walkWith(const Task& task, Meter& meter, Fold fold) {
    Checksum sum;
    meter.start();
    {
        vellix::Walk walk(task.file);
        for (const VellixEntry& entry : walk.entries(VELLIX_DOC_FH)) {
            fold(entry, sum);
            meter.entry();
        }
        require(static_cast<bool>(walk), "the file can't be read");
    }
    meter.stop();
    return sum.value();
}

std::uint64_t walkFile(const Task& task, Meter& meter) {
    return task.full ? walkWith(task, meter, foldFull) : walkWith(task, meter, foldShort);
}

void writeEntries(const Catalog& catalog, const Task& task, Meter& meter) {
    VellixWriter writer;
    writer.getRootDoc().addAttribute(1, kSessionId, false); // instead of the time
    VellixDoc image(VELLIX_DOC_DOC);
    image.addAttribute(1, kImageId, false);
    VellixDoc files(VELLIX_DOC_FH);
    require(writer.create(widened(task.file).c_str()) && writer.addDoc(image) && image.addChildDoc(files),
            "the file can't be written");
    VellixEntry entry;
    for (unsigned long i = 0; i < task.entries; ++i) {
        fill(entry, catalog[i]);
        require(files.addEntry(entry), "an entry can't be written");
        meter.entry();
    }
    files.close();
    image.close();
    writer.close();
}

std::uint64_t writeFile(const Task& task, Meter& meter) {
    const Catalog catalog;
    std::remove(task.file);
    meter.start();
    writeEntries(catalog, task, meter);
    meter.stop();
    return 0;
}

std::uint64_t makeFile(const Task& task, Meter& meter) {
    const Catalog catalog;
    writeEntries(catalog, task, meter);
    for (const bool full : {false, true}) {
        const auto sum = static_cast<unsigned long long>(expectedChecksum(catalog, task.entries, full));
        std::printf("%s=%016llx ", full ? "full" : "short", sum);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    return driverMain(argc, argv,
                      {{"read", readFile},
                       {"read-1", readAtOnce<1>},
                       {"read-2", readAtOnce<2>},
                       {"read-4", readAtOnce<4>},
                       {"walk", walkFile},
                       {"write", writeFile},
                       {"make", makeFile}});
}
