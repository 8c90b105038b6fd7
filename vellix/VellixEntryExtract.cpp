// SPDX-License-Identifier: Apache-2.0
// Single attributes, taken out of the text of a tag without an entry.
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

const char* VellixEntry::attr_strstr(const char* text, const char* pattern) {
    if (text == nullptr || pattern == nullptr) return nullptr;
    const std::size_t length = std::strlen(pattern);
    if (length == 0) return text;
    for (; *text != '\0' && *text != '>'; ++text) {
        if (std::strncmp(text, pattern, length) == 0) return text;
    }
    return nullptr;
}
