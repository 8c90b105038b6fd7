// SPDX-License-Identifier: Apache-2.0
// Single attributes, by the rules of a parse and by their bytes. The first bytes name the attribute.
#include "TagWalk.h"

namespace {

bool isTag(const VellixMapTag& row, const VellixToken& name) {
    if (name.length != row.tagLen) return false;
    for (unsigned long i = 0; i < name.length; ++i) {
        const auto folded = [](char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : int{c}; };
        if (folded(name.start[i]) != folded(row.tag[i])) return false;
    }
    return true;
}

// The text ends at a NUL for a parse.
std::string plainByTokens(const VellixMapTag& row, const std::string& text) {
    const Guarded bytes(text);
    for (const TagEvent& event : walkTag(cursorOver(bytes)).events) {
        if (event.isAttribute && isTag(row, event.name))
            return shown(MallocText(xmlDecode(event.value.data(), static_cast<unsigned long>(event.value.size()))));
    }
    return "(null)";
}

// Where the pattern stands before the first ">", or npos.
std::size_t placeOf(const std::string& pattern, const std::string& text) {
    if (pattern.empty()) return 0;
    const std::size_t at = text.find(pattern);
    return at < text.find('>') ? at : std::string::npos;
}

void checkFind(const std::string& pattern, const Guarded& text) {
    const char* const found = VellixEntry::attr_strstr(text.data(), pattern.c_str());
    const std::size_t place = placeOf(pattern, text.data());
    require(found == (place == std::string::npos ? nullptr : text.data() + place), "a pattern is found at its place");
}

void checkFast(VELLIX_DOC_TYPE type, unsigned short id, const VellixMapTag& row, const Guarded& text) {
    const std::string all = text.data();
    const std::size_t place = placeOf(row.tagAssign, all);
    const char* const value = VellixEntry::parseAttributeFast_ptr(type, id, text.data(), false);
    const MallocText copy(VellixEntry::parseAttributeFast_str(type, id, text.data(), false));
    if (place == std::string::npos) {
        require(value == nullptr && !copy, "an attribute that isn't there gives null");
        return;
    }
    const std::size_t begin = place + row.tagAssignLen;
    require(value == text.data() + begin, "a value is found by its bytes");
    const std::size_t end = all.find('"', begin);
    require(shown(copy) == (end != std::string::npos ? all.substr(begin, end - begin) : "(null)"),
            "the copy of a value goes up to its quote");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const VELLIX_DOC_TYPE type = input.type();
    const auto id = static_cast<unsigned short>(input.byte());
    const std::string pattern = upToNul(input.text(input.below(8)));
    const std::string all = input.rest();
    const Guarded bytes(all);
    const MallocText plain(VellixEntry::parseAttribute(type, id, bytes.data(), bytes.size(), false));

    const std::string front = upToNul(all);
    const Guarded text = Guarded::terminated(front);
    checkFind(pattern, text);
    const VellixMapTag* const row = xmlRowAt(type, id);
    if (row == nullptr) {
        require(!plain && VellixEntry::parseAttributeFast_ptr(type, id, text.data(), true) == nullptr &&
                    VellixEntry::parseAttributeFast_str(type, id, text.data(), true) == nullptr,
                "a position without an attribute gives null");
        return 0;
    }
    require(shown(plain) == plainByTokens(*row, front), "a value is that of the first token of its name");
    checkFast(type, id, *row, text);
    return 0;
}
