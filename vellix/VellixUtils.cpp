// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixUtils.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "vellix/VellixText.h"

const signed char xmlStepTable[256] = {
    0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 00: the terminator
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 10
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 20
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 30
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 40
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 50
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 60
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 70
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 80: continuation bytes on their own, to BF
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 90
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // A0
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // B0
    1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, // C0: C0 and C1 begin nothing in UTF-8
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, // D0
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, // E0
    4, 4, 4, 4, 4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // F0: F5 and above begin nothing in UTF-8
};

#define ROW(character, text)                                                                                           \
    { character, text, sizeof(text) - 1 }
const VellixEntity xmlEntityTable[6] = {
    ROW('"', "&quot;"), ROW('&', "&amp;"), ROW('\'', "&apos;"), ROW('<', "&lt;"), ROW('>', "&gt;"), {0, nullptr, 0},
};
#undef ROW

namespace {

struct Free {
    void operator()(char* memory) const { std::free(memory); }
};
using MallocText = std::unique_ptr<char, Free>;

MallocText allocateText(std::uint64_t length) {
    if (length >= SIZE_MAX) return nullptr;
    return MallocText(static_cast<char*>(std::malloc(static_cast<std::size_t>(length) + 1)));
}

// A beginning of a plain text and the length of its escaped form.
struct Measure {
    std::size_t source;
    std::uint64_t escaped;
};

// Measures the longest beginning of `text` that has at most `units` units and at most `room` bytes in escaped form. The
// text is not looked at behind the bytes that so many units can have.
Measure measureBeginning(const char* text, std::size_t units, std::size_t room) {
    constexpr std::size_t kLongestUnit = 4;
    const std::size_t length = lengthWithin(text, std::min(units, SIZE_MAX / kLongestUnit) * kLongestUnit);
    Measure measure = {0, 0};
    while (measure.source < length && units > 0) {
        const char* const at = text + measure.source;
        const auto roomLeft = room - static_cast<std::size_t>(measure.escaped);
        std::size_t source = 0;
        if (platform::isSpecial(*at)) {
            const std::size_t escaped = putUnit(at, length - measure.source, nullptr, source);
            if (escaped > roomLeft) break;
            measure.escaped += escaped;
            --units;
        } else {
            source = std::min({plainEnd(text, measure.source, length) - measure.source, units, roomLeft});
            if (source == 0) break;
            measure.escaped += source;
            units -= source;
        }
        measure.source += source;
    }
    return measure;
}

Measure measureWhole(const char* text) {
    const std::size_t length = std::strlen(text);
    return {length, escapedLength(text, length)};
}

// As measureBeginning. Mostly that is the whole text, which is measured faster.
Measure measureWithin(const char* text, std::size_t units, std::size_t room) {
    const std::size_t length = lengthWithin(text, units);
    if (text[length] == '\0') {
        const std::uint64_t escaped = escapedLength(text, length);
        if (escaped <= room) return {length, escaped};
    }
    return measureBeginning(text, units, room);
}

} // namespace

unsigned long xmlLen(const char* text) { return text != nullptr ? toldLength(measureWhole(text).escaped) : 0; }

char* xmlEncode(const char* text, char* destination, int size) {
    if (text == nullptr) return nullptr;
    const auto limit = static_cast<std::size_t>(size); // unless it is negative
    MallocText allocated;
    const bool given = destination != nullptr;
    const Measure measure = size < 0 ? measureWhole(text)
                            : given  ? measureWithin(text, limit, limit)
                                     : measureWithin(text, limit + 1, SIZE_MAX);
    if (!given) {
        allocated = allocateText(measure.escaped);
        destination = allocated.get();
        if (destination == nullptr) return nullptr;
    }
    *putEscaped(text, measure.source, destination) = '\0';
    return allocated != nullptr ? allocated.release() : destination;
}

void xmlEncode(std::string& out, const char* text, int size) {
    if (size >= 0 && size < INT_MAX) ++size;
    const MallocText escaped(xmlEncode(text, nullptr, size));
    if (escaped == nullptr) return;
    const std::size_t length = std::strlen(escaped.get());
    if (length <= out.max_size() - out.size()) out.append(escaped.get(), length);
}

char* xmlDecode(const char* text, unsigned long length) {
    if (text == nullptr) return nullptr;
    const std::size_t given = lengthWithin(text, length);
    const std::size_t count = putDecoded(text, given, nullptr, SIZE_MAX);
    if (count == kBadReference) return nullptr;
    MallocText plain = allocateText(count);
    if (plain == nullptr) return nullptr;
    const std::size_t written = putDecoded(text, given, plain.get(), count);
    if (written == kBadReference) return nullptr; // the text has changed since it was counted
    plain.get()[written] = '\0';
    return plain.release();
}
