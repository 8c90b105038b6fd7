// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"

namespace {

using namespace std::string_literals;

// One attribute of each data type that the schema has: its width, the numbers of it, and whether it takes any text. Where
// nothing is known of a number the width is that of the widest setter; `readFrom` is the width of the narrowest getter.
struct Attribute {
    const char* name;
    VELLIX_DOC_TYPE type;
    unsigned short id;
    std::size_t bits;
    std::int64_t least, most;
    std::size_t readFrom;
    bool takesText;
};
const Attribute kAttributes[] = {
    {"string", VELLIX_DOC_FH, 6, 64, 0, 0, 128, true},
    {"uint8", VELLIX_DOC_RESULTS, 0, 8, 0, 255, 16, false},
    {"int16", VELLIX_DOC_SEARCH_CRITERIA, 2, 16, -32768, 32767, 16, false},
    {"uint16", VELLIX_DOC_FSE, 11, 16, 0, 65535, 16, false},
    {"int32", VELLIX_DOC_FH, 42, 32, -2147483648LL, 2147483647, 32, false},
    {"uint32", VELLIX_DOC_FH, 0, 32, 0, 4294967295, 32, false},
    {"int64", VELLIX_DOC_FH, 58, 64, 0, 0, 64, false},
    {"uint64", VELLIX_DOC_FH, 9, 64, 0, 0, 64, false},
    {"opaque", VELLIX_DOC_IMAGE, 57, 64, 0, 0, 16, true},
    {"no row by id", VELLIX_DOC_SEARCH_CRITERIA, 9, 64, 0, 0, 16, true},
};

// Only attributes narrower than the number say anything about it, and the signed ones take no wide unsigned number.
template <class Width> bool admits(const Attribute& attribute, Width value) {
    if (attribute.bits >= 8 * sizeof(Width)) return true;
    if constexpr (std::is_unsigned_v<Width>) {
        const bool refused = attribute.least < 0 && sizeof(Width) >= 4;
        return !refused && value <= static_cast<std::uint64_t>(attribute.most);
    } else {
        return value >= attribute.least && value <= attribute.most;
    }
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
    entry.setError(VELLIX_SUCCESS);
    Number value = 99;
    EXPECT_FALSE(entry.getAttribute(78, value));
    EXPECT_EQ(value, Number{0});
    EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
}

// Decimal text has the sign of the width, whatever the type; the width of `long` is 32 bits here.
template <class Number, class Width> void checkNumbers() {
    for (const Attribute& attribute : kAttributes) {
        const bool read = 8 * sizeof(Width) >= attribute.readFrom;
        SCOPED_TRACE(attribute.name + ", "s + typeid(Number).name());
        checkGetter<Number, Width>(attribute, read);
        for (const Number value : numberProbes<Number>()) {
            SCOPED_TRACE(value);
            VellixEntry entry(attribute.type);
            ASSERT_TRUE(entry.addAttribute(attribute.id, static_cast<short>(7), false));
            const auto kept = static_cast<Width>(value);
            const bool fits = static_cast<Number>(kept) == value;
            const bool accepted = fits && admits(attribute, kept);
            EXPECT_EQ(entry.addAttribute(attribute.id, value, true), accepted) << "a decimal takes no padding";
            EXPECT_EQ(entry.getLastError(), accepted ? VELLIX_SUCCESS : VELLIX_ERR_OUT_OF_RANGE);
            using Signed = std::conditional_t<sizeof(Width) == 2, int, std::make_signed_t<Width>>;
            EXPECT_EQ(entry.getAttributeStr(attribute.id), accepted ? std::to_string(static_cast<Signed>(kept)) : "7");
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
    checkNumbers<short, std::int16_t>();
    checkNumbers<unsigned short, std::uint16_t>();
    checkNumbers<int, std::int32_t>();
    checkNumbers<long, std::int32_t>();
    checkNumbers<unsigned int, std::uint32_t>();
    checkNumbers<unsigned long, std::uint32_t>();
    checkNumbers<__int64, std::int64_t>();
    checkNumbers<unsigned __int64, std::uint64_t>();
}

// Reads a text, whose way into the attribute is by its tag. 32 bits stay at their nearest limit, 16 are the low half of
// those, and unsigned numbers have the bits of the signed ones.
template <class Number>
void checkReading(VELLIX_DOC_TYPE type, const std::string& tag, const std::string& text, std::int64_t value) {
    constexpr bool isWide = std::is_same_v<Number, __int64> || std::is_same_v<Number, unsigned __int64>;
    if (!isWide) value = std::clamp<std::int64_t>(value, -2147483648LL, 2147483647);
    const bool is32 = sizeof(Number) > 2 && !isWide;
    const auto expected = static_cast<Number>(is32 && std::is_unsigned_v<Number> ? value & 0xffffffff : value);
    VellixEntry entry(type);
    ASSERT_TRUE(entry.addAttribute(tag.data(), static_cast<unsigned int>(tag.size()), text.c_str()));
    const VellixMapTag* const row = xmlRowByTag(type, tag.data(), static_cast<unsigned long>(tag.size()));
    Number read = 5;
    EXPECT_TRUE(entry.getAttribute(static_cast<unsigned short>(row->id), read));
    EXPECT_EQ(read, expected) << tag << ' ' << testing::PrintToString(text);
}

template <class... Numbers> void checkReadings(VELLIX_DOC_TYPE type, const std::string& tag, const std::string& table) {
    for (const auto& [text, value] : rowsOf(table)) (checkReading<Numbers>(type, tag, text, std::stoll(value)), ...);
}

TEST(Typed, DecimalTextsReadToTheirLimits) {
    const std::string nines(5000, '9');
    checkReadings<short, unsigned short, int, unsigned int, long, unsigned long, __int64, unsigned __int64>(
        VELLIX_DOC_IMAGE, "EKH",
        " => 0 | abc => 0 | - => 0 | +5 => 5 | -5 => -5 | +-5 => 0 | - 5 => 0 |  \t\n\v\f\r12 => 12 | "
        "\xa0 12 => 0 | 12abc => 12 | 0x10 => 0 | 000000000000000000000000000000000012 => 12 | "
        "2147483647 => 2147483647 | 2147483648 => 2147483648 | -2147483649 => -2147483649 | "
        "9223372036854775808 => 9223372036854775807 | -9223372036854775809 => -9223372036854775808 | " +
            nines + " => 9223372036854775807 | 70000 => 70000 | 40000 => 40000 | -1 => -1");
}

// RI, for both types that have it in digits of base 64. 64 bits are the 32 with their sign.
TEST(Typed, Radix64TextsReadBack) {
    for (const VELLIX_DOC_TYPE type : {VELLIX_DOC_FH, VELLIX_DOC_FH_STRING_SECTION}) {
        checkReadings<int, unsigned int, long, unsigned long, __int64, unsigned __int64>(
            type, "RI",
            " => 0 |     => 0 | . => 0 | / => 1 | ./ => 64 |   ./ => 64 |            / => 1 | " +
                std::string(5000, ' ') +
                "/ => 1 | / / => 65 | /   => 1 | t.1 => 12345 | zzD => 65535 | sN3BG => 305419896 | "
                "zzzzz/ => 2147483647 | .....0 => -2147483648 | zzzzz1 => -1 | zzzzzz => -1 | yzzzzz => -2 | "
                // Behind six digits nothing is looked at.
                "/.....z => 1 | /....., => 1 | /..... , => 1 | /...., => -1 | -1 => -1 | 1- => -1 | , => -1 | "
                ": => -1 | @ => -1 | [ => -1 | ` => -1 | { => -1 | /\t => -1 | \xae => -1");
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
        {U"a\x7f\x80\xe9\x7ff\x800\x20ac\xd7ff", "a\x7f\xc2\x80\xc3\xa9\xdf\xbf\xe0\xa0\x80\xe2\x82\xac\xed\x9f\xbf"},
        {U"\xe000\xfffd\xffff\xd800\xdc00\xdbff\xdfff",
         "\xee\x80\x80\xef\xbf\xbd\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {U"\xd83dx\xde00\xd83d\xd83d\xde00\xd83d", "?x??\xf0\x9f\x98\x80?"},
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
