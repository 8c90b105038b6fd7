// SPDX-License-Identifier: Apache-2.0
// Parsing one tag: tokens, and a quick road for attributes in the form in which they are written.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "vellix/VellixEntry.h"
#include "vellix/VellixStore.h"
#include "vellix/VellixTagStates.h"
#include "vellix/VellixText.h"
#include "vellix/VellixValueCopy.h"

namespace {

// True unless a lead byte in front of it may take the byte at `at` along.
bool standsAlone(const char* text, std::size_t at) {
    for (std::size_t before = at > 3 ? at - 3 : 0; before < at; ++before) {
        if (static_cast<std::size_t>(xmlStepTable[byteAt(text + before)]) > at - before) return false;
    }
    return true;
}

const char* nextBracket(const char* at, const char* end) {
    return at != end ? static_cast<const char*>(std::memchr(at, '<', static_cast<std::size_t>(end - at))) : nullptr;
}

// Returns how much of a text has to be known to read the tag at its start: no more than up to a NUL or a second "<", and to
// the byte behind that. The bytes behind a NUL may not be there.
std::size_t lengthOfTag(const char* text, std::size_t length) {
    constexpr std::size_t kFirstStep = 256;
    std::size_t known = 0;
    bool inTag = false;
    for (std::size_t step = kFirstStep; known < length; step *= 2) {
        const std::size_t most = std::min(step, length - known);
        const std::size_t found = lengthWithin(text + known, most);
        const char* const end = text + known + found;
        for (const char* at = text + known; (at = nextBracket(at, end)) != nullptr; ++at) {
            const auto place = static_cast<std::size_t>(at - text);
            if (!standsAlone(text, place)) continue;
            if (inTag) return place + 1 + lengthWithin(at + 1, std::min<std::size_t>(1, length - place - 1));
            inTag = true;
        }
        known += found;
        if (found < most) break;
    }
    return known;
}

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
    if (length - 4 > 4) return std::memcmp(left, right, length) == 0; // shorter or longer than most
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

} // namespace

// Reads one tag into an entry.
class VellixTagParser {
public:
    VellixTagParser(VellixEntry& target, QuoteSearch* quoteSearch) : entry(target), search(quoteSearch) {}

    /// True if a parse ended for lack of memory, and not because of what it read.
    bool memoryRanOut() const { return starved; }

    // What walkTag calls.
    bool start(XmlStr& text, TagState& state, VellixToken& name);
    bool readAhead(XmlStr& text, TagState& state);
    bool takeName(const VellixToken& word);
    bool takeValue(const VellixToken& name, const VellixToken& value);
    void close() { entry.entryClosed = true; }

private:
    OpenStore& store() { return VellixStore::open(entry.store); }
    bool isNamed() const { return entry.store->name() != nullptr; }
    AttributeOrder& orderIn(OpenStore& values) const;
    const char* readTag(const char* at, const char* end, const VellixMapTag* map, unsigned char& follower,
                        const VellixMapTag*& attribute) const;
    const char* findTag(const char* at, const char* end, const VellixMapTag* map, unsigned char& follower,
                        const VellixMapTag*& attribute) const;
    static void takeCopy(OpenStore& values, const VellixMapTag& attribute, const ValueCopy& copy);
    bool takeDifficult(const VellixMapTag* attribute, const char* value, const ValueEnd& valueEnd);
    bool takeReferences(const VellixMapTag* attribute, const char* value, std::size_t length);
    void takeText(const VellixMapTag& attribute, const char* value, std::size_t length, bool plain);
    int limitOf(const VellixMapTag& attribute) const { return xmlRowAt(entry.type, attribute.id)->maxLen; }

    VellixEntry& entry;
    QuoteSearch* const search; // of the text, may be null
    bool starved = false;
};

// Takes the word that entries of this type are written with, if it comes next. The tokens would give the same.
bool VellixTagParser::start(XmlStr& text, TagState& state, VellixToken& name) {
    store(); // without memory for any value the call ends here
    const char* const openTag = entry.row().entryOpenTag;
    if (isNamed() || openTag == nullptr) return true;
    const char* const word = openTag + 1;
    const std::size_t length = std::strlen(word);
    const char* const at = text.buffer + text.position;
    if (text.length - text.position <= length || at[length] != ' ' || std::memcmp(at, word, length) != 0) return true;
    name = {at, VELLIX_TOKEN_WORD, static_cast<unsigned long>(length)};
    text.position += name.length + 1;
    state = kExpectEquals;
    return takeName(name);
}

