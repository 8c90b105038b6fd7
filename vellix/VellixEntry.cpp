// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixEntry.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>

#include "vellix/VellixScanner.h"
#include "vellix/VellixText.h"
#include "vellix/platform/Bytes.h"
#include "vellix/platform/Platform.h"

namespace {

constexpr std::size_t kBulkyValue = 65536;
constexpr std::size_t kLongestEscaped = INT_MAX; // what a slot can note

// The bit of a slot in its word of `present`.
constexpr std::uint64_t bitOf(unsigned int id) { return std::uint64_t{1} << (id % 64); }

const std::string& emptyString() {
    static const std::string empty;
    return empty;
}

// Replaces what a slot holds and keeps its memory. `text` may be a part of it.
inline void assignTo(std::string& slot, const char* text, std::size_t length) {
    if (length == slot.size() && text != slot.data()) { // as numbers of one kind mostly are
        copyBytes(&slot[0], text, length);
    } else {
        slot.assign(text, length);
    }
}

// Copies a value into text. A string as long as its escaped form has nothing to escape, or is escaped already.
char* putValue(char* out, const std::string& value, std::size_t escapedLength) {
    if (value.size() == escapedLength) return copyBytes(out, value.data(), escapedLength);
    return putEscaped(value.data(), value.size(), out);
}

// --- Numeric text ---

constexpr std::size_t kRadix64Digits = 6;

char radix64Digit(unsigned int value) {
    return static_cast<char>(value < 12 ? value + 46 : value < 38 ? value + 53 : value + 59);
}

// Returns the value of a radix-64 digit, or -1.
int radix64Value(char c) {
    if (c >= '.' && c <= '9') return c - 46;
    if (c >= 'A' && c <= 'Z') return c - 53;
    if (c >= 'a' && c <= 'z') return c - 59;
    return -1;
}

// The forms of numbers are written into a buffer, and a form refers to it.
constexpr std::size_t kNumberBuffer = 24;
using NumberBuffer = char[kNumberBuffer];

// Writes up to six radix-64 digits, the least significant first. The shift keeps the sign of a signed number, so a negative
// one always has six digits. `pad` right-aligns them by the number's width.
template <class Number> std::string_view radix64Encode(Number value, NumberBuffer& out, bool pad) {
    char digits[kRadix64Digits];
    std::size_t count = 0;
    do {
        digits[count++] = radix64Digit(static_cast<unsigned int>(value) & 63U);
        value = static_cast<Number>(value >> 6);
    } while (value != 0 && count < kRadix64Digits);
    constexpr std::size_t kPaddedWidth = sizeof(Number) * 3 / 2;
    const std::size_t blanks = pad && count < kPaddedWidth ? kPaddedWidth - count : 0;
    std::memset(out, ' ', blanks);
    std::memcpy(out + blanks, digits, count);
    return {out, blanks + count};
}

// Reads radix-64 digits into 32 bits; all bits set for a bad one. Narrower and wider results follow from that number by
// truncation and sign extension, as in the POSIX function a64l.
int radix64Decode(const char* text) {
    unsigned int bits = 0;
    unsigned int shift = 0;
    for (; *text != '\0' && shift < kRadix64Digits * 6; ++text) {
        if (*text == ' ') continue;
        const int value = radix64Value(*text);
        if (value < 0) return -1;
        bits |= static_cast<unsigned int>(value) << shift;
        shift += 6;
    }
    return static_cast<int>(bits);
}

// "00" to "99".
struct DigitPairs {
    char text[200] = {};

