// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_NUMBERS_H
#define VELLIX_NUMBERS_H

#include <climits>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "vellix/VellixSchema.h"
#include "vellix/platform/Bytes.h"
#include "vellix/platform/Platform.h"

// Numbers as text: the decimal and the radix-64 form, both ways, and the numbers that each data type admits. Internal, not
// installed.

// --- The two forms ---

constexpr std::size_t kRadix64Digits = 6;

static inline char radix64Digit(unsigned int value) {
    return static_cast<char>(value < 12 ? value + 46 : value < 38 ? value + 53 : value + 59);
}

// Returns the value of a radix-64 digit, or -1.
static inline int radix64Value(char c) {
    if (c >= '.' && c <= '9') return c - 46;
    if (c >= 'A' && c <= 'Z') return c - 53;
    if (c >= 'a' && c <= 'z') return c - 59;
    return -1;
}

// No form of a number is longer than this. Where a form is written there must be as much room.
constexpr std::size_t kNumberBuffer = 24;

// Writes up to six radix-64 digits, the least significant first, and returns how many bytes these are. The shift keeps the
// sign of a signed number, so a negative one always has six digits. `pad` right-aligns them by the number's width.
template <class Number> static inline std::size_t radix64Encode(Number value, char* out, bool pad) {
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
    return blanks + count;
}

// Reads radix-64 digits into 32 bits; all bits set for a bad one. Narrower and wider results follow from that number by
// truncation and sign extension, as in the POSIX function a64l.
static inline int radix64Decode(const char* text) {
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

// The numbers with one digit more than those below, from 10 on.
struct PowersOfTen {
    unsigned __int64 of[20] = {1};

    constexpr PowersOfTen() {
        for (std::size_t i = 1; i < 20; ++i) of[i] = 10 * of[i - 1];
    }
};
constexpr PowersOfTen kPowersOfTen;

// The number of decimal digits. A bit is worth 0.30103 of a digit.
static inline std::size_t decimalDigits(unsigned __int64 number) {
    number |= 1; // 0 has a digit too, and no power of ten behind 1 is odd
    const std::size_t least = (platform::highestBit(number) + 1) * 1233 >> 12;
    return least + (number >= kPowersOfTen.of[least] ? 1 : 0);
}

// Writes a number as the signed one of its bits, at least 32 of them, and returns how many bytes these are.
template <class Number> static inline std::size_t decimalEncode(Number value, char* out) {
    using Signed = std::conditional_t<sizeof(Number) < sizeof(int), int, std::make_signed_t<Number>>;
    using Unsigned = std::make_unsigned_t<Signed>;
    const auto number = static_cast<Signed>(value);
    auto rest = static_cast<Unsigned>(number);
    char* first = out;
    if (number < 0) {
        rest = 0 - rest;
        *first++ = '-';
    }
    char* const end = first + decimalDigits(rest);
    char* at = end;
    for (; rest >= 100; rest /= 100) {
        at -= 2;
        std::memcpy(at, kDigitPairs.text + 2 * (rest % 100), 2);
    }
    if (rest >= 10) {
        std::memcpy(first, kDigitPairs.text + 2 * rest, 2);
    } else {
        *first = static_cast<char>('0' + rest);
    }
    return static_cast<std::size_t>(end - out);
}

template <class Number> static inline Number decimalDecode(const char* text) {
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

constexpr NumberRange kNumberRanges[] = {
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
template <class Number> static inline bool admitsNumber(VELLIX_DATA_TYPE dataType, Number value) {
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
template <class Number> static inline bool readsNumber(VELLIX_DATA_TYPE dataType) {
    const NumberRange& range = kNumberRanges[dataType];
    if (range.bits == 0) return dataType == VELLIX_TYPE_OPAQUE;
    return range.bits <= sizeof(Number) * CHAR_BIT;
}

#endif
