// SPDX-License-Identifier: Apache-2.0
// Writing by hand, with and without a flush per entry: one fprintf per attribute, as records whose attributes vary ask for,
// or two per entry, where the attributes are known when the program is written.

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Catalog.h"
#include "Driver.h"

using namespace bench;

namespace {

// The escaped form of a text of the catalog.
class Escaped {
public:
    const char* operator()(const char* text) {
        char* out = buffer.data();
        for (; *text != '\0'; ++text) out = put(out, *text);
        *out = '\0';
        return buffer.data();
    }

private:
    static char* putReference(char* out, const char* reference) {
        const std::size_t length = std::strlen(reference);
        std::memcpy(out, reference, length);
        return out + length;
    }

    static char* put(char* out, char c) {
        switch (c) {
        case '"':
            return putReference(out, "&quot;");
        case '&':
            return putReference(out, "&amp;");
        case '\'':
            return putReference(out, "&apos;");
        case '<':
            return putReference(out, "&lt;");
        case '>':
            return putReference(out, "&gt;");
        default:
            *out = c;
            return out + 1;
        }
    }

    std::array<char, 4096> buffer{};
};

// Writes whatever attributes a record has.
class AttributeWriter {
public:
    explicit AttributeWriter(std::FILE* stream) : file(stream) {}

    bool put(const Record& record) {
        good = std::fprintf(file, "<ET") > 0;
        eachAttribute(record, *this);
        return std::fprintf(file, "/>") > 0 && good;
    }

    void operator()(unsigned short, const char* tag, unsigned int value) {
        good = std::fprintf(file, R"( %s="%u")", tag, value) > 0 && good;
    }
    void operator()(unsigned short, const char* tag, unsigned long long value) {
        good = std::fprintf(file, R"( %s="%llu")", tag, value) > 0 && good;
    }
    void operator()(unsigned short, const char* tag, const char* value) {
        good = std::fprintf(file, R"( %s="%s")", tag, escaped(value)) > 0 && good;
    }

private:
    std::FILE* file;
    Escaped escaped;
    bool good = true;
};

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// Writes records of two known forms.
class HandWriter {
public:
    explicit HandWriter(std::FILE* stream) : file(stream) {}

    bool put(const Record& record) {
        return std::fprintf(file, R"(<ET OP="%u" OT="%u" NM="%s" PT="%s" SZ="%llu" AT="%u")", record.operation,
                            record.kind, first(record.name), second(record.path), record.size, record.accessed) > 0 &&
               (record.subject == nullptr ? putFile(record) : putMail(record));
    }

private:
    bool putFile(const Record& record) {
        return std::fprintf(file, R"( CT="%u" MT="%u" IN="%llu" MD="%u" UN="%s"/>)", record.changed, record.modified,
                            record.inode, record.mode, first(record.owner)) > 0;
    }

    bool putMail(const Record& record) {
        return std::fprintf(file, R"( MT="%u" IN="%llu" SU="%s" FR="%s" TO="%s"/>)", record.modified, record.inode,
                            first(record.subject), second(record.sender), third(record.recipients)) > 0;
    }

    std::FILE* file;
    Escaped first, second, third;
};

template <class Writer> std::uint64_t writeByHand(const Task& task, Meter& meter, bool flush) {
    const Catalog catalog;
    std::remove(task.file);
    meter.start();
    {
        const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(task.file, "wb"));
        require(file != nullptr, "the file can't be opened");
        Writer writer(file.get());
        for (const char* text : kHead) std::fputs(text, file.get());
        for (unsigned long i = 0; i < task.entries; ++i) {
            require(writer.put(catalog[i]) && (!flush || std::fflush(file.get()) == 0), "an entry can't be written");
            meter.entry();
        }
        for (const char* text : kTail) std::fputs(text, file.get());
    }
    meter.stop();
    return 0;
}

template <class Writer> std::uint64_t writeBuffered(const Task& task, Meter& meter) {
    return writeByHand<Writer>(task, meter, false);
}

template <class Writer> std::uint64_t writeFlushed(const Task& task, Meter& meter) {
    return writeByHand<Writer>(task, meter, true);
}

} // namespace

int main(int argc, char** argv) {
    return driverMain(argc, argv,
                      {{"write", writeBuffered<AttributeWriter>},
                       {"write-flush", writeFlushed<AttributeWriter>},
                       {"write-known", writeBuffered<HandWriter>},
                       {"write-known-flush", writeFlushed<HandWriter>}});
}