    constexpr DigitPairs() {
        for (std::size_t i = 0; i < 100; ++i) {
            text[2 * i] = static_cast<char>('0' + i / 10);
            text[2 * i + 1] = static_cast<char>('0' + i % 10);
        }
    }
};
constexpr DigitPairs kDigitPairs;

// Writes a number as the signed one of its bits, at least 32 of them.
template <class Number> std::string_view decimalEncode(Number value, NumberBuffer& out) {
    using Signed = std::conditional_t<sizeof(Number) < sizeof(int), int, std::make_signed_t<Number>>;
    using Unsigned = std::make_unsigned_t<Signed>;
    const auto number = static_cast<Signed>(value);
    auto rest = static_cast<Unsigned>(number);
    if (number < 0) rest = 0 - rest;
    char* const end = out + kNumberBuffer;
    char* first = end;
    for (; rest >= 100; rest /= 100) {
        first -= 2;
        std::memcpy(first, kDigitPairs.text + 2 * (rest % 100), 2);
    }
    if (rest >= 10) {
        first -= 2;
        std::memcpy(first, kDigitPairs.text + 2 * rest, 2);
    } else {
        *--first = static_cast<char>('0' + rest);
    }
    if (number < 0) *--first = '-';
    return {first, static_cast<std::size_t>(end - first)};
}

template <class Number> Number decimalDecode(const char* text) {
    if constexpr (sizeof(Number) > sizeof(int)) {
        return static_cast<Number>(platform::_atoi64(text));
    } else {
        return static_cast<Number>(platform::atoi(text));
    }
}

// --- What a data type admits ---

// The numbers of a data type. 0 bits: outside every range test.
struct NumberRange {
    unsigned int bits;
    bool hasSign;
    __int64 least;
    __int64 most;
};

const NumberRange kNumberRanges[] = {
    {0, false, 0, 0},             // VELLIX_TYPE_STRING
    {8, true, -128, 127},         // VELLIX_TYPE_INT8
    {8, false, 0, 255},           // VELLIX_TYPE_UINT8
    {16, true, -32768, 32767},    // VELLIX_TYPE_INT16
    {16, false, 0, 65535},        // VELLIX_TYPE_UINT16
    {32, true, INT_MIN, INT_MAX}, // VELLIX_TYPE_INT32
    {32, false, 0, UINT_MAX},     // VELLIX_TYPE_UINT32
    {64, true, 0, 0},             // VELLIX_TYPE_INT64: no setter is wider
    {64, false, 0, 0},            // VELLIX_TYPE_UINT64
    {0, false, 0, 0},             // VELLIX_TYPE_RESERVED9
    {0, false, 0, 0},             // VELLIX_TYPE_RESERVED10
    {0, false, 0, 0},             // VELLIX_TYPE_OPAQUE
};

// A setter weighs its value only against the data types narrower than its own. Of those an unsigned number of 32 or 64
// bits is refused by the signed ones outright; an unsigned short is held to their upper limit.
template <class Number> bool admitsNumber(VELLIX_DATA_TYPE dataType, Number value) {
    const NumberRange& range = kNumberRanges[dataType];
    if (range.bits == 0 || range.bits >= sizeof(Number) * CHAR_BIT) return true;
    if constexpr (std::is_unsigned_v<Number>) {
        if (range.hasSign && sizeof(Number) >= sizeof(int)) return false;
        return value <= static_cast<unsigned __int64>(range.most);
    } else {
        return value >= range.least && value <= range.most;
    }
}

// A getter reads the data types of its own width and narrower, and opaque text.
template <class Number> bool readsNumber(VELLIX_DATA_TYPE dataType) {
    const NumberRange& range = kNumberRanges[dataType];
    if (range.bits == 0) return dataType == VELLIX_TYPE_OPAQUE;
    return range.bits <= sizeof(Number) * CHAR_BIT;
}

// --- Parsing ---

enum State : int { kExpectName, kExpectEquals, kExpectValue };
enum Action { kSyntax, kRemember, kToValue, kStore, kFinish, kFinishClosed };

// What a token means in each state. VELLIX_TOKEN_EOF and above don't get here.
const Action kActions[][3] = {
    // ExpectName    ExpectEquals   ExpectValue
    {kRemember, kRemember, kStore},          // VELLIX_TOKEN_WORD
    {kSyntax, kSyntax, kStore},              // VELLIX_TOKEN_QUOTED
    {kSyntax, kSyntax, kSyntax},             // VELLIX_TOKEN_OPEN
    {kSyntax, kSyntax, kSyntax},             // VELLIX_TOKEN_CLOSE_OPEN
    {kFinish, kSyntax, kSyntax},             // VELLIX_TOKEN_END
    {kSyntax, kToValue, kSyntax},            // VELLIX_TOKEN_EQUALS
    {kSyntax, kSyntax, kSyntax},             // VELLIX_TOKEN_PI_OPEN
    {kFinishClosed, kFinishClosed, kSyntax}, // VELLIX_TOKEN_EMPTY_END
};

// A terminated text may be given with any length.
XmlStr cursorOver(const char* buffer, std::size_t length) {
    XmlStr text;
    text.buffer = buffer;
    text.length = static_cast<unsigned long>(lengthWithin(buffer, length));
    return text;
}

// The value without its quotes.
VellixToken valueOf(const VellixToken& token) {
    if (token.kind != VELLIX_TOKEN_QUOTED) return token;
    return {token.start + 1, VELLIX_TOKEN_WORD, token.length - 2};
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

// --- Single attributes ---

struct Free {
    void operator()(char* memory) const { std::free(memory); }
};

bool isTag(const VellixMapTag& row, const VellixToken& word) {
    return word.length == row.tagLen && platform::_strnicmp(word.start, row.tag, word.length) == 0;
}

} // namespace

// --- Construction ---

VellixEntry::VellixEntry(VELLIX_DOC_TYPE docType, unsigned short id, bool /*flag*/) : type(docType) {
    initAttribute();
    if (id != 0) addNumber(1, id, false);
}

VellixEntry::VellixEntry(VELLIX_DOC_TYPE docType, const char* buffer, unsigned long length, bool /*flag*/)
    : type(docType) {
    initAttribute();
    if (buffer != nullptr) parseAttrXMLString(buffer, length);
}

VellixEntry::VellixEntry(const VellixEntry& other) : lastError(other.lastError), type(other.type) {
    initAttribute();
    copyAttribute(other);
    copyState(other);
}

VellixEntry::VellixEntry(VellixEntry&& other) noexcept : lastError(other.lastError), type(other.type) {
    takeStore(other);
}

VellixEntry::~VellixEntry() = default;

void VellixEntry::operator=(const VellixEntry& other) {
    if (this == &other) return;
    type = other.type;
    copyAttribute(other);
    copyState(other);
}

void VellixEntry::operator=(VellixEntry&& other) noexcept {
    if (this == &other) return;
    type = other.type;
    takeStore(other);
}

void VellixEntry::initAttribute() {
    totalAttributes = kLongestMap;
    numAttributes = 0;
    escapedTotal = 0;
    std::fill_n(present, kPresentWords, 0);
    attrLen.clear();
    attrValue.clear();
}

void VellixEntry::resetAttribute() {
    if (bulky) {
        for (std::string& value : attrValue) {
            if (value.capacity() > kBulkyValue) std::string().swap(value);
        }
        std::string().swap(decodedValue);
        if (!entryNamed) std::string().swap(entryName);
        bulky = false;
    }
    if (numAttributes == 0) return;
    numAttributes = 0;
    escapedTotal = 0;
    std::fill_n(present, kPresentWords, 0);
}

void VellixEntry::copyAttribute(const VellixEntry& other) {
    if (totalAttributes == 0) initAttribute();
    resetAttribute();
    makeSlots(other.usedSlots()); // and no more: most entries that are kept are copies
    for (unsigned int id = 0; numAttributes < other.numAttributes && id < totalAttributes; ++id) {
        if (!other.isPresent(id)) continue;
        attrValue[id] = other.attrValue[id];
        bulky = bulky || attrValue[id].size() > kBulkyValue;
        keepSlot(id, static_cast<std::size_t>(other.attrLen[id]));
    }
}

void VellixEntry::copyState(const VellixEntry& other) {
    entryNamed = false;
    if (other.entryNamed) {
        try {
            entryName = other.entryName;
            entryNamed = true;
        } catch (const std::bad_alloc&) {
            entryName.clear(); // the copy goes without a name
        }
    }
    numChildDocs = other.numChildDocs;
    numEntries = other.numEntries;
    entryClosed = other.entryClosed;
}

void VellixEntry::takeStore(VellixEntry& other) noexcept {
    attrLen = std::move(other.attrLen);
    attrValue = std::move(other.attrValue);
    totalAttributes = other.totalAttributes;
    numAttributes = other.numAttributes;
    escapedTotal = other.escapedTotal;
    std::copy_n(other.present, kPresentWords, present);
    entryNamed = other.entryNamed;
    entryName = std::move(other.entryName);
    bulky = other.bulky;
    entryClosed = other.entryClosed;
    numChildDocs = other.numChildDocs;
    numEntries = other.numEntries;
    other.totalAttributes = 0;
    other.numAttributes = 0;
    other.escapedTotal = 0;
    std::fill_n(other.present, kPresentWords, 0);
    other.entryNamed = false;
}

void VellixEntry::loadFromBuffer(VELLIX_DOC_TYPE docType, const char* buffer, unsigned long length, bool /*flag*/) {
    type = docType;
    entryNamed = false;
    lastError = VELLIX_SUCCESS;
    numChildDocs = 0;
    numEntries = 0;
    entryClosed = false;
    initAttribute();
    if (buffer != nullptr) parseAttrXMLString(buffer, length);
}

// --- State ---

void VellixEntry::clear() {
    entryNamed = false;
    resetAttribute();
    type = VELLIX_DOC_NONE;
    numChildDocs = 0;
    numEntries = 0;
}

bool VellixEntry::operator==(const VellixEntry& other) const {
    if (totalAttributes != other.totalAttributes || numAttributes != other.numAttributes) return false;
    unsigned int compared = 0;
    for (unsigned int id = 0; compared < numAttributes; ++id) {
        if (isPresent(id) != other.isPresent(id)) return false;
        if (!isPresent(id)) continue;
        if (attrValue[id] != other.attrValue[id]) return false;
        ++compared;
    }
    return true;
}

void VellixEntry::setError(int code) { lastError = code; }

int VellixEntry::getLastError() const { return lastError; }

const char* VellixEntry::getEntryName() const { return entryNamed ? entryName.c_str() : nullptr; }

VELLIX_DOC_TYPE VellixEntry::getType() const { return type; }

void VellixEntry::setType(VELLIX_DOC_TYPE docType) { type = docType; }

VELLIX_DOC_TYPE VellixEntry::getParentType() const { return row().parentType; }

bool VellixEntry::includeXmlHeader() const { return row().includeXmlHeader != 0; }

bool VellixEntry::cacheData() const { return row().cacheData != 0; }

bool VellixEntry::isLeafDoc() const { return row().isLeafDoc != 0; }

bool VellixEntry::isEntryClosed() const { return entryClosed; }

void VellixEntry::setIsEntryClosed(bool closed) { entryClosed = closed; }

int VellixEntry::getNumberOfAttributes() const { return numAttributes; }

int VellixEntry::getTotalAttributes() const { return static_cast<int>(totalAttributes); }

unsigned long VellixEntry::getNumberOfChildDocs() const { return numChildDocs; }

unsigned long VellixEntry::getNumberOfEntries() const { return numEntries; }

bool VellixEntry::isEmpty() const { return numAttributes == 0; }

bool VellixEntry::isLeaf() const { return numChildDocs == 0 && numEntries == 0; }

// --- Schema ---

const VellixDocTypeRow& VellixEntry::row() const { return xmlDocTypeRow(type); }

VellixMapTag* VellixEntry::getXmlMapTag(VELLIX_DOC_TYPE docType) {
    return const_cast<VellixMapTag*>(xmlDocTypeRow(docType).mapTag);
}

unsigned long VellixEntry::getXmlMapTagLen(VELLIX_DOC_TYPE docType) { return xmlDocTypeRow(docType).mapTagLen; }

VellixMapTag* VellixEntry::getXmlMapTag() const { return getXmlMapTag(type); }

unsigned long VellixEntry::getXmlMapTagLen() const { return getXmlMapTagLen(type); }

char* VellixEntry::getAttributeTag(int position) const {
    const VellixMapTag* attribute = xmlRowAt(type, static_cast<unsigned int>(position));
    return attribute != nullptr ? const_cast<char*>(attribute->tag) : nullptr;
}

int VellixEntry::getAttributeTagLen(int position) const {
    const VellixMapTag* attribute = xmlRowAt(type, static_cast<unsigned int>(position));
    return attribute != nullptr ? static_cast<int>(attribute->tagLen) : 0;
}

int VellixEntry::getAttributeMaxLen(int position) const {
    const VellixMapTag* attribute = xmlRowAt(type, static_cast<unsigned int>(position));
    return attribute != nullptr ? attribute->maxLen : -2;
}

VELLIX_DATA_TYPE VellixEntry::getDefaultDataType(unsigned short id) const {
    const VellixMapTag* attribute = xmlRowById(type, id);
    return attribute != nullptr ? attribute->dataType : static_cast<VELLIX_DATA_TYPE>(-1);
}

VELLIX_NUMERIC_ENCODING VellixEntry::getEncoding(unsigned short id) const {
    const VellixMapTag* attribute = xmlRowById(type, id);
    return attribute != nullptr ? attribute->encoding : VELLIX_ENC_DECIMAL;
}

// --- The store ---

bool VellixEntry::isPresent(unsigned int id) const {
    return id < totalAttributes && (present[id / 64] & bitOf(id)) != 0;
}

// The number of slots up to the last that is present.
std::size_t VellixEntry::usedSlots() const {
    std::size_t used = totalAttributes;
    while (used > 0 && !isPresent(static_cast<unsigned int>(used - 1))) --used;
    return used;
}

void VellixEntry::makeSlots(std::size_t count) {
    if (attrValue.size() >= count) return;
    attrLen.resize(count);
    attrValue.resize(count);
}

// The string of a slot that is about to take a value.
std::string& VellixEntry::slotToFill(unsigned int id) {
    if (id >= attrValue.size()) makeSlots(totalAttributes);
    return attrValue[id];
}

void VellixEntry::dropSlot(unsigned int id) {
    if (!isPresent(id)) return;
    escapedTotal -= static_cast<std::size_t>(attrLen[id]);
    present[id / 64] &= ~bitOf(id);
    --numAttributes;
}

void VellixEntry::keepSlot(unsigned int id, std::size_t escaped) {
    if (!isPresent(id)) {
        present[id / 64] |= bitOf(id);
        ++numAttributes;
    } else {
        escapedTotal -= static_cast<std::size_t>(attrLen[id]);
    }
    attrLen[id] = static_cast<int>(escaped);
    escapedTotal += escaped;
}

// Stores a value that holds no NUL, and that has nothing to escape if it is `plain`. Any other is measured only after it
// was copied: the bytes at `value` may belong to a mapped page, and the text forms rely on the length noted here.
bool VellixEntry::storeText(unsigned int id, const char* value, std::size_t length, bool plain) {
    const VellixMapTag* place = xmlRowAt(type, id);
    if (place == nullptr || id >= totalAttributes) return false;
    if (place->maxLen >= 0 && length > static_cast<std::size_t>(place->maxLen)) {
        length = static_cast<std::size_t>(place->maxLen);
        plain = false; // the cut may go through a character
    }
    if (length > kBulkyValue) {
        bulky = true;
        if (length > kLongestEscaped / 6) return storeHugeText(id, value, length);
    }
    std::string& slot = slotToFill(id);
    assignTo(slot, value, length);
    keepSlot(id, plain ? length : static_cast<std::size_t>(escapedLength(slot.data(), slot.size())));
    return true;
}

// Stores a value whose escaped form may be longer than a slot can note; then false, and the slot stays as it was.
bool VellixEntry::storeHugeText(unsigned int id, const char* value, std::size_t length) {
    if (length > kLongestEscaped) return false;
    std::string copy(value, length);
    const std::uint64_t escaped = escapedLength(copy.data(), length);
    if (escaped > kLongestEscaped) return false;
    slotToFill(id).swap(copy);
    keepSlot(id, static_cast<std::size_t>(escaped));
    return true;
}

bool VellixEntry::addAttribute_s(unsigned short id, const char* value) {
    if (value != nullptr) return storeText(id, value, std::strlen(value), false);
    dropSlot(id);
    return false;
}

bool VellixEntry::removeAttribute(unsigned short id) {
    if (id >= totalAttributes) return false;
    dropSlot(id);
    return true;
}

// --- Setters ---

template <class Number> bool VellixEntry::addNumber(unsigned short id, Number value, bool pad) {
    const VellixMapTag* place = xmlRowAt(type, id);
    const VellixMapTag* attribute = place != nullptr && place->id == id ? place : nullptr;
    if (attribute != nullptr && !admitsNumber(attribute->dataType, value)) {
        setError(VELLIX_ERR_OUT_OF_RANGE);
        return false;
    }
    if (place == nullptr || id >= totalAttributes) return false;
    const bool radix64 = attribute != nullptr && attribute->encoding == VELLIX_ENC_RADIX64;
    NumberBuffer numberBuffer;
    const std::string_view text =
        radix64 ? radix64Encode(value, numberBuffer, pad) : decimalEncode(value, numberBuffer);
    assignTo(slotToFill(id), text.data(), text.size());
    keepSlot(id, text.size()); // no number has a character to escape
    return true;
}

bool VellixEntry::addAttribute(unsigned short id, short value, bool pad) { return addNumber(id, value, pad); }

bool VellixEntry::addAttribute(unsigned short id, unsigned short value, bool pad) { return addNumber(id, value, pad); }

bool VellixEntry::addAttribute(unsigned short id, int value, bool pad) { return addNumber(id, value, pad); }

bool VellixEntry::addAttribute(unsigned short id, unsigned int value, bool pad) { return addNumber(id, value, pad); }

bool VellixEntry::addAttribute(unsigned short id, long value, bool pad) {
    if (value >= INT_MIN && value <= INT_MAX) return addNumber(id, static_cast<int>(value), pad);
    setError(VELLIX_ERR_OUT_OF_RANGE);
    return false;
}

bool VellixEntry::addAttribute(unsigned short id, unsigned long value, bool pad) {
    if (value <= UINT_MAX) return addNumber(id, static_cast<unsigned int>(value), pad);
    setError(VELLIX_ERR_OUT_OF_RANGE);
    return false;
}

bool VellixEntry::addAttribute(unsigned short id, __int64 value, bool pad) { return addNumber(id, value, pad); }

bool VellixEntry::addAttribute(unsigned short id, unsigned __int64 value, bool pad) {
    return addNumber(id, value, pad);
}

// Notes a mismatch if the attribute is numeric.
bool VellixEntry::admitsText(unsigned short id) {
    const VellixMapTag* attribute = xmlRowById(type, id);
    if (attribute == nullptr) return true;
    if (attribute->dataType == VELLIX_TYPE_STRING || attribute->dataType == VELLIX_TYPE_OPAQUE) return true;
    setError(VELLIX_ERR_TYPE_MISMATCH);
    return false;
}

bool VellixEntry::addAttribute(unsigned short id, const char* value) {
    return admitsText(id) && addAttribute_s(id, value);
}

bool VellixEntry::addAttribute(unsigned short id, const std::string& value) { return addAttribute(id, value.c_str()); }

bool VellixEntry::addAttribute(unsigned short id, const wchar_t* value) {
    if (!admitsText(id)) return false;
    if (value == nullptr) return addAttribute_s(id, nullptr);
    const int size = platform::WideCharToMultiByte(platform::kUtf8, 0, value, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return false;
    std::string converted(static_cast<std::size_t>(size), '\0');
    platform::WideCharToMultiByte(platform::kUtf8, 0, value, -1, &converted[0], size, nullptr, nullptr);
    return addAttribute_s(id, converted.c_str());
}

bool VellixEntry::addAttribute(const char* tag, unsigned int length, const char* value) {
    const VellixMapTag* attribute = xmlRowByTag(type, tag, length);
    return attribute != nullptr && addAttribute_s(static_cast<unsigned short>(attribute->id), value);
}

// --- Getters ---

// Reads a number at the width of `Number`, which may be narrower than that of `Value`.
template <class Number, class Value> bool VellixEntry::getNumber(unsigned short id, Value& value) {
    if (sizeof(Number) < sizeof(int)) value = 0;
    const VellixMapTag* attribute = xmlRowById(type, id);
    if (attribute != nullptr && !readsNumber<Number>(attribute->dataType)) {
        setError(VELLIX_ERR_TYPE_MISMATCH);
        return false;
    }
    value = 0;
    if (!isPresent(id)) return false;
    const char* text = attrValue[id].c_str();
    const bool radix64 = attribute != nullptr && attribute->encoding == VELLIX_ENC_RADIX64;
    value = radix64 ? static_cast<Number>(radix64Decode(text)) : decimalDecode<Number>(text);
    return true;
}

bool VellixEntry::getAttribute(unsigned short id, short& value) { return getNumber<short>(id, value); }

bool VellixEntry::getAttribute(unsigned short id, unsigned short& value) {
    return getNumber<unsigned short>(id, value);
}

bool VellixEntry::getAttribute(unsigned short id, int& value) { return getNumber<int>(id, value); }

bool VellixEntry::getAttribute(unsigned short id, unsigned int& value) { return getNumber<unsigned int>(id, value); }

bool VellixEntry::getAttribute(unsigned short id, long& value) { return getNumber<int>(id, value); }

bool VellixEntry::getAttribute(unsigned short id, unsigned long& value) { return getNumber<unsigned int>(id, value); }

bool VellixEntry::getAttribute(unsigned short id, __int64& value) { return getNumber<__int64>(id, value); }

bool VellixEntry::getAttribute(unsigned short id, unsigned __int64& value) {
    return getNumber<unsigned __int64>(id, value);
}

const char* VellixEntry::getAttribute(unsigned short id) const {
    return isPresent(id) ? attrValue[id].c_str() : nullptr;
}

bool VellixEntry::getAttribute(unsigned short id, char*& value, int& length) const {
    if (!isPresent(id)) return false;
    value = platform::_strdup(attrValue[id].c_str());
    length = value != nullptr ? static_cast<int>(attrValue[id].size()) : 0;
    return value != nullptr;
}

bool VellixEntry::getAttribute(unsigned short id, std::string& value) const {
    if (!isPresent(id)) return false;
    value = attrValue[id];
    return true;
}

const std::string& VellixEntry::getAttributeStr(unsigned short id) const {
    return isPresent(id) ? attrValue[id] : emptyString();
}

bool VellixEntry::getAttributeXmlEncoded(unsigned short id, std::string& value) const {
    if (!isPresent(id)) return false;
    const std::unique_ptr<char, Free> escaped(xmlEncode(attrValue[id].c_str(), nullptr, -1));
    if (escaped == nullptr) return false;
    value = escaped.get();
    return true;
}

void VellixEntry::encodingAttributes() {
    unsigned int seen = 0;
    for (unsigned int id = 0; seen < numAttributes; ++id) {
        if (!isPresent(id)) continue;
        ++seen;
        std::string& value = attrValue[id];
        if (value.size() == static_cast<std::size_t>(attrLen[id])) continue; // nothing to escape, or done already
        try {
            std::string escaped(static_cast<std::size_t>(attrLen[id]), '\0');
            putEscaped(value.data(), value.size(), &escaped[0]);
            value.swap(escaped);
        } catch (const std::bad_alloc&) {
            continue; // it stays as it was
        }
    }
}

// --- Text forms ---

const char* VellixEntry::getOpenTag() const {
    const VellixDocTypeRow& docType = row();
    if (docType.docType == VELLIX_DOC_NONE) return "";
    return !isLeaf() && isEmpty() ? docType.openTag : docType.entryOpenTag;
}

const char* VellixEntry::getCloseTag() const { return plainCloseTag(); }

// What ends the tag itself, also where a document has its own close tag.
const char* VellixEntry::plainCloseTag() const { return isLeaf() ? "/>" : ">"; }

// Calls `visit` with the row, the value and the escaped length of each slot that stands in the text.
template <class Visit> void VellixEntry::eachAttribute(Visit visit) const {
    const VellixDocTypeRow& docType = row();
    for (std::size_t word = 0; word < kPresentWords; ++word) {
        for (std::uint64_t bits = present[word]; bits != 0; bits &= bits - 1) {
            const auto id = static_cast<unsigned int>(word * 64 + platform::lowestBit(bits));
            if (id + 1 >= docType.mapTagLen) return; // the type has no attribute there
            visit(docType.mapTag[id], attrValue[id], static_cast<std::size_t>(attrLen[id]));
        }
    }
}

// What is always enough for the text, at the cost of no walk.
std::uint64_t VellixEntry::textBound(const char* openTag) const {
    constexpr std::size_t kLongestFrame = 32; // blank, tag, equals sign and quotes of an attribute
    return std::strlen(openTag) + escapedTotal + numAttributes * kLongestFrame + 2;
}

std::uint64_t VellixEntry::textSize(const char* openTag, const char* closeTag) const {
    std::uint64_t size = std::strlen(openTag) + std::strlen(closeTag);
    eachAttribute([&size](const VellixMapTag& attribute, const std::string&, std::size_t escapedLength) {
        size += 1 + attribute.tagAssignLen + escapedLength + 1; // the blank and the closing quote
    });
    return size;
}

// Writes the text, which has the size that textSize tells, and returns its end.
char* VellixEntry::putText(char* out, const char* openTag) const {
    out = copyBytes(out, openTag, std::strlen(openTag));
    eachAttribute([&out](const VellixMapTag& attribute, const std::string& value, std::size_t escapedLength) {
        *out++ = ' ';
        out = copyBytes(out, attribute.tagAssign, attribute.tagAssignLen);
        out = putValue(out, value, escapedLength);
        *out++ = '"'; // NOLINT(clang-analyzer-core.NullDereference): null is only for what measures
    });
    return copyBytes(out, plainCloseTag(), std::strlen(plainCloseTag()));
}

unsigned long VellixEntry::size() const {
    if (row().docType == VELLIX_DOC_NONE) return 0;
    return toldLength(textSize(getOpenTag(), getCloseTag()));
}

bool VellixEntry::serialize(std::string& out) const {
    if (row().docType == VELLIX_DOC_NONE) return false;
    const char* openTag = getOpenTag();
    const std::size_t before = out.size();
    const std::uint64_t length = textSize(openTag, plainCloseTag());
    if (length > out.max_size() - before) throw std::bad_alloc();
    out.resize(before + static_cast<std::size_t>(length));
    putText(&out[before], openTag);
    return true;
}

bool VellixEntry::serialize(char* buffer, unsigned long room) const {
    if (buffer == nullptr || row().docType == VELLIX_DOC_NONE) return false;
    const char* openTag = getOpenTag();
    if (textSize(openTag, plainCloseTag()) <= room) {
        *putText(buffer, openTag) = '\0';
        return true;
    }
    putPieces(buffer, room, openTag);
    return false;
}

// Writes as many whole pieces of the text as fit into `room` bytes, and a NUL behind them.
void VellixEntry::putPieces(char* out, std::size_t room, const char* openTag) const {
    *out = '\0';
    bool fits = true;
    const auto reserve = [&](std::size_t length) {
        fits = fits && length <= room;
        // The next piece gets the rest. cppcheck doesn't see it.
        // cppcheck-suppress uselessAssignmentArg
        if (fits) room -= length;
        return fits;
    };
    const auto put = [&](const char* piece, std::size_t length) {
        if (!reserve(length)) return;
        out = copyBytes(out, piece, length);
        *out = '\0';
    };
    put(openTag, std::strlen(openTag));
    eachAttribute([&](const VellixMapTag& attribute, const std::string& value, std::size_t escapedLength) {
        put(" ", 1);
        put(attribute.tag, attribute.tagLen);
        put("=\"", 2);
        if (reserve(escapedLength)) {
            out = putValue(out, value, escapedLength);
            *out = '\0';
        }
        put("\"", 1);
    });
    put(plainCloseTag(), std::strlen(plainCloseTag()));
}

std::string VellixEntry::toString() const {
    std::string text;
    serialize(text);
    return text;
}

// --- Parsing ---

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

// --- Single attributes ---

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
