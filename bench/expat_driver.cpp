// SPDX-License-Identifier: Apache-2.0
// Callbacks while the file passes through in chunks of 64 KB.

#include <cstdio>
#include <cstring>
#include <memory>
#include <type_traits>

#include <expat.h>
#include <fcntl.h>
#include <unistd.h>

#include "Driver.h"

using namespace bench;

namespace {

struct FreeParser {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

struct Visitor {
    Meter& meter;
    Checksum sum;
};

void foldShort(const char** attributes, Checksum& sum) {
    for (; *attributes != nullptr; attributes += 2) {
        if (isShort(attributes[0])) sum.add(attributes[1]);
    }
}

void foldFull(const char** attributes, Checksum& sum) {
    for (; *attributes != nullptr; ++attributes) sum.add(*attributes);
}

template <void (*fold)(const char**, Checksum&)>
void startElement(void* context, const char* name, const char** attributes) {
    if (std::strcmp(name, "ET") != 0) return;
    Visitor& visitor = *static_cast<Visitor*>(context);
    fold(attributes, visitor.sum);
    visitor.meter.entry();
}

void parseFile(XML_Parser parser, const char* path) {
    const File file(path, O_RDONLY);
    const auto chunk = std::make_unique<char[]>(kPageSize);
    ssize_t length = 0;
    do {
        length = read(file.descriptor, chunk.get(), kPageSize);
        require(length >= 0, "the file can't be read");
        require(XML_Parse(parser, chunk.get(), static_cast<int>(length), length == 0) == XML_STATUS_OK,
                "the file can't be parsed");
    } while (length > 0);
}

std::uint64_t readFile(const Task& task, Meter& meter) {
    Visitor visitor = {meter, {}};
    meter.start();
    {
        const std::unique_ptr<std::remove_pointer_t<XML_Parser>, FreeParser> parser(XML_ParserCreate(nullptr));
        require(parser != nullptr, "no parser");
        XML_SetUserData(parser.get(), &visitor);
        XML_SetStartElementHandler(parser.get(), task.full ? startElement<foldFull> : startElement<foldShort>);
        parseFile(parser.get(), task.file);
    }
    meter.stop();
    return visitor.sum.value();
}

} // namespace

int main(int argc, char** argv) { return driverMain(argc, argv, {{"read", readFile}}); }
