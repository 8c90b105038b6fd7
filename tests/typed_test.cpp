// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"

namespace {

using namespace std::string_literals;

constexpr unsigned short kNoSlots[] = {78, 65535};

// The values that a setter accepts.
struct Range {
    std::int64_t low;
    std::uint64_t high;
};
constexpr Range kAny = {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::uint64_t>::max()};
constexpr Range kRefused = {1, 0};
constexpr Range kInt16 = {-32768, 32767};
constexpr Range kUInt8 = {0, 255};
constexpr Range kUInt16 = {0, 65535};
constexpr Range kInt32 = {-2147483648LL, 2147483647};
constexpr Range kUInt32 = {0, 4294967295};

// One attribute of each data type that the schema has: what its setters accept, in the order of SetterKind, and the least
// width in bits of a getter that reads it.
enum SetterKind { kShort, kUShort, kInt, kUInt, kInt64, kUInt64 };
struct Attribute {
    const char* name;
    VELLIX_DOC_TYPE type;
    unsigned short id;
    Range accepted[6];
    std::size_t readFrom;
    bool takesText;
};
const Attribute kAttributes[] = {
    {"string", VELLIX_DOC_FH, 6, {kAny, kAny, kAny, kAny, kAny, kAny}, 128, true},
    {"uint8", VELLIX_DOC_RESULTS, 0, {kUInt8, kUInt8, kUInt8, kUInt8, kUInt8, kUInt8}, 16, false},
    {"int16", VELLIX_DOC_SEARCH_CRITERIA, 2, {kAny, kAny, kInt16, kRefused, kInt16, kRefused}, 16, false},
    {"uint16", VELLIX_DOC_FSE, 11, {kAny, kAny, kUInt16, kUInt16, kUInt16, kUInt16}, 16, false},
    {"int32", VELLIX_DOC_FH, 42, {kAny, kAny, kAny, kAny, kInt32, kRefused}, 32, false},
    {"uint32", VELLIX_DOC_FH, 0, {kAny, kAny, kAny, kAny, kUInt32, kUInt32}, 32, false},
    {"int64", VELLIX_DOC_FH, 58, {kAny, kAny, kAny, kAny, kAny, kAny}, 64, false},
    {"uint64", VELLIX_DOC_FH, 9, {kAny, kAny, kAny, kAny, kAny, kAny}, 64, false},
    {"opaque", VELLIX_DOC_IMAGE, 57, {kAny, kAny, kAny, kAny, kAny, kAny}, 16, true},
    {"no row by id", VELLIX_DOC_SEARCH_CRITERIA, 9, {kAny, kAny, kAny, kAny, kAny, kAny}, 16, true},
};

template <class Number> bool within(const Range& range, Number value) {
    if (range.low == kRefused.low) return false;
    if (std::is_signed_v<Number> && value < Number{0}) return static_cast<std::int64_t>(value) >= range.low;
    return static_cast<std::uint64_t>(value) <= range.high;
}

// What a getter of the width makes of an absent slot, of one that holds 12, and of none at all. `value` stays as it was, or
// becomes 0 if it is narrow, where the attribute can't be read.
template <class Number, class Width> void checkGetter(const Attribute& attribute, bool read) {
    VellixEntry entry(attribute.type);
    for (const bool present : {false, true}) {
        EXPECT_TRUE(!present || entry.addAttribute(attribute.id, static_cast<short>(12), true));
        entry.setError(VELLIX_ERR_SYNTAX);
        Number value = 99;
        EXPECT_EQ(entry.getAttribute(attribute.id, value), read && present);
        EXPECT_EQ(value, read ? (present ? 12 : 0) : (sizeof(Width) == 2 ? 0 : 99));
        EXPECT_EQ(entry.getLastError(), read ? VELLIX_ERR_SYNTAX : VELLIX_ERR_TYPE_MISMATCH);
    }
    for (const unsigned short far : kNoSlots) {
        entry.setError(VELLIX_SUCCESS);
        Number value = 99;
        EXPECT_FALSE(entry.getAttribute(far, value));
        EXPECT_EQ(value, Number{0});
        EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
    }
}

// Decimal text has the sign of the width, whatever the type; the width of `long` is 32 bits here.
template <class Number, class Width> void checkNumbers(SetterKind kind) {
    for (const Attribute& attribute : kAttributes) {
        const bool read = 8 * sizeof(Width) >= attribute.readFrom;
        SCOPED_TRACE(attribute.name + " "s + std::to_string(kind));
        checkGetter<Number, Width>(attribute, read);
        for (const Number value : numberProbes<Number>()) {
            SCOPED_TRACE(value);
            VellixEntry entry(attribute.type);
            ASSERT_TRUE(entry.addAttribute(attribute.id, static_cast<short>(7), false));
            const bool fits = static_cast<Number>(static_cast<Width>(value)) == value;
            const bool accepted = fits && within(attribute.accepted[kind], value);
            EXPECT_EQ(entry.addAttribute(attribute.id, value, false), accepted);
            EXPECT_EQ(entry.getLastError(), accepted ? VELLIX_SUCCESS : VELLIX_ERR_OUT_OF_RANGE);
            using Signed = std::conditional_t<sizeof(Width) == 2, int, std::make_signed_t<Width>>;
            const std::string text = std::to_string(static_cast<Signed>(static_cast<Width>(value)));
            EXPECT_EQ(entry.getAttributeStr(attribute.id), accepted ? text : "7");
            Number back = 1;
            EXPECT_EQ(entry.getAttribute(attribute.id, back), read);
            EXPECT_TRUE(!accepted || !read || back == value);
            entry.setError(VELLIX_SUCCESS);
            EXPECT_FALSE(entry.addAttribute(78, value, false));
            EXPECT_EQ(entry.getLastError(), fits ? VELLIX_SUCCESS : VELLIX_ERR_OUT_OF_RANGE) << "without a slot, too";
        }
    }
}

TEST(Typed, NumbersGoWhereTheirAttributeAdmitsAndReadsThem) {
    checkNumbers<short, std::int16_t>(kShort);
    checkNumbers<unsigned short, std::uint16_t>(kUShort);
    checkNumbers<int, std::int32_t>(kInt);
    checkNumbers<long, std::int32_t>(kInt);
    checkNumbers<unsigned int, std::uint32_t>(kUInt);
    checkNumbers<unsigned long, std::uint32_t>(kUInt);
    checkNumbers<__int64, std::int64_t>(kInt64);
    checkNumbers<unsigned __int64, std::uint64_t>(kUInt64);
}

// Reads a text that has its way into the attribute by its tag.
template <class Number>
void checkReading(VELLIX_DOC_TYPE type, const std::string& tag, const std::string& text, Number expected) {
    VellixEntry entry(type);
    const VellixMapTag* const row = xmlRowByTag(type, tag.data(), static_cast<unsigned long>(tag.size()));
    ASSERT_TRUE(entry.addAttribute(tag.data(), static_cast<unsigned int>(tag.size()), text.c_str()));
    Number value = 5;
    EXPECT_TRUE(entry.getAttribute(static_cast<unsigned short>(row->id), value));
    EXPECT_EQ(value, expected) << tag << ' ' << testing::PrintToString(text);
}

// The forms for unsigned numbers keep the bits.
void checkReadings(VELLIX_DOC_TYPE type, const std::string& tag, const std::string& text, std::int32_t narrow,
                   std::int64_t wide) {
    checkReading<int>(type, tag, text, narrow);
    checkReading<unsigned int>(type, tag, text, static_cast<std::uint32_t>(narrow));
    checkReading<long>(type, tag, text, narrow);
    checkReading<unsigned long>(type, tag, text, static_cast<std::uint32_t>(narrow));
    checkReading<__int64>(type, tag, text, wide);
    checkReading<unsigned __int64>(type, tag, text, static_cast<std::uint64_t>(wide));
}

// Each text with its 64-bit value; 32 bits stay at their nearest limit, and 16 are the low half of those.
TEST(Typed, DecimalTextsReadToTheirLimits) {
    const std::string nines(5000, '9');
    const auto rows =
        rowsOf(" => 0 | abc => 0 | - => 0 | +5 => 5 | -5 => -5 | +-5 => 0 | - 5 => 0 |  \t\n\v\f\r12 => 12 | "
               "\xa0 12 => 0 | 12abc => 12 | 0x10 => 0 | 000000000000000000000000000000000012 => 12 | "
               "2147483647 => 2147483647 | 2147483648 => 2147483648 | -2147483649 => -2147483649 | "
               "9223372036854775808 => 9223372036854775807 | -9223372036854775809 => -9223372036854775808 | " +
               nines + " => 9223372036854775807 | 70000 => 70000 | 40000 => 40000 | -1 => -1");
    for (const auto& [text, value] : rows) {
        const std::int64_t wide = std::stoll(value);
        const auto narrow = static_cast<std::int32_t>(std::clamp<std::int64_t>(wide, -2147483648LL, 2147483647));
        checkReadings(VELLIX_DOC_IMAGE, "EKH", text, narrow, wide);
        checkReading<short>(VELLIX_DOC_IMAGE, "EKH", text, static_cast<std::int16_t>(narrow));
        checkReading<unsigned short>(VELLIX_DOC_IMAGE, "EKH", text, static_cast<std::uint16_t>(narrow));
    }
}

// RI, for both types that have it in digits of base 64. 64 bits are the 32 with their sign.
TEST(Typed, Radix64TextsReadBack) {
    const auto rows = rowsOf(
        " => 0 |     => 0 | . => 0 | / => 1 | ./ => 64 |   ./ => 64 |            / => 1 | " + std::string(5000, ' ') +
        "/ => 1 | / / => 65 | /   => 1 | t.1 => 12345 | zzD => 65535 | sN3BG => 305419896 | "
        "zzzzz/ => 2147483647 | .....0 => -2147483648 | zzzzz1 => -1 | zzzzzz => -1 | yzzzzz => -2 | "
        // Behind six digits nothing is looked at.
        "/.....z => 1 | /....., => 1 | /..... , => 1 | /...., => -1 | -1 => -1 | 1- => -1 | , => -1 | "
        ": => -1 | @ => -1 | [ => -1 | ` => -1 | { => -1 | /\t => -1 | \xae => -1");
    for (const auto& [text, value] : rows) {
        for (const VELLIX_DOC_TYPE type : {VELLIX_DOC_FH, VELLIX_DOC_FH_STRING_SECTION})
            checkReadings(type, "RI", text, std::stoi(value), std::stoi(value));
    }
}

template <class Number> std::string digits(Number value, bool pad) {
    VellixEntry entry(VELLIX_DOC_FH);
    return entry.addAttribute(76, value, pad) ? entry.getAttributeStr(76) : "refused";
}

TEST(Typed, NumbersTakeTheirRadix64Form) {
    const auto rows =
        rowsOf("0 => . | 1 => / | 2 => 0 | 11 => 9 | 12 => A | 37 => Z | 38 => a | 63 => z | 64 => ./ | 65 => // | "
               "12345 => t.1 | 65535 => zzD | 305419896 => sN3BG | 2147483647 => zzzzz/ | "
               "2147483648 => .....0 | 4294967295 => zzzzz1");
    for (const auto& [number, text] : rows) {
        const auto value = static_cast<unsigned int>(std::stoll(number));
        const std::string blanks(12 - text.size(), ' ');
        EXPECT_EQ(digits(value, false), text);
        EXPECT_EQ(digits(value, true), blanks.substr(6) + text);
        EXPECT_EQ(digits(static_cast<unsigned long>(value), true), blanks.substr(6) + text);
        EXPECT_EQ(digits(static_cast<__int64>(value), false), text);
        EXPECT_EQ(digits(static_cast<__int64>(value), true), blanks + text);
        EXPECT_EQ(digits(static_cast<unsigned __int64>(value), true), blanks + text);
        if (value <= 65535) {
            EXPECT_EQ(digits(static_cast<unsigned short>(value), true), blanks.substr(9) + text);
        }
    }
    for (const bool pad : {false, true}) {
        EXPECT_EQ(digits(static_cast<short>(-1), pad), "zzzzzz");
        EXPECT_EQ(digits(-2L, pad), "yzzzzz");
        EXPECT_EQ(digits(std::numeric_limits<int>::min(), pad), ".....y");
        EXPECT_EQ(digits(static_cast<__int64>(-1), pad), "refused");
        EXPECT_EQ(digits(static_cast<unsigned __int64>(4294967296), pad), "refused");
    }
}

TEST(Typed, TextsGoWhereTextMayStand) {
    for (const Attribute& attribute : kAttributes) {
        SCOPED_TRACE(attribute.name);
        const auto check = [&](auto value, const char* expected) {
            VellixEntry entry(attribute.type);
            entry.addAttribute(attribute.id, static_cast<short>(7), false);
            EXPECT_EQ(entry.addAttribute(attribute.id, value), attribute.takesText && expected != nullptr);
            EXPECT_EQ(entry.getLastError(), attribute.takesText ? VELLIX_SUCCESS : VELLIX_ERR_TYPE_MISMATCH);
            EXPECT_STREQ(entry.getAttribute(attribute.id), attribute.takesText ? expected : "7");
            entry.setError(VELLIX_SUCCESS);
            for (const unsigned short none : {std::uint16_t{77}, std::uint16_t{78}, std::uint16_t{65535}})
                EXPECT_FALSE(entry.addAttribute(none, value));
            EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
        };
        check("text", "text");
        check("te\0xt"s, "te");
        check(L"wide", "wide");
        // A null value makes a text absent; a number stays.
        check(static_cast<const char*>(nullptr), nullptr);
        check(static_cast<const wchar_t*>(nullptr), nullptr);
    }
}

// "?" stands for U+FFFD. Characters that have no unit of their own where wchar_t has 16 bits are left out there.
TEST(Typed, WideTextsBecomeUtf8) {
    const std::pair<std::u32string, std::string> rows[] = {
        {U"a\x7f", "a\x7f"},
        {U"\x80\xe9\x7ff", "\xc2\x80\xc3\xa9\xdf\xbf"},
        {U"\x800\x20ac\xd7ff", "\xe0\xa0\x80\xe2\x82\xac\xed\x9f\xbf"},
        {U"\xe000\xfffd\xffff", "\xee\x80\x80\xef\xbf\xbd\xef\xbf\xbf"},
        {U"\xd800\xdc00\xdbff\xdfff", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {U"\xd83d", "?"},
        {U"\xd83dx", "?x"},
        {U"\xde00\xd83d", "??"},
        {U"\xd83d\xd83d\xde00", "?\xf0\x9f\x98\x80"},
        {U"\x1f600\x10000\x10ffff", "\xf0\x9f\x98\x80\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {{0x110000, 'x', 0x7fffffff, 0x80000000, 0xffffffff}, "?x???"},
    };
    for (const auto& [units, bytes] : rows) {
        if (sizeof(wchar_t) < 4 && *std::max_element(units.begin(), units.end()) > 0xffff) continue;
        VellixEntry entry(VELLIX_DOC_FH);
        ASSERT_TRUE(entry.addAttribute(6, std::wstring(units.begin(), units.end()).c_str()));
        std::string expected;
        for (const char byte : bytes) expected += byte == '?' ? "\xef\xbf\xbd" : std::string(1, byte);
        EXPECT_EQ(entry.getAttributeStr(6), expected);
    }
    VellixEntry entry(VELLIX_DOC_FH);
    ASSERT_TRUE(entry.addAttribute(39, std::wstring(10000, L'\xe9').c_str()));
    EXPECT_EQ(entry.getAttributeStr(39).size(), 16384U) << "the limit counts bytes";
}

} // namespace
