// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixValues.h"

#include <cstring>

#include "vellix/VellixNumbers.h"
#include "vellix/platform/Common.h"

namespace vellix::detail {

namespace {

// The row of an attribute, null if the entry's type hasn't got it.
const VellixMapTag* rowFor(const VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number) {
    const VellixMapTag* const row = xmlRowAt(type, number);
    return row == xmlRowAt(entry.getType(), number) ? row : nullptr;
}

// The slot of an attribute. A parse puts a value under the id of its row, the text forms take it from the row's position.
// The two differ in five rows; there an entry that was parsed is taken for one to read, any other for one to write.
unsigned short slotFor(const VellixEntry& entry, const VellixMapTag& row, unsigned short number) {
    return row.id != number && entry.getEntryName() != nullptr ? static_cast<unsigned short>(row.id) : number;
}

bool refuse(VellixEntry& entry, VELLIX_ERROR code) {
    entry.setError(code);
    return false;
}

// A number as text tells it: its sign and, without it, its value.
struct Number {
    bool negative;
    std::uint64_t magnitude;
};

std::optional<Number> readDecimal(const char* text) {
    constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
    while (platform::isBlank(*text)) ++text;
    Number number = {*text == '-', 0};
    if (*text == '-' || *text == '+') ++text;
    const char* const first = text;
    for (; *text >= '0' && *text <= '9'; ++text) {
        const auto digit = static_cast<std::uint64_t>(*text - '0');
        if (number.magnitude > kMax / 10 || (number.magnitude == kMax / 10 && digit > kMax % 10)) return std::nullopt;
        number.magnitude = number.magnitude * 10 + digit;
    }
    if (text == first) return std::nullopt;
    while (platform::isBlank(*text)) ++text;
    if (*text != '\0') return std::nullopt;
    return number;
}

// Up to six digits in base 64, the least significant first. All six stand for a negative number if the highest bit is set.
std::optional<Number> readRadix64(const char* text) {
    constexpr unsigned int kMostBits = 36;
    std::uint64_t value = 0;
    unsigned int shift = 0;
    for (; *text != '\0'; ++text) {
        if (*text == ' ') continue;
        const int digit = radix64Value(*text);
        if (digit < 0 || shift == kMostBits) return std::nullopt;
        value |= static_cast<std::uint64_t>(digit) << shift;
        shift += 6;
    }
    if (shift == 0) return std::nullopt;
    const bool negative = value >> (kMostBits - 1) != 0;
    return Number{negative, negative ? (std::uint64_t{1} << kMostBits) - value : value};
}

} // namespace

bool setNumber(VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number, std::optional<std::uint64_t> bits) {
    const VellixMapTag* const row = rowFor(entry, type, number);
    if (row == nullptr) return refuse(entry, VELLIX_ERR_TYPE_MISMATCH);
    if (!bits) return refuse(entry, VELLIX_ERR_OUT_OF_RANGE);
    const unsigned short slot = slotFor(entry, *row, number);
    switch (row->dataType) {
    case VELLIX_TYPE_INT8:
    case VELLIX_TYPE_INT16:
        return entry.addAttribute(slot, static_cast<short>(*bits), false);
    case VELLIX_TYPE_UINT8:
    case VELLIX_TYPE_UINT16:
        return entry.addAttribute(slot, static_cast<unsigned short>(*bits), false);
    case VELLIX_TYPE_INT32:
        return entry.addAttribute(slot, static_cast<int>(*bits), false);
    case VELLIX_TYPE_UINT32:
        return entry.addAttribute(slot, static_cast<unsigned int>(*bits), false);
    case VELLIX_TYPE_INT64:
        return entry.addAttribute(slot, static_cast<__int64>(*bits), false);
    case VELLIX_TYPE_UINT64:
        return entry.addAttribute(slot, static_cast<unsigned __int64>(*bits), false);
    default:
        return refuse(entry, VELLIX_ERR_TYPE_MISMATCH);
    }
}

bool setText(VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number, const char* text, std::size_t length) {
    const VellixMapTag* const row = rowFor(entry, type, number);
    if (row == nullptr) return refuse(entry, VELLIX_ERR_TYPE_MISMATCH);
    if (text == nullptr) return refuse(entry, VELLIX_ERR_NULL_ARGUMENT);
    const bool tooLong = row->maxLen >= 0 && length > static_cast<std::size_t>(row->maxLen);
    if (tooLong || std::memchr(text, '\0', length) != nullptr) return refuse(entry, VELLIX_ERR_OUT_OF_RANGE);
    return entry.addAttribute(slotFor(entry, *row, number), text);
}

std::optional<std::uint64_t> getNumber(const VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number,
                                       unsigned int width) {
    const char* const text = getText(entry, type, number).data(); // terminated, as all that an entry hands out
    if (text == nullptr) return std::nullopt;
    const bool radix64 = xmlRowAt(type, number)->encoding == VELLIX_ENC_RADIX64;
    const std::optional<Number> value = radix64 ? readRadix64(text) : readDecimal(text);
    if (!value) return std::nullopt;
    const std::uint64_t highest = std::uint64_t{1} << (width - 1);
    const std::uint64_t most = value->negative ? highest : highest - 1 + highest;
    if (value->magnitude > most) return std::nullopt;
    return value->negative ? std::uint64_t{0} - value->magnitude : value->magnitude;
}

std::string_view getText(const VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number) {
    const VellixMapTag* const row = rowFor(entry, type, number);
    return row != nullptr ? entry.getAttributeView(slotFor(entry, *row, number)) : std::string_view();
}

bool erase(VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number) {
    const VellixMapTag* const row = rowFor(entry, type, number);
    if (row == nullptr) return refuse(entry, VELLIX_ERR_TYPE_MISMATCH);
    return entry.removeAttribute(slotFor(entry, *row, number));
}

} // namespace vellix::detail
