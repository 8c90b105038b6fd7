// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_VALUE_COPY_H
#define VELLIX_VALUE_COPY_H

#include <cstddef>
#include <cstring>

#include "vellix/VellixText.h"
#include "vellix/VellixUtils.h"
#include "vellix/platform/Bytes.h"

// From a value's first byte to its closing quote: with a copy on the way, and without. Internal, not installed.

// The end of a value in double quotes, null where the scanner would find no quoted string.
struct ValueEnd {
    const char* quote = nullptr;
    bool plain = true;      // nothing in it would be escaped
    bool reference = false; // it has an ampersand
};

static inline ValueEnd findValueEnd(const char* at, const char* end) {
    ValueEnd found;
    for (;;) {
        at += plainEnd(at, 0, static_cast<std::size_t>(end - at));
        if (at == end) return found;
        switch (*at) {
        case '"':
            found.quote = at;
            return found;
        case '&':
            found.reference = true;
            [[fallthrough]];
        case '\'':
        case '>':
            found.plain = false;
            ++at;
            break;
        default: {
            const std::size_t unit = *at != '<' ? unitLength(at, static_cast<std::size_t>(end - at)) : 0;
            if (unit == 0) return found;
            at += unit;
        }
        }
    }
}

// Copies a value while it looks for the quote at its end. All decisions are made on the copy: the text may stand in a mapped
// page, and what is noted of a value has to be true of what is stored.
class ValueCopy {
public:
    ValueCopy(const char* value, const char* textEnd, char* room, const char* roomEnd)
        : at(value), end(textEnd), out(room), outEnd(roomEnd) {}

    /// False if there is no quote, or if it takes more care to get there; nothing is to be said of the value then.
    bool toQuote() {
        for (;;) {
            if (end - at < static_cast<std::ptrdiff_t>(platform::kBlock) ||
                outEnd - out <= static_cast<std::ptrdiff_t>(platform::kBlock))
                return false;
            const unsigned int stops = platform::copyAndFindSpecial<platform::kBlock>(at, out);
            if (stops == 0) {
                advance(platform::kBlock);
                continue;
            }
            advance(platform::lowestBit(stops));
            if (*out == '"') return true;
            if (!passSpecial()) return false;
        }
    }

    const char* quote() const { return at; }
    char* copyEnd() const { return out; }

    /// How much longer the escaped form of the copy is.
    std::size_t growth() const { return grown; }

private:
    void advance(std::size_t bytes) {
        at += bytes;
        out += bytes;
    }

    // Goes over the special bytes at the position, of which the first was copied.
    bool passSpecial() {
        switch (*out) {
        case '&':
            return resolve();
        case '\'':
            grown += 5;
            advance(1);
            return true;
        case '>':
            grown += 3;
            advance(1);
            return true;
        case '<':
        case '\0':
            return false;
        default:
            return passUnits();
        }
    }

    // Goes over multi-byte units in a row.
    bool passUnits() {
        for (;;) {
            if (end - at < kLongestUnit || outEnd - out <= kLongestUnit) return false;
            std::memcpy(out, at, kLongestUnit);
            if (!beginsUnit(*out)) return true;
            const auto unit = static_cast<std::size_t>(xmlStepTable[byteAt(out)]);
            for (std::size_t i = 1; i < unit; ++i) {
                if (out[i] == '\0') return false;
            }
            advance(unit);
        }
    }

    // Resolves one of the named references.
    bool resolve() {
        const auto left = static_cast<std::size_t>(end - at);
        char value = 0;
        if (left < 2 || at[1] == '#') return false;
        const std::size_t reference = readReference(at, left, value);
        if (reference == 0) return false;
        at += reference;
        *out++ = value;
        grown += reference - 1;
        return true;
    }

    static constexpr std::ptrdiff_t kLongestUnit = 4;

    const char* at;
    const char* const end;
    char* out;
    const char* const outEnd;
    std::size_t grown = 0;
};

#endif
