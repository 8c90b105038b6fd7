// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_HAND_ENTRY_H
#define BENCH_HAND_ENTRY_H

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>

#include "Catalog.h"
#include "vellix/VellixEntry.h"
#include "vellix/platform/Bytes.h"

// An entry of a CatFH as somebody would write it by hand for this one dialect: what no library can do with less. It trusts
// the form of a tag, since it is given nothing but files of ours. Only values are checked: their end, their references,
// their limits, their numbers. All of them stand in one block of memory, each with a NUL behind it, and a slot notes where.
namespace bench {

// What an entry has to know of each attribute, in a form that costs one load.
class HandSchema {
public:
    struct Row {
        char assign[8];          // a blank, the tag, an equals sign and a quote
        std::uint32_t word;      // the tag, padded with NUL bytes
        std::uint32_t tagLength; // bytes; none has more than four
        std::uint32_t mostBytes; // of a value
        unsigned long long most; // the largest number
    };

    HandSchema() {
        const VellixMapTag* const map = VellixEntry::getXmlMapTag(VELLIX_DOC_FH);
        for (unsigned int id = 0; map[id].tag != nullptr; ++id) rows[id] = rowOf(map[id]);
        while (!hasPlaceForEach()) multiplier += 2;
    }

    const Row& operator[](unsigned int id) const { return rows[id]; }

    /// Returns the number of the attribute whose tag is in `word`; that of the last slot, which none has, if there is none.
    unsigned int find(std::uint32_t word) const {
        const unsigned int id = places[placeOf(word)];
        return rows[id].word == word ? id : kNone;
    }

    static constexpr unsigned int kNone = kLongestMap - 1;

private:
    static Row rowOf(const VellixMapTag& attribute) {
        Row row = {};
        row.assign[0] = ' ';
        std::memcpy(row.assign + 1, attribute.tagAssign, attribute.tagAssignLen);
        std::memcpy(&row.word, attribute.tag, attribute.tagLen);
        row.tagLength = attribute.tagLen;
        row.mostBytes = attribute.maxLen >= 0 ? static_cast<std::uint32_t>(attribute.maxLen) : UINT_MAX;
        row.most = attribute.dataType == VELLIX_TYPE_INT32    ? INT_MAX
                   : attribute.dataType == VELLIX_TYPE_UINT32 ? UINT_MAX
                                                              : ULLONG_MAX;
        return row;
    }

    std::size_t placeOf(std::uint32_t word) const { return word * multiplier >> 22; }

    bool hasPlaceForEach() {
        std::memset(places, kNone, sizeof places);
        for (unsigned int id = 0; id < kNone; ++id) {
            unsigned char& place = places[placeOf(rows[id].word)];
            if (place != kNone) return false;
            place = static_cast<unsigned char>(id);
        }
        return true;
    }

    Row rows[kLongestMap] = {};
    std::uint32_t multiplier = 0x9E3779B1;
    unsigned char places[1024] = {};
};

class HandEntry {
public:
    /// Bytes behind a text that are touched, though they don't belong to it.
    static constexpr std::size_t kBehind = platform::kBlock;

    HandEntry() : block(new char[kRoom]), end(block.get()) {}

    void clear() {
        end = block.get();
        present[0] = present[1] = 0;
        bound = kFrame;
    }

    std::string_view operator[](unsigned int id) const { return valueOf(slots[id]); }

    /// Calls visit(tag, value) for each attribute in ascending order of ids.
    template <class Visit> void each(Visit&& visit) const {
        eachSlot([&](const HandSchema::Row& row, const Slot& slot) {
            visit(std::string_view(row.assign + 1, row.tagLength), valueOf(slot));
        });
    }

    // --- Reading ---

    /// Reads the attributes at `at`, behind the tag's name, and returns the place behind the tag; null if a value is bad.
    /// kBehind bytes behind the text must be there to be read, and be NUL.
    const char* read(const char* at) {
        clear();
        while (*at == ' ') {
            const unsigned int id = takeTag(++at);
            at = readValue(id, at);
            if (at == nullptr) return nullptr;
        }
        return at + 2;
    }

    // --- Writing ---

    bool set(unsigned int id, const char* text) {
        std::size_t length = std::strlen(text);
        if (length > schema[id].mostBytes) length = schema[id].mostBytes;
        if (length >= kRoom - static_cast<std::size_t>(end - block.get()) - kBlock) return false;
        const bool plain = copyPlain(text, length, end);
        keep(id, end + length, plain ? length : escapedLength(end, length));
        return true;
    }

    template <class Number> bool set(unsigned int id, Number value) {
        if (value > schema[id].most) return false;
        char* const out = std::to_chars(end, end + kLongestNumber, std::make_signed_t<Number>(value)).ptr;
        keep(id, out, static_cast<std::size_t>(out - end));
        return true;
    }

    /// Returns an upper bound of the text's length, exact unless a slot was set twice.
    std::size_t textBound() const { return bound; }

