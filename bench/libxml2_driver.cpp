// SPDX-License-Identifier: Apache-2.0
// Its pulling reader, and its streaming writer with and without a flush per entry.

#include <cstdio>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlwriter.h>

#include "Driver.h"

using namespace bench;

namespace {

struct FreeReader {
    void operator()(xmlTextReaderPtr reader) const { xmlFreeTextReader(reader); }
};

struct FreeWriter {
    void operator()(xmlTextWriterPtr writer) const { xmlFreeTextWriter(writer); }
};

const char* plain(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

const xmlChar* xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

void foldAttributes(xmlTextReaderPtr reader, bool full, Checksum& sum) {
    while (xmlTextReaderMoveToNextAttribute(reader) == 1) {
        const char* const tag = plain(xmlTextReaderConstName(reader));
        if (full) sum.add(tag);
        if (full || isShort(tag)) sum.add(plain(xmlTextReaderConstValue(reader)));
    }
}

std::uint64_t readFile(const Task& task, Meter& meter) {
    Checksum sum;
    meter.start();
    {
        const std::unique_ptr<xmlTextReader, FreeReader> reader(xmlReaderForFile(task.file, nullptr, 0));
        require(reader != nullptr, "the file can't be opened");
        int more = 0;
        while ((more = xmlTextReaderRead(reader.get())) == 1) {
            if (xmlTextReaderNodeType(reader.get()) != XML_READER_TYPE_ELEMENT) continue;
            if (std::strcmp(plain(xmlTextReaderConstName(reader.get())), "ET") != 0) continue;
            foldAttributes(reader.get(), task.full, sum);
            meter.entry();
        }
        require(more == 0, "the file can't be parsed");
    }
    meter.stop();
    return sum.value();
}

class Attributes {
public:
    explicit Attributes(xmlTextWriterPtr target) : writer(target) {}

    void operator()(unsigned short, const char* tag, const char* value) {
        taken = taken && xmlTextWriterWriteAttribute(writer, xml(tag), xml(value)) >= 0;
    }

    void operator()(unsigned short id, const char* tag, unsigned long long value) {
        char text[24] = {};
        std::snprintf(text, sizeof text, "%llu", value);
        (*this)(id, tag, text);
    }

    bool taken = true;

private:
    xmlTextWriterPtr writer;
};

void startElements(xmlTextWriterPtr writer) {
    Attributes set(writer);
    xmlTextWriterStartDocument(writer, "1.0", "UTF-8", nullptr);
    xmlTextWriterStartElement(writer, xml("CatResults"));
    set(0, "IC", 0ULL);
    set(1, "ID", kSessionId);
    xmlTextWriterStartElement(writer, xml("CatDoc"));
    set(1, "ID", kImageId);
    xmlTextWriterStartElement(writer, xml("CatFH"));
}

std::uint64_t writeWith(const Task& task, Meter& meter, bool flush) {
    const Catalog catalog;
    std::remove(task.file);
    meter.start();
    {
        const File file(task.file, O_WRONLY | O_CREAT);
        // One made from a file's name would flush no further than to a stream of the C library.
        xmlOutputBufferPtr const output = xmlOutputBufferCreateFd(file.descriptor, nullptr);
        const std::unique_ptr<xmlTextWriter, FreeWriter> owner(xmlNewTextWriter(output));
        xmlTextWriterPtr const writer = owner.get();
        require(writer != nullptr, "no writer");
        startElements(writer);
        Attributes set(writer);
        for (unsigned long i = 0; i < task.entries; ++i) {
            xmlTextWriterStartElement(writer, xml("ET"));
            eachAttribute(catalog[i], set);
            xmlTextWriterEndElement(writer);
            require(set.taken && (!flush || xmlTextWriterFlush(writer) >= 0), "an entry can't be written");
            meter.entry();
        }
        xmlTextWriterEndDocument(writer);
    }
    meter.stop();
    return 0;
}

std::uint64_t writeBuffered(const Task& task, Meter& meter) { return writeWith(task, meter, false); }

std::uint64_t writeFlushed(const Task& task, Meter& meter) { return writeWith(task, meter, true); }

} // namespace

int main(int argc, char** argv) {
    return driverMain(argc, argv, {{"read", readFile}, {"write", writeBuffered}, {"write-flush", writeFlushed}});
}
