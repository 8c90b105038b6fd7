// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_CATALOG_H
#define BENCH_CATALOG_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

// The catalog that all drivers write and read. Nothing here uses the library, so that the peers' programs don't load it.
namespace bench {

/// What one entry holds. Texts are UTF-8, terminated, and belong to the Catalog.
struct Record {
    unsigned int operation, kind;
    const char* name;
    const char* path;
    unsigned long long size;
    unsigned int accessed, changed, modified;
    unsigned long long inode;
    unsigned int mode;
    const char* owner;
    const char* subject; ///< null for a file; a mail has this and the next two instead of `changed`, `mode` and `owner`
    const char* sender;
    const char* recipients;
};

/// What stands in front of the entries of a file and behind them, record by record.
constexpr const char* kHead[] = {R"(<?xml version="1.0" encoding="UTF-8"?>)", R"(<CatResults IC="0" ID="1700000000">)",
                                 R"(<CatDoc ID="42">)", "<CatFH>"};
constexpr const char* kTail[] = {"</CatFH>", "</CatDoc>", "</CatResults>"};
constexpr int kSessionId = 1700000000;
constexpr int kImageId = 42;
constexpr std::size_t kPageSize = 65536;

// 10,000 different records from a fixed seed, about 250 bytes of text and 11 attributes each. A longer catalog repeats
// them: what the drivers find in memory is then of the same size however many entries they write.
class Catalog {
public:
    Catalog();
    const Record& operator[](unsigned long entry) const { return records[entry % kRecords]; }

    static constexpr unsigned long kRecords = 10000;

private:
    std::unique_ptr<char[]> texts;
    std::vector<Record> records;
};

/// Calls visit(id, tag, value) for each attribute in ascending order of ids. A value is an `unsigned int`, an
/// `unsigned long long` or a `const char*`.
template <class Visit> void eachAttribute(const Record& record, Visit&& visit) {
    visit(0, "OP", record.operation);
    visit(3, "OT", record.kind);
    visit(6, "NM", record.name);
    visit(7, "PT", record.path);
    visit(9, "SZ", record.size);
    visit(11, "AT", record.accessed);
    if (record.subject == nullptr) visit(12, "CT", record.changed);
    visit(13, "MT", record.modified);
    visit(17, "IN", record.inode);
    if (record.subject == nullptr) {
        visit(18, "MD", record.mode);
        visit(19, "UN", record.owner);
        return;
    }
    visit(37, "SU", record.subject);
    visit(38, "FR", record.sender);
    visit(39, "TO", record.recipients);
}

/// True for the tags of name, size and time of modification.
inline bool isShort(const char* tag) {
    return std::strcmp(tag, "NM") == 0 || std::strcmp(tag, "SZ") == 0 || std::strcmp(tag, "MT") == 0;
}

/// A sum over the bytes and lengths of texts, eight bytes at a time: it has to cost little beside what is measured.
class Checksum {
public:
    void add(const char* text, std::size_t length) {
        for (; length >= 8; text += 8, length -= 8) addWord(text, 8);
        addWord(text, length);
    }
    void add(const char* text) { add(text, std::strlen(text)); }
    std::uint64_t value() const { return sum; }

private:
    void addWord(const char* bytes, std::size_t length) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, length);
        sum = (sum ^ word ^ length << 56) * 0x9E3779B97F4A7C15U;
        sum ^= sum >> 29;
    }

    std::uint64_t sum = 0xCBF29CE484222325U;
};

/// The checksum that reading the first `entries` entries has to give: of name, size and time of modification, or with
/// `full` of the tags and values of all attributes.
std::uint64_t expectedChecksum(const Catalog& catalog, unsigned long entries, bool full);

} // namespace bench

#endif
