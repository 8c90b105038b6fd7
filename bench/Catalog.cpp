// SPDX-License-Identifier: Apache-2.0
#include "Catalog.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <random>

namespace bench {

namespace {

constexpr std::uint64_t kSeed = 20170401;
constexpr std::size_t kMostTextPerRecord = 2048;
constexpr unsigned int kYear2017 = 1483228800;
constexpr unsigned int kSixYears = 189302400;

constexpr char kPlain[] =
    "abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-- ";
constexpr const char* kSpecial[] = {"&",      "&",      "<",      "'",      "'",     "\u00E9",
                                    "\u00FC", "\u00DF", "\u20AC", "\u65E5", "\u672C"};
constexpr const char* kOwners[] = {"root", "www-data", "backup", "alice", "bob", "postgres"};
constexpr unsigned int kModes[] = {0100644, 0100644, 0100644, 0100755, 0100600, 0040755};

// The standard distributions differ between libraries; remainders of the engine's numbers do not.
class Random {
public:
    template <class Number> Number below(Number limit) { return static_cast<Number>(engine() % limit); }
    bool oneIn(unsigned int count) { return below(count) == 0; }
    template <class Table> auto pick(const Table& table) { return table[below(std::size(table))]; }

private:
    std::mt19937_64 engine{kSeed};
};

// Lays texts one behind the other into a block of memory that is there already, so that making them leaves no freed
// memory behind, which the measured job would be given for nothing.
class TextMaker {
public:
    TextMaker(Random& source, char* block) : random(source), out(block) {}

    // A text of `shortest` to `longest` bytes. One in four holds characters that are escaped or take several bytes.
    const char* text(std::size_t shortest, std::size_t longest, bool isPath = false) {
        const char* const start = out;
        const char* const end = out + shortest + random.below(longest - shortest + 1);
        const bool special = random.oneIn(4);
        if (isPath) *out++ = '/';
        while (out < end) {
            if (special && random.oneIn(12)) {
                putSpecial(static_cast<std::size_t>(end - out));
            } else if (isPath && out[-1] != '/' && random.oneIn(8)) {
                *out++ = '/';
            } else {
                *out++ = kPlain[random.below(sizeof kPlain - 1)];
            }
        }
        *out++ = '\0';
        return start;
    }

private:
    void putSpecial(std::size_t room) {
        const char* const character = random.pick(kSpecial);
        const std::size_t length = std::strlen(character);
        if (length > room) return;
        std::memcpy(out, character, length);
        out += length;
    }

    Random& random;
    char* out;
};

Record makeRecord(Random& random, TextMaker& texts) {
    Record record = {};
    record.operation = 1 + random.below(3U);
    record.kind = 1 + random.below(12U);
    record.name = texts.text(6, 40);
    record.path = texts.text(10, 80, true);
    record.size = random.below(1ULL << (4 + random.below(36U)));
    record.accessed = kYear2017 + random.below(kSixYears);
    record.modified = kYear2017 + random.below(kSixYears);
    record.inode = random.below(1ULL << (16 + random.below(40U)));
    if (random.oneIn(10)) {
        record.subject = texts.text(50, 400);
        record.sender = texts.text(50, 400);
        record.recipients = texts.text(50, 400);
        return record;
    }
    record.changed = kYear2017 + random.below(kSixYears);
    record.mode = random.pick(kModes);
    record.owner = random.pick(kOwners);
    return record;
}

class AttributeSum {
public:
    void operator()(unsigned short, const char* tag, const char* value) {
        if (tags) sum.add(tag);
        if (tags || isShort(tag)) sum.add(value);
    }

    void operator()(unsigned short id, const char* tag, unsigned long long value) {
        char text[24] = {};
        std::snprintf(text, sizeof text, "%llu", value);
        (*this)(id, tag, text);
    }

    bool tags = false;
    Checksum sum;
};

} // namespace

Catalog::Catalog() : texts(new char[kRecords * kMostTextPerRecord]) {
    Random random;
    TextMaker maker(random, texts.get());
    records.reserve(kRecords);
    for (unsigned long i = 0; i < kRecords; ++i) records.push_back(makeRecord(random, maker));
}

std::uint64_t expectedChecksum(const Catalog& catalog, unsigned long entries, bool full) {
    AttributeSum sum;
    sum.tags = full;
    for (unsigned long i = 0; i < entries; ++i) eachAttribute(catalog[i], sum);
    return sum.sum.value();
}

} // namespace bench