    /// Writes the tag and returns its end. There must be room for it, and for kBehind bytes more.
    char* write(char* out) const {
        std::memcpy(out, "<ET", 3);
        out += 3;
        eachSlot([&](const HandSchema::Row& row, const Slot& slot) {
            std::memcpy(out, row.assign, sizeof row.assign);
            out += row.tagLength + 3;
            const char* const value = block.get() + slot.offset;
            out = slot.escaped == slot.length ? putPlain(value, slot.length, out) : putEscaped(value, slot.length, out);
            *out++ = '"';
        });
        std::memcpy(out, "/>", 2);
        return out + 2;
    }

private:
    struct Slot {
        std::uint32_t offset, length, escaped;
    };

    static constexpr std::size_t kBlock = platform::kBlock;
    static constexpr std::size_t kFrame = 5; // "<ET" and "/>"
    static constexpr std::size_t kLongestNumber = 20;
    static constexpr std::size_t kRoom = 2 * kPageSize; // a record fits into a page

    std::string_view valueOf(const Slot& slot) const { return {block.get() + slot.offset, slot.length}; }

    template <class Visit> void eachSlot(Visit visit) const {
        for (unsigned int word = 0; word < 2; ++word) {
            for (std::uint64_t bits = present[word]; bits != 0; bits &= bits - 1) {
                const auto id = static_cast<unsigned int>(word * 64 + platform::lowestBit(bits));
                visit(schema[id], slots[id]);
            }
        }
    }

    // Moves `at` from a tag to its value and returns the attribute's number.
    unsigned int takeTag(const char*& at) const {
        std::uint32_t word = 0;
        std::memcpy(&word, at, sizeof word);
        std::size_t length = 1;
        while (at[length] != '=') ++length; // two letters mostly
        at += length + 2;
        return length <= sizeof word ? schema.find(word & UINT_MAX >> (32 - 8 * length)) : HandSchema::kNone;
    }

    // Notes that the value of a slot stands from `end` to `out`.
    void keep(unsigned int id, char* out, std::size_t escaped) {
        *out = '\0';
        slots[id] = {static_cast<std::uint32_t>(end - block.get()), static_cast<std::uint32_t>(out - end),
                     static_cast<std::uint32_t>(escaped)};
        present[id / 64] |= std::uint64_t{1} << id % 64;
        bound += schema[id].tagLength + 4 + escaped;
        end = out + 1;
    }

    // Copies while it looks for the quote. Returns the place behind that, or null.
    const char* readValue(unsigned int id, const char* at) {
        Walk walk = {at, end, 0, false};
        for (;;) {
            std::memcpy(walk.out, walk.at, kBlock);
            const unsigned int stops = platform::bitsOfSpecial<kBlock>(walk.at);
            const std::size_t plain = stops != 0 ? platform::lowestBit(stops) : kBlock;
            walk.at += plain;
            walk.out += plain;
            if (stops == 0) continue;
            if (*walk.at == '"') break;
            if (!walk.takeSpecials()) return nullptr;
        }
        if (id == HandSchema::kNone) return walk.at + 1;
        std::size_t length = static_cast<std::size_t>(walk.out - end);
        if (walk.again || length > schema[id].mostBytes) {
            if (length > schema[id].mostBytes) length = schema[id].mostBytes;
            end[length] = '\0';
            length = std::strlen(end);
            keep(id, end + length, escapedLength(end, length));
        } else {
            keep(id, walk.out, length + walk.added);
        }
        return walk.at + 1;
    }

    struct Walk {
        const char* at;
        char* out;
        std::size_t added; // bytes by which the escaped form is longer
        bool again;        // references gave bytes that need a look at the whole value

        // Takes characters that are no plain ASCII, up to the next that is or the quote. False if the value is bad.
        bool takeSpecials() {
            while (platform::isSpecial(*at)) {
                switch (*at) {
                case '"':
                    return true;
                case '\'':
                    added += 5;
                    *out++ = *at++;
                    break;
                case '>':
                    added += 3;
                    *out++ = *at++;
                    break;
                case '&':
                    if (!takeReference()) return false;
                    break;
                default:
                    if (!takeUnit()) return false;
                }
            }
            return true;
        }

        bool takeUnit() {
            const auto unit = static_cast<std::size_t>(xmlStepTable[static_cast<unsigned char>(*at)]);
            if (*at == '<' || unit == 0) return false;
            for (std::size_t i = 0; i < unit; ++i) {
                if (at[i] == '\0') return false;
                out[i] = at[i];
            }
            at += unit;
            out += unit;
            return true;
        }

        bool takeReference() {
            if (at[1] == '#') return takeNumber();
            for (const VellixEntity* entity = xmlEntityTable; entity->text != nullptr; ++entity) {
                const auto length = static_cast<std::size_t>(entity->length);
                std::size_t same = 1;
                while (same < length && (at[same] | (at[same] >= 'A' ? 0x20 : 0)) == entity->text[same]) ++same;
                if (same != length) continue;
                *out++ = entity->character;
                at += length;
                added += length - 1;
                return true;
            }
            return false;
        }

