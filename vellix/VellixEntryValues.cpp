// SPDX-License-Identifier: Apache-2.0
// The typed face of the slots: setters and getters for numbers and texts.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "vellix/VellixEntry.h"
#include "vellix/VellixNumbers.h"
#include "vellix/VellixStore.h"
#include "vellix/VellixText.h"
#include "vellix/platform/Platform.h"

namespace {

struct Free {
    void operator()(char* memory) const { std::free(memory); }
};

const std::string& emptyString() {
    static const std::string empty;
    return empty;
}

} // namespace

// --- Any text ---

bool VellixEntry::addAttribute_s(unsigned short id, const char* value) {
    if (value == nullptr) {
        removeAttribute(id);
        return false;
    }
    const VellixMapTag* const place = xmlRowAt(type, id);
    if (place == nullptr) return false;
    const std::size_t length = std::strlen(value);
    const bool cut = place->maxLen >= 0 && length > static_cast<std::size_t>(place->maxLen);
    return VellixStore::open(store).put(id, value, cut ? static_cast<std::size_t>(place->maxLen) : length, false);
}

bool VellixEntry::removeAttribute(unsigned short id) {
    if (id >= kLongestMap) return false;
    VellixStore::drop(store, id);
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
    if (place == nullptr) return false;
    const bool radix64 = attribute != nullptr && attribute->encoding == VELLIX_ENC_RADIX64;
    OpenStore& opened = VellixStore::open(store);
    char buffer[kNumberBuffer];
    char* const room = opened.roomFor(id, kNumberBuffer);
    char* const out = room != nullptr ? room : buffer;
    const std::size_t length = radix64 ? radix64Encode(value, out, pad) : decimalEncode(value, out);
    if (room == nullptr) return opened.put(id, buffer, length, true); // no number has a character to escape
    room[length] = '\0';
    opened.take(id, length, length);
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
    const char* const text = getAttribute(id);
    if (text == nullptr) return false;
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
    const StoredText* const stored = store->find(id);
    return stored != nullptr ? stored->text : nullptr;
}

bool VellixEntry::getAttribute(unsigned short id, char*& value, int& length) const {
    const StoredText* const stored = store->find(id);
    if (stored == nullptr) return false;
    value = platform::_strdup(stored->text);
    length = value != nullptr ? static_cast<int>(stored->length) : 0;
    return value != nullptr;
}

bool VellixEntry::getAttribute(unsigned short id, std::string& value) const {
    const StoredText* const stored = store->find(id);
    if (stored == nullptr) return false;
    value.assign(stored->text, stored->length);
    return true;
}

std::string_view VellixEntry::getAttributeView(unsigned short id) const {
    const StoredText* const stored = store->find(id);
    return stored != nullptr ? std::string_view(stored->text, stored->length) : std::string_view();
}

const std::string& VellixEntry::getAttributeStr(unsigned short id) const {
    return store->find(id) != nullptr ? store->stringOf(id) : emptyString();
}

bool VellixEntry::getAttributeXmlEncoded(unsigned short id, std::string& value) const {
    const char* const text = getAttribute(id);
    if (text == nullptr) return false;
    const std::unique_ptr<char, Free> escaped(xmlEncode(text, nullptr, -1));
    if (escaped == nullptr) return false;
    try {
        value = escaped.get();
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void VellixEntry::encodingAttributes() {
    if (isEmpty()) return;
    try {
        VellixStore::open(store).escapeAll();
    } catch (const std::bad_alloc&) {
        return; // all texts stay as they were
    }
}
