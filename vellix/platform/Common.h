// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_PLATFORM_COMMON_H
#define VELLIX_PLATFORM_COMMON_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <type_traits>

// What the sources of all platforms share: arithmetic and text, no service of a system. Where the runtime libraries
// differ from each other or heed the locale, the one form that the library counts on is here.
namespace platform {

// Every view begins at a multiple of this. Systems with smaller pages keep to it too, so that a file which can be walked
// on one system can be walked on all.
constexpr std::uint64_t kViewGranularity = 65536;

/// Joins the halves of a 64-bit number; bits above the 32nd of either don't count.
constexpr std::uint64_t joinWords(unsigned long high, unsigned long low) {
    return (static_cast<std::uint64_t>(high & 0xFFFFFFFFUL) << 32) | (low & 0xFFFFFFFFUL);
}

/// Returns the length of a view of `length` bytes, or up to the end for 0, from `offset` of an object of `objectSize`
/// bytes. Nothing if the view doesn't lie inside the object, or can't be addressed here.
constexpr std::optional<std::size_t> viewLength(std::uint64_t objectSize, std::uint64_t offset, std::size_t length) {
    if (offset % kViewGranularity != 0 || offset >= objectSize) return std::nullopt;
    const std::uint64_t rest = objectSize - offset;
    if (length > rest) return std::nullopt;
    if (length != 0) return length;
    const auto whole = static_cast<std::size_t>(rest);
    if (whole != rest) return std::nullopt;
    return whole;
}

/// Returns how many of `length` bytes at `offset` of a file are asked of the system at once: no count that could pass for a
/// negative one, and nothing behind the last offset that there can be.
constexpr std::size_t readableAtOnce(std::uint64_t offset, std::size_t length) {
    constexpr std::uint64_t kLongestFile = std::numeric_limits<std::int64_t>::max();
    constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;
    const std::size_t most = length < kMostAtOnce ? length : kMostAtOnce;
    return most <= kLongestFile - offset ? most : static_cast<std::size_t>(kLongestFile - offset);
}

// How a stream is opened. The values number the rows of a table in each source.
enum class StreamMode { kRead, kReadPlus, kWrite, kWritePlus, kAppend, kAppendPlus };

/// Reads a mode of the C library: "r", "w" or "a", then in either order "+" and one of "b" and "t", which make no
/// difference. Nothing for any other text, and for null.
constexpr std::optional<StreamMode> readStreamMode(const wchar_t* mode) {
    if (mode == nullptr) return std::nullopt;
    int row = 0;
    switch (mode[0]) {
    case L'r':
        row = static_cast<int>(StreamMode::kRead);
        break;
    case L'w':
        row = static_cast<int>(StreamMode::kWrite);
        break;
    case L'a':
        row = static_cast<int>(StreamMode::kAppend);
        break;
    default:
        return std::nullopt;
    }
    bool plus = false;
    bool kind = false;
    for (const wchar_t* flag = mode + 1; *flag != L'\0'; ++flag) {
        bool& seen = *flag == L'+' ? plus : kind;
        if (seen || (*flag != L'+' && *flag != L'b' && *flag != L't')) return std::nullopt;
        seen = true;
    }
    return static_cast<StreamMode>(row + (plus ? 1 : 0));
}

/// True for white space of the C locale.
constexpr bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Reads decimal text; a value outside the range of `Result` stays at the nearest limit. No errno, no locale: this runs
/// once for every number that is read from a document.
template <typename Result> constexpr Result decimalValue(const char* text) {
    using Magnitude = std::make_unsigned_t<Result>;
    constexpr Magnitude kMax = std::numeric_limits<Result>::max();
    constexpr Magnitude kTenth = kMax / 10;

    while (isBlank(*text)) ++text;
    const bool negative = *text == '-';
    if (negative || *text == '+') ++text;

    Magnitude value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        const auto digit = static_cast<Magnitude>(*text - '0');
        if (value > kTenth || (value == kTenth && digit > kMax % 10)) { // the minimum itself ends here too
            return negative ? std::numeric_limits<Result>::min() : std::numeric_limits<Result>::max();
        }
        value = value * 10 + digit;
    }
    const auto result = static_cast<Result>(value);
    return negative ? -result : result;
}

/// Returns `c` as a number, capital ASCII letters as small ones.
constexpr int foldCase(char c) {
    const int byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte;
}

/// Compares up to `count` bytes, or up to a NUL, ASCII letters without regard to case. 0 for equal.
constexpr int compareIgnoringCase(const char* left, const char* right, std::size_t count) {
    for (; count != 0; --count, ++left, ++right) {
        const int difference = foldCase(*left) - foldCase(*right);
        if (difference != 0 || *left == '\0') return difference;
    }
    return 0;
}

} // namespace platform

#endif
