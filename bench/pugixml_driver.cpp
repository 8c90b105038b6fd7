// SPDX-License-Identifier: Apache-2.0
// The whole file in memory, parsed in place.

#include <memory>

#include <fcntl.h>
#include <pugixml.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "Driver.h"

using namespace bench;

namespace {

struct Contents {
    explicit Contents(const char* path) {
        const File file(path, O_RDONLY);
        struct stat facts = {};
        require(fstat(file.descriptor, &facts) == 0, "the file can't be measured");
        length = static_cast<std::size_t>(facts.st_size);
        bytes.reset(new char[length]);
        for (std::size_t at = 0; at < length;) {
            const ssize_t part = read(file.descriptor, bytes.get() + at, length - at);
            require(part > 0, "the file can't be read");
            at += static_cast<std::size_t>(part);
        }
    }

    std::unique_ptr<char[]> bytes;
    std::size_t length = 0;
};

void foldShort(const pugi::xml_node& entry, Checksum& sum) {
    for (const char* tag : {"NM", "SZ", "MT"}) sum.add(entry.attribute(tag).value());
}

void foldFull(const pugi::xml_node& entry, Checksum& sum) {
    for (pugi::xml_attribute attribute = entry.first_attribute(); attribute; attribute = attribute.next_attribute()) {
        sum.add(attribute.name());
        sum.add(attribute.value());
    }
}

template <class Fold> std::uint64_t readWith(const Task& task, Meter& meter, Fold fold) {
    Checksum sum;
    meter.start();
    meter.countAllocationsFromHere(); // they are all made before the first entry is visited
    {
        const Contents contents(task.file);
        pugi::xml_document document;
        require(document.load_buffer_inplace(contents.bytes.get(), contents.length), "the file can't be parsed");
        const pugi::xml_node files = document.child("CatResults").child("CatDoc").child("CatFH");
        for (pugi::xml_node entry = files.child("ET"); entry; entry = entry.next_sibling("ET")) {
            fold(entry, sum);
            meter.entry();
        }
    }
    meter.stop();
    return sum.value();
}

std::uint64_t readFile(const Task& task, Meter& meter) {
    return task.full ? readWith(task, meter, foldFull) : readWith(task, meter, foldShort);
}

} // namespace

int main(int argc, char** argv) { return driverMain(argc, argv, {{"read", readFile}}); }
