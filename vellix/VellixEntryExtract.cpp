// SPDX-License-Identifier: Apache-2.0
// Single attributes, taken out of the text of a tag without an entry.
#include <cstdlib>
#include <cstring>

#include "vellix/VellixEntry.h"
#include "vellix/VellixTagStates.h"
#include "vellix/VellixText.h"
#include "vellix/platform/Platform.h"

namespace {

bool isTag(const VellixMapTag& row, const VellixToken& word) {
    return word.length == row.tagLen && platform::_strnicmp(word.start, row.tag, word.length) == 0;
}

} // namespace

char* VellixEntry::parseAttribute(VELLIX_DOC_TYPE docType, unsigned short id, const char* buffer, unsigned long length,
                                  bool /*flag*/) {
    const VellixMapTag* attribute = xmlRowAt(docType, id);
    if (attribute == nullptr || buffer == nullptr) return nullptr;
    XmlStr text = cursorOver(buffer, length);
    if (xmlNextToken(&text).kind != VELLIX_TOKEN_OPEN) return nullptr;
    int state = kExpectName;
    VellixToken name = {nullptr, VELLIX_TOKEN_EOF, 0};
    for (;;) {
        const VellixToken token = xmlNextToken(&text);
        const Action action = token.kind == VELLIX_TOKEN_EOF ? kSyntax : kActions[token.kind][state];
        if (action == kRemember) {
            name = token;
            state = kExpectEquals;
        } else if (action == kToValue) {
            state = kExpectValue;
        } else if (action == kStore) {
            const VellixToken value = valueOf(token);
            if (isTag(*attribute, name)) return xmlDecode(value.start, value.length);
            state = kExpectName;
        } else {
            return nullptr;
        }
    }
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

const char* VellixEntry::attr_strstr(const char* text, const char* pattern) {
    if (text == nullptr || pattern == nullptr) return nullptr;
    const std::size_t length = std::strlen(pattern);
    if (length == 0) return text;
    for (; *text != '\0' && *text != '>'; ++text) {
        if (std::strncmp(text, pattern, length) == 0) return text;
    }
    return nullptr;
}
