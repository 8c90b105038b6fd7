// SPDX-License-Identifier: Apache-2.0
// Single attributes, taken out of the text of a tag without an entry.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "vellix/VellixEntry.h"
#include "vellix/VellixTagStates.h"
#include "vellix/VellixText.h"
#include "vellix/platform/Platform.h"

namespace {

// Looks for one attribute in a tag, and ends the walk at its value.
struct AttributeSearch {
    const VellixMapTag& wanted;
    char* value = nullptr;

    static bool start(const XmlStr&, TagState&, const VellixToken&) { return true; }
    static bool readAhead(const XmlStr&, TagState&) { return true; }
    static bool takeName(const VellixToken&) { return true; }
    static void close() {}

    bool takeValue(const VellixToken& name, const VellixToken& text) {
        if (name.length != wanted.tagLen || platform::_strnicmp(name.start, wanted.tag, name.length) != 0) return true;
        value = xmlDecode(text.start, text.length);
        return false;
    }
};

// The greatest suffix, in the order of bytes, of a text that grows at its end.
struct GreatestSuffix {
    std::size_t start = 0;
    std::size_t period = 1;    // the smallest of that suffix
    std::size_t candidate = 1; // what begins here may be greater, but for
    std::size_t same = 0;      // so many bytes it is the same

    void extendTo(const char* text, std::size_t length) {
        while (candidate + same < length) {
            const char known = text[start + same];
            const char other = text[candidate + same];
            if (known == other) {
                if (++same == period) {
                    candidate += period;
                    same = 0;
                }
                continue;
            }
            if (known > other) {
                candidate += same + 1;
                period = candidate - start;
            } else {
                start = candidate++;
                period = 1;
            }
            same = 0;
        }
    }
};

// A pattern held against a text, from place to place, in linear time and without memory: Crochemore's "String-matching on
// ordered alphabets" (1992). What matched, and the byte that ended it, say by their greatest suffix how far to move.
struct Comparison {
    std::size_t matched = 0; // bytes of the pattern that are known to stand at the place
    GreatestSuffix suffix;

    bool matches(const char* text, const char* pattern) {
        while (pattern[matched] != '\0' && pattern[matched] == text[matched]) ++matched;
        return pattern[matched] == '\0';
    }

    // Returns the bytes up to the next place where the pattern may stand.
    std::size_t move(const char* text) {
        suffix.extendTo(text, matched + 1);
        const std::size_t front = suffix.start;
        const std::size_t period = suffix.period;
        if (front > period || std::memcmp(text, text + period, front) != 0) {
            const std::size_t bytes = std::max(front, std::min(matched - front, suffix.candidate)) + 1;
            *this = Comparison();
            return bytes;
        }
        matched -= std::min(matched, period);
        if (matched != 0 && suffix.candidate - suffix.start > period) {
            suffix.candidate -= period; // the suffix moves along
        } else {
            suffix = GreatestSuffix();
        }
        return period;
    }
};

} // namespace

char* VellixEntry::parseAttribute(VELLIX_DOC_TYPE docType, unsigned short id, const char* buffer, unsigned long length,
                                  bool /*flag*/) {
    const VellixMapTag* attribute = xmlRowAt(docType, id);
    if (attribute == nullptr || buffer == nullptr) return nullptr;
    XmlStr text = cursorOverTag(buffer, length);
    AttributeSearch search = {*attribute};
    bool metEnd = false;
    walkTag(text, nullptr, metEnd, search);
    return search.value;
}

const char* VellixEntry::parseAttributeFast_ptr(VELLIX_DOC_TYPE docType, unsigned short id, const char* buffer,
                                                bool /*flag*/) {
    const VellixMapTag* attribute = xmlRowAt(docType, id);
    if (attribute == nullptr) return nullptr;
    const char* found = attr_strstr(buffer, attribute->tagAssign);
    return found != nullptr ? found + attribute->tagAssignLen : nullptr;
}

char* VellixEntry::parseAttributeFast_str(VELLIX_DOC_TYPE docType, unsigned short id, const char* buffer, bool flag) {
    const char* value = parseAttributeFast_ptr(docType, id, buffer, flag);
    const char* end = value != nullptr ? std::strchr(value, '"') : nullptr;
    if (end == nullptr) return nullptr;
    const auto length = static_cast<std::size_t>(end - value);
    auto* copy = static_cast<char*>(std::malloc(length + 1));
    if (copy != nullptr) *copyBytes(copy, value, length) = '\0';
    return copy;
}

// No byte is read before it counts: what stands behind the match may be long.
const char* VellixEntry::attr_strstr(const char* text, const char* pattern) {
    if (text == nullptr || pattern == nullptr) return nullptr;
    if (*pattern == '\0') return text;
    Comparison comparison;
    for (;;) {
        if (comparison.matched == 0) {
            while (*text != *pattern && *text != '>' && *text != '\0') ++text;
        }
        if (*text == '>' || *text == '\0') return nullptr;
        if (comparison.matches(text, pattern)) return text;
        if (text[comparison.matched] == '\0') return nullptr;
        const std::size_t move = comparison.move(text);
        if (std::memchr(text, '>', move) != nullptr) return nullptr;
        text += move;
    }
}