        bool takeNumber() {
            const int base = at[2] == 'x' || at[2] == 'X' ? 16 : 10;
            at += base == 16 ? 3 : 2;
            unsigned int number = 0;
            for (; *at != ';'; ++at) {
                const char letter = static_cast<char>(*at | 0x20);
                const int digit = *at >= '0' && *at <= '9'                       ? *at - '0'
                                  : base == 16 && letter >= 'a' && letter <= 'f' ? letter - 'a' + 10
                                                                                 : -1;
                if (digit < 0) return false;
                number = number * static_cast<unsigned int>(base) + static_cast<unsigned int>(digit);
            }
            ++at;
            *out++ = static_cast<char>(number);
            again = true;
            return true;
        }
    };

    // Copies a text of `length` bytes and tells whether nothing in it has to be escaped. Short ones are copied as two blocks
    // that overlap, and so is the end of a long one.
    template <std::size_t size> static bool copyBlock(const char* text, char* out) {
        std::memcpy(out, text, size);
        return platform::bitsOfSpecial<size>(text) == 0;
    }

    template <std::size_t size> static bool copyBlocks(const char* text, std::size_t length, char* out) {
        bool plain = copyBlock<size>(text + length - size, out + length - size);
        for (std::size_t at = 0; at + size < length; at += size) plain = copyBlock<size>(text + at, out + at) && plain;
        return plain;
    }

    static bool copyPlain(const char* text, std::size_t length, char* out) {
        if (length >= kBlock) return copyBlocks<kBlock>(text, length, out);
        if (length >= kBlock / 2) return copyBlocks<kBlock / 2>(text, length, out);
        if (length >= kBlock / 4) return copyBlocks<kBlock / 4>(text, length, out);
        bool plain = true;
        for (std::size_t at = 0; at < length; ++at) {
            out[at] = text[at];
            plain = plain && !platform::isSpecial(text[at]);
        }
        return plain;
    }

    static const VellixEntity* entityOf(char c) {
        const VellixEntity* entity = xmlEntityTable;
        while (entity->text != nullptr && entity->character != c) ++entity;
        return entity->text != nullptr ? entity : nullptr;
    }

    // The end of the plain run at `at`. Looks at bytes behind the text, which belong to the block.
    static std::size_t runEnd(const char* text, std::size_t at, std::size_t length) {
        for (; at < length; at += kBlock) {
            const unsigned int stops = platform::bitsOfSpecial<kBlock>(text + at);
            if (stops != 0) return std::min(length, at + platform::lowestBit(stops));
        }
        return length;
    }

    // Calls a function for each part of the escaped form of a text of the block: for what stands as it is, for a character
    // of the table, and for a byte of a UTF-8 unit that the end cuts short.
    template <class Plain, class Entity, class Byte>
    static void eachPart(const char* text, std::size_t length, Plain plain, Entity entity, Byte byte) {
        for (std::size_t at = 0; at < length;) {
            const std::size_t end = runEnd(text, at, length);
            plain(text + at, end - at);
            at = end;
            if (at == length) return;
            const VellixEntity* const escaped = entityOf(text[at]);
            const auto unit = static_cast<std::size_t>(xmlStepTable[static_cast<unsigned char>(text[at])]);
            if (escaped != nullptr) {
                entity(*escaped);
            } else if (unit <= length - at) {
                plain(text + at, unit);
            } else {
                for (; at < length; ++at) byte(static_cast<unsigned char>(text[at]));
                return;
            }
            at += unit;
        }
    }

    static std::size_t escapedLength(const char* text, std::size_t length) {
        std::size_t sum = 0;
        eachPart(
            text, length, [&](const char*, std::size_t bytes) { sum += bytes; },
            [&](const VellixEntity& entity) { sum += static_cast<std::size_t>(entity.length); },
            [&](unsigned int byte) { sum += byte >= 100 ? 6 : 5; });
        return sum;
    }

    static char* putPlain(const char* text, std::size_t length, char* out) {
        for (std::size_t at = 0; at < length; at += kBlock) std::memcpy(out + at, text + at, kBlock);
        return out + length;
    }

    static char* putEscaped(const char* text, std::size_t length, char* out) {
        eachPart(
            text, length, [&](const char* bytes, std::size_t count) { out = putPlain(bytes, count, out); },
            [&](const VellixEntity& entity) {
                std::memcpy(out, entity.text, 4);
                std::memcpy(out + entity.length - 4, entity.text + entity.length - 4, 4);
                out += entity.length;
            },
            [&](unsigned int byte) {
                *out++ = '&';
                *out++ = '#';
                out = std::to_chars(out, out + 3, byte).ptr;
                *out++ = ';';
            });
        return out;
    }

    const HandSchema schema;
    const std::unique_ptr<char[]> block;
    char* end; // of the values
    std::size_t bound = kFrame;
    Slot slots[kLongestMap] = {};
    std::uint64_t present[2] = {};
};

} // namespace bench

#endif