// Reads what stands in front of a value and returns the value, or null for any other form than the written one. `attribute`
// becomes the tag's row in `map`, null for an unknown tag. Entries of one document mostly have the same attributes in the
// same order, so the row that followed last time is tried first.
inline const char* VellixTagParser::readTag(const char* at, const char* end, const VellixMapTag* map,
                                            unsigned char& follower, const VellixMapTag*& attribute) const {
    if (at != end && *at == ' ') ++at;
    if (map == nullptr || !beginsWith(at, end, map[follower])) return findTag(at, end, map, follower, attribute);
    attribute = map + follower;
    return at + attribute->tagAssignLen;
}

// Stores a value that stands in the store's room already.
inline void VellixTagParser::takeCopy(OpenStore& values, const VellixMapTag& attribute, const ValueCopy& copy) {
    char* const text = values.roomLeft();
    auto length = static_cast<std::size_t>(copy.copyEnd() - text);
    std::size_t escaped = length + copy.growth();
    const int limit = values.order.map[attribute.id].maxLen;
    if (limit >= 0 && length > static_cast<std::size_t>(limit)) {
        length = static_cast<std::size_t>(limit);
        escaped = static_cast<std::size_t>(escapedLength(text, length)); // the cut may go through a character
    }
    text[length] = '\0';
    values.take(attribute.id, length, escaped);
}

// Reads the attributes at the position that have the form in which they are written, and stops before anything else. The
// tokens would give the same; this is the quick road for what nearly all attributes are.
bool VellixTagParser::readAhead(XmlStr& text, TagState& state) {
    const bool named = isNamed();
    if (state == kExpectName && !named) return true;            // the next word may be the name
    if (search != nullptr && search->takesNotes()) return true; // it has to be asked for each quote
    OpenStore& values = store();
    AttributeOrder& order = orderIn(values);
    unsigned char* follower = &order.followers[kLongestMap - 1]; // the place of the longest map's end row
    const char* const end = text.buffer + text.length;
    const char* at = text.buffer + text.position;
    bool taken = true;
    do {
        const VellixMapTag* attribute = nullptr;
        const char* const value = readTag(at, end, order.map, *follower, attribute);
        if (value == nullptr) break;
        ValueCopy copy(value, end, values.roomLeft(), values.roomEnd());
        if (copy.toQuote()) {
            at = copy.quote() + 1;
            if (attribute != nullptr) takeCopy(values, *attribute, copy);
        } else {
            const ValueEnd valueEnd = findValueEnd(value, end);
            if (valueEnd.quote == nullptr) break;
            at = valueEnd.quote + 1;
            taken = takeDifficult(attribute, value, valueEnd);
        }
        state = kExpectName;
        if (attribute != nullptr) follower = &order.followers[attribute - order.map];
    } while (taken && named); // without a name the next word may be it
    text.position = static_cast<unsigned long>(at - text.buffer);
    return taken;
}

// Returns what was learned of the order of attributes. What was learned in another map is forgotten.
AttributeOrder& VellixTagParser::orderIn(OpenStore& values) const {
    const VellixMapTag* const map = entry.row().mapTag;
    if (values.order.map != map) values.order = {map, {}};
    return values.order;
}

// Reads what stands in front of a value whose tag isn't the expected one.
const char* VellixTagParser::findTag(const char* at, const char* end, const VellixMapTag* map, unsigned char& follower,
                                     const VellixMapTag*& attribute) const {
    const char* const name = at;
    while (at != end && isTagLetter(*at)) ++at;
    if (at == name || end - at < 3 || at[0] != '=' || at[1] != '"') return nullptr;
    attribute = xmlRowByTag(entry.type, name, static_cast<unsigned long>(at - name));
    if (attribute != nullptr) follower = static_cast<unsigned char>(attribute - map);
    return at + 2;
}

// Stores any other value, of which only the end is known.
bool VellixTagParser::takeDifficult(const VellixMapTag* attribute, const char* value, const ValueEnd& valueEnd) {
    const auto length = static_cast<std::size_t>(valueEnd.quote - value);
    if (valueEnd.reference) return takeReferences(attribute, value, length);
    if (attribute != nullptr) takeText(*attribute, value, length, valueEnd.plain);
    return true;
}

