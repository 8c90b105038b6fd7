// SPDX-License-Identifier: Apache-2.0
// The whole jobs by hand, through HandEntry: pages of 64 KB read into one buffer, and one write call for each record.

#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "Catalog.h"
#include "Driver.h"
#include "HandEntry.h"

using namespace bench;

namespace {

void add(Checksum& sum, std::string_view text) { sum.add(text.data(), text.size()); }

void foldShort(const HandEntry& entry, Checksum& sum) {
    for (const unsigned int id : {6U, 9U, 13U}) add(sum, entry[id]);
}

void foldFull(const HandEntry& entry, Checksum& sum) {
    entry.each([&](std::string_view tag, std::string_view value) {
        add(sum, tag);
        add(sum, value);
    });
}

// No record crosses the end of a page, so each page is read by itself.
template <class Fold> void readPage(const char* at, const char* end, HandEntry& entry, Fold fold) {
    while ((at = static_cast<const char*>(std::memchr(at, '<', static_cast<std::size_t>(end - at)))) != nullptr) {
        if (std::memcmp(at, "<ET ", 4) != 0) {
            ++at;
            continue;
        }
        at = entry.read(at + 3);
        require(at != nullptr, "a value is bad");
        fold(entry);
    }
}

template <class Fold> std::uint64_t readWith(const Task& task, Meter& meter, Fold fold) {
    Checksum sum;
    meter.start();
    {
        const File file(task.file, O_RDONLY);
        const std::unique_ptr<char[]> page(new char[kPageSize + HandEntry::kBehind]);
        HandEntry entry;
        ssize_t length = 0;
        while ((length = read(file.descriptor, page.get(), kPageSize)) > 0) {
            char* const end = page.get() + length;
            std::memset(end, 0, HandEntry::kBehind);
            readPage(page.get(), end, entry, [&](const HandEntry& found) {
                fold(found, sum);
                meter.entry();
            });
        }
        require(length == 0, "the file can't be read");
    }
    meter.stop();
    return sum.value();
}

std::uint64_t readFile(const Task& task, Meter& meter) {
    return task.full ? readWith(task, meter, foldFull) : readWith(task, meter, foldShort);
}

// Writes records by the page rule. The blanks that fill a page stand in front of the record already.
class Pages {
public:
    explicit Pages(int handle) : descriptor(handle), buffer(new char[2 * kPageSize + HandEntry::kBehind]) {
        std::memset(buffer.get(), ' ', kPageSize);
    }

    char* record() { return buffer.get() + kPageSize; }

    void put(const char* recordEnd) {
        const auto length = static_cast<std::size_t>(recordEnd - record());
        const std::size_t room = kPageSize - position % kPageSize;
        const std::size_t filling = length > room && room < kPageSize ? room : 0;
        const std::size_t bytes = filling + length;
        require(write(descriptor, record() - filling, bytes) == static_cast<ssize_t>(bytes),
                "a record can't be written");
        position += bytes;
    }

    void put(std::string_view text) { put(record() + text.copy(record(), kPageSize)); }

private:
    int descriptor;
    std::unique_ptr<char[]> buffer;
    std::size_t position = 0;
};

bool fill(HandEntry& entry, const Record& record) {
    bool taken = true;
    entry.clear();
    eachAttribute(record, [&](unsigned int id, const char*, auto value) { taken = entry.set(id, value) && taken; });
    return taken;
}

std::uint64_t writeFile(const Task& task, Meter& meter) {
    const Catalog catalog;
    std::remove(task.file);
    meter.start();
    {
        const File file(task.file, O_WRONLY | O_CREAT);
        Pages pages(file.descriptor);
        HandEntry entry;
        for (const char* text : kHead) pages.put(std::string_view(text));
        for (unsigned long i = 0; i < task.entries; ++i) {
            require(fill(entry, catalog[i]) && entry.textBound() <= kPageSize, "an entry can't be written");
            pages.put(entry.write(pages.record()));
            meter.entry();
        }
        for (const char* text : kTail) pages.put(std::string_view(text));
    }
    meter.stop();
    return 0;
}

} // namespace

int main(int argc, char** argv) { return driverMain(argc, argv, {{"read", readFile}, {"write", writeFile}}); }
