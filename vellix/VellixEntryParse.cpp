// SPDX-License-Identifier: Apache-2.0
// Parsing one tag: a state machine over its tokens, and a quick road for attributes in the form in which they are written.
#include <cstdint>
#include <cstring>
#include <exception>
#include <string>

#include "vellix/VellixEntry.h"
#include "vellix/VellixScanner.h"
#include "vellix/VellixStore.h"
#include "vellix/VellixTagStates.h"
#include "vellix/VellixText.h"

namespace {

// The letters, digits and "_", of which all tags are made.
struct TagLetters {
    bool are[256] = {};

    constexpr TagLetters() {
        for (int c = 'A'; c <= 'Z'; ++c) are[c] = are[c + ('a' - 'A')] = true;
        for (int c = '0'; c <= '9'; ++c) are[c] = true;
        are[int{'_'}] = true;
    }
};
constexpr TagLetters kTagLetters;

bool isTagLetter(char c) { return kTagLetters.are[static_cast<unsigned char>(c)]; }

bool sameBytes(const char* left, const char* right, std::size_t length) {
    if (length < 4 || length > 8) return std::memcmp(left, right, length) == 0;
    std::uint32_t a = 0;
    std::uint32_t b = 0;
    std::memcpy(&a, left, 4);
    std::memcpy(&b, right, 4);
    if (a != b) return false;
    std::memcpy(&a, left + length - 4, 4);
    std::memcpy(&b, right + length - 4, 4);
    return a == b;
}

// True if `at` begins with the tag of an attribute in the form in which it is written, up to the value's quote.
bool beginsWith(const char* at, const char* end, const VellixMapTag& attribute) {
    return static_cast<std::size_t>(end - at) >= attribute.tagAssignLen &&
           sameBytes(at, attribute.tagAssign, attribute.tagAssignLen);
}

// The end of a value in double quotes, null where the scanner would find no quoted string.
struct ValueEnd {
    const char* quote = nullptr;
    bool plain = true;      // nothing in it would be escaped
    bool reference = false; // it has an ampersand
};

ValueEnd findValueEnd(const char* at, const char* end) {
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
            found.plain = false;
            ++at;
            break;
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

} // namespace

int VellixEntry::parseAttrXMLString(XmlStr* text) {
    bool metEnd = false;
    return text != nullptr ? parseTag(*text, nullptr, metEnd) : VELLIX_ERR_NULL_ARGUMENT;
}

int VellixEntry::parseAttrXMLString(const char* buffer, unsigned long length) {
    if (buffer == nullptr) return VELLIX_ERR_NULL_ARGUMENT;
    XmlStr text = cursorOver(buffer, length);
    return parseAttrXMLString(&text);
}

// Parses one tag. `search` is the text's own, null if this is the only tag of it to be parsed. `metEnd` tells whether the
// end of the text had a part in the result, so that the tag might read otherwise if the text went on.
int VellixEntry::parseTag(XmlStr& text, QuoteSearch* search, bool& metEnd) {
    if (totalAttributes == 0) initAttribute(); // content was moved away
    const VellixToken token = scanToken(text, search, metEnd);
    if (token.kind == VELLIX_TOKEN_OPEN) return parseAttributes(text, search, metEnd);
    return token.kind == VELLIX_TOKEN_EOF ? VELLIX_ERR_END_OF_BUFFER : VELLIX_ERR_SYNTAX;
}

// Parses what stands behind the "<".
int VellixEntry::parseAttributes(XmlStr& text, QuoteSearch* search, bool& metEnd) {
    VellixToken name = {nullptr, VELLIX_TOKEN_EOF, 0};
    int state = takeOwnName(text, name) ? kExpectEquals : kExpectName;
    for (;;) {
        const bool plainMayFollow = state == kExpectEquals || (state == kExpectName && entryNamed);
        const bool plainPays = search == nullptr || !search->takesNotes();
        if (plainMayFollow && plainPays && !parsePlainAttributes(text, state)) return VELLIX_ERR_NO_MEMORY;
        bool tokenMetEnd = false;
        const VellixToken token = scanToken(text, search, tokenMetEnd);
        metEnd = metEnd || tokenMetEnd;
        if (token.kind == VELLIX_TOKEN_EOF) {
            metEnd = tokenMetEnd;
            return VELLIX_ERR_END_OF_BUFFER;
        }
        switch (kActions[token.kind][state]) {
        case kRemember:
            name = token;
            if (state == kExpectName && !takeName(name.start, name.length)) return VELLIX_ERR_NO_MEMORY;
            state = kExpectEquals;
            break;
        case kToValue:
            state = kExpectValue;
            break;
        case kStore:
            if (!takeValue(attributeOf(name), valueOf(token))) return VELLIX_ERR_NO_MEMORY;
            state = kExpectName;
            break;
        case kFinishClosed:
            entryClosed = true;
            return VELLIX_SUCCESS;
        case kFinish:
            return VELLIX_SUCCESS;
        case kSyntax:
            text.syntaxError = 1;
            return VELLIX_ERR_SYNTAX;
        }
    }
}

// Takes the word that entries of this type are written with, if it comes next. The tokens would give the same.
bool VellixEntry::takeOwnName(XmlStr& text, VellixToken& name) {
    const char* const openTag = row().entryOpenTag;
    if (entryNamed || openTag == nullptr) return false;
    const char* const word = openTag + 1;
    const std::size_t length = std::strlen(word);
    const char* const at = text.buffer + text.position;
    if (text.length - text.position <= length || at[length] != ' ' || std::memcmp(at, word, length) != 0) return false;
    if (!takeName(at, length)) return false;
    name = {at, VELLIX_TOKEN_WORD, static_cast<unsigned long>(length)};
    text.position += name.length + 1;
    return true;
}

const VellixMapTag* VellixEntry::attributeOf(const VellixToken& name) const {
    return xmlRowByTag(type, name.start, name.length);
}

// Reads the attributes at the position that have the form in which they are written, and stops before anything else. The
// tokens would give the same; this is the quick road for what nearly all attributes are. False if a value has a bad
// reference or memory ran out.
bool VellixEntry::parsePlainAttributes(XmlStr& text, int& state) {
    const char* const end = text.buffer + text.length;
    unsigned char* follower = followersIn(row().mapTag);
    for (;;) {
        const char* at = text.buffer + text.position;
        if (at != end && *at == ' ') ++at;
        const VellixMapTag* attribute = nullptr;
        const char* const value = readTag(at, end, *follower, attribute);
        const ValueEnd valueEnd = value != nullptr ? findValueEnd(value, end) : ValueEnd();
        if (valueEnd.quote == nullptr) return true;
        state = kExpectName;
        text.position = static_cast<unsigned long>(valueEnd.quote + 1 - text.buffer);
        const auto length = static_cast<std::size_t>(valueEnd.quote - value);
        if (valueEnd.reference) {
            if (!takeReferences(attribute, {value, VELLIX_TOKEN_WORD, static_cast<unsigned long>(length)}))
                return false;
        } else if (attribute != nullptr && valueEnd.plain && learnedMap[attribute->id].maxLen < 0 &&
                   length <= kBulkyValue) {
            assignTo(slotToFill(attribute->id), value, length); // what storeText comes down to
            keepSlot(attribute->id, length);
        } else if (attribute != nullptr) {
            storeText(attribute->id, value, length, valueEnd.plain);
        }
        if (!entryNamed) return true; // the next word may be the name
        if (attribute != nullptr) follower = &followers[attribute - row().mapTag];
    }
}

// Returns what was learned of the attribute that comes first. What was learned in another map is forgotten.
unsigned char* VellixEntry::followersIn(const VellixMapTag* map) {
    if (learnedMap != map) std::memset(followers, 0, sizeof followers);
    learnedMap = map;
    return &followers[kLongestMap - 1]; // the place of the longest map's end row
}

// Reads a tag and what stands between it and its value, and returns the value, or null for any other form. `attribute`
// becomes the tag's row, null for an unknown tag. Entries of one document mostly have the same attributes in the same
// order, so the row that followed last time is tried first.
const char* VellixEntry::readTag(const char* at, const char* end, unsigned char& follower,
                                 const VellixMapTag*& attribute) {
    if (learnedMap != nullptr && beginsWith(at, end, learnedMap[follower])) {
        attribute = learnedMap + follower;
        return at + attribute->tagAssignLen;
    }
    const char* const name = at;
    while (at != end && isTagLetter(*at)) ++at;
    if (at == name || end - at < 3 || at[0] != '=' || at[1] != '"') return nullptr;
    attribute = xmlRowByTag(type, name, static_cast<unsigned long>(at - name));
    if (attribute != nullptr) follower = static_cast<unsigned char>(attribute - learnedMap);
    return at + 2;
}

// Makes the first word of a tag the entry's name and, for an entry without a type, looks the type up by it. False if
// memory ran out.
bool VellixEntry::takeName(const char* word, std::size_t length) {
    if (entryNamed) return true;
    try {
        if (entryName.compare(0, std::string::npos, word, length) != 0) entryName.assign(word, length);
    } catch (const std::exception&) { // no memory, or longer than any string
        return false;
    }
    bulky = bulky || length > kBulkyValue;
    entryNamed = true;
    if (type != VELLIX_DOC_NONE) return true;
    type = xmlDocTypeByName(entryName.data(), static_cast<unsigned long>(length));
    entryNamed = type != VELLIX_DOC_NONE;
    return true;
}

// Stores a value that was read; without an attribute it drops out. False if it has a bad reference or memory for its plain
// form ran out.
bool VellixEntry::takeValue(const VellixMapTag* attribute, const VellixToken& value) {
    if (std::memchr(value.start, '&', value.length) != nullptr) return takeReferences(attribute, value);
    if (attribute != nullptr) storeText(attribute->id, value.start, value.length, false);
    return true;
}

// The same for a value with an ampersand.
bool VellixEntry::takeReferences(const VellixMapTag* attribute, const VellixToken& value) {
    std::string& plain = decodedValue;
    try {
        if (plain.size() < value.length) plain.resize(value.length);
    } catch (const std::exception&) { // no memory, or longer than any string
        return false;
    }
    bulky = bulky || value.length > kBulkyValue;
    const std::size_t decoded = putDecoded(value.start, value.length, &plain[0], value.length);
    if (decoded == kBadReference) return false;
    if (attribute != nullptr) storeText(attribute->id, plain.data(), lengthWithin(plain.data(), decoded), false);
    return true;
}