// Makes the first word of a tag the entry's name and, for an entry without a type, looks the type up by it. A word that
// names no type is passed over.
bool VellixTagParser::takeName(const VellixToken& word) {
    if (isNamed()) return true;
    const bool typeIsKnown = entry.type != VELLIX_DOC_NONE;
    const VELLIX_DOC_TYPE type = typeIsKnown ? entry.type : xmlDocTypeByName(word.start, word.length);
    if (type == VELLIX_DOC_NONE) return true;
    try {
        starved = !store().put(VellixStore::kNameSlot, word.start, word.length, true);
    } catch (const std::bad_alloc&) {
        starved = true;
    }
    if (!starved) entry.type = type;
    return !starved;
}

// Stores a value that was read; without an attribute it drops out. False if it has a bad reference or memory for its plain
// form ran out.
bool VellixTagParser::takeValue(const VellixToken& name, const VellixToken& value) {
    const VellixMapTag* const attribute = xmlRowByTag(entry.type, name.start, name.length);
    if (std::memchr(value.start, '&', value.length) != nullptr)
        return takeReferences(attribute, value.start, value.length);
    if (attribute != nullptr) takeText(*attribute, value.start, value.length, false);
    return true;
}

// The same for a value with an ampersand.
bool VellixTagParser::takeReferences(const VellixMapTag* attribute, const char* value, std::size_t length) {
    if (attribute == nullptr) return putDecoded(value, length, nullptr, SIZE_MAX) != kBadReference;
    const OpenStore::Decoded decoded = store().putDecoded(attribute->id, value, length, limitOf(*attribute));
    starved = starved || decoded == OpenStore::Decoded::kNoMemory;
    return decoded == OpenStore::Decoded::kStored;
}

// The same for a value without one.
void VellixTagParser::takeText(const VellixMapTag& attribute, const char* value, std::size_t length, bool plain) {
    const int limit = limitOf(attribute);
    const bool cut = limit >= 0 && length > static_cast<std::size_t>(limit); // it may go through a character
    store().put(attribute.id, value, cut ? static_cast<std::size_t>(limit) : length, plain && !cut);
}

// --- Entries ---

int VellixEntry::parseAttrXMLString(XmlStr* text) {
    if (text == nullptr) return VELLIX_ERR_NULL_ARGUMENT;
    bool metEnd = false;
    const bool hasMore = text->position < text->length;
    if (!hasMore || !store->owns(text->buffer + text->position)) return parseTag(*text, nullptr, metEnd);
    XmlStr rest = cursorOverTag(text->buffer + text->position, text->length - text->position);
    const std::string copy(rest.buffer, rest.length); // what is stored may go where the text stands
    rest.buffer = copy.data();
    rest.syntaxError = text->syntaxError;
    const int result = parseTag(rest, nullptr, metEnd);
    text->position += rest.position;
    text->syntaxError = rest.syntaxError;
    return result;
}

int VellixEntry::parseAttrXMLString(const char* buffer, unsigned long length) {
    if (buffer == nullptr) return VELLIX_ERR_NULL_ARGUMENT;
    XmlStr text = cursorOverTag(buffer, length);
    return parseAttrXMLString(&text);
}

int VellixEntry::parseTag(XmlStr& text, QuoteSearch* search, bool& metEnd) {
    VellixTagParser parser(*this, search);
    return walkTag(text, search, metEnd, parser);
}

void VellixEntry::loadFromBuffer(VELLIX_DOC_TYPE docType, const char* buffer, unsigned long length, bool /*flag*/) {
    VellixEntry loaded(docType); // apart, since memory may run out, and the text may be one of this entry
    if (buffer != nullptr) {
        VellixTagParser parser(loaded, nullptr);
        XmlStr text = cursorOverTag(buffer, length);
        bool metEnd = false;
        walkTag(text, nullptr, metEnd, parser);
        if (parser.memoryRanOut()) throw std::bad_alloc();
    }
    makeNew(loaded.type);
    entryClosed = loaded.entryClosed;
    std::swap(store, loaded.store);
}

// --- The text of one tag ---

XmlStr cursorOverTag(const char* buffer, std::size_t length) {
    XmlStr text;
    text.buffer = buffer;
    text.length = static_cast<unsigned long>(lengthOfTag(buffer, length));
    return text;
}
