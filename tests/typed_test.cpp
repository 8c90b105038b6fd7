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

constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kMax64 = std::numeric_limits<std::uint64_t>::max();

constexpr unsigned short kNoSlots[] = {78, 65535};

// The values that a setter accepts.
struct Range {
    std::int64_t low;
    std::uint64_t high;
};
constexpr Range kAny = {kMin64, kMax64};
constexpr Range kRefused = {1, 0};
constexpr Range kInt16 = {-32768, 32767};
constexpr Range kUInt8 = {0, 255};
constexpr Range kUInt16 = {0, 65535};
constexpr Range kInt32 = {-2147483648LL, 2147483647};
constexpr Range kUInt32 = {0, 4294967295};

// One attribute of each data type that the schema has: what its setters accept, in the order of SetterKind, and which
// getters read it, by their width in bits.
enum SetterKind { kShort, kUShort, kInt, kUInt, kInt64, kUInt64 };
struct Attribute {
    const char* name;
    VELLIX_DOC_TYPE type;
    unsigned short id;
    Range accepted[6];
    bool read16, read32, read64;
};
const Attribute kAttributes[] = {
    {"string", VELLIX_DOC_FH, 6, {kAny, kAny, kAny, kAny, kAny, kAny}, false, false, false},
    {"uint8", VELLIX_DOC_RESULTS, 0, {kUInt8, kUInt8, kUInt8, kUInt8, kUInt8, kUInt8}, true, true, true},
    {"int16", VELLIX_DOC_SEARCH_CRITERIA, 2, {kAny, kAny, kInt16, kRefused, kInt16, kRefused}, true, true, true},
    {"uint16", VELLIX_DOC_FSE, 11, {kAny, kAny, kUInt16, kUInt16, kUInt16, kUInt16}, true, true, true},
    {"int32", VELLIX_DOC_FH, 42, {kAny, kAny, kAny, kAny, kInt32, kRefused}, false, true, true},
    {"uint32", VELLIX_DOC_FH, 0, {kAny, kAny, kAny, kAny, kUInt32, kUInt32}, false, true, true},
    {"int64", VELLIX_DOC_FH, 58, {kAny, kAny, kAny, kAny, kAny, kAny}, false, false, true},
    {"uint64", VELLIX_DOC_FH, 9, {kAny, kAny, kAny, kAny, kAny, kAny}, false, false, true},
    {"opaque", VELLIX_DOC_IMAGE, 57, {kAny, kAny, kAny, kAny, kAny, kAny}, true, true, true},
    {"no row by id", VELLIX_DOC_SEARCH_CRITERIA, 9, {kAny, kAny, kAny, kAny, kAny, kAny}, true, true, true},
};

// Each limit of a width, one beyond, and their neighbours among the small numbers.
template <class Number> std::vector<Number> probes() {
    std::vector<Number> values = {std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max(), 0, 1};
    for (const int bits : {7, 8, 15, 16, 31, 32, 63}) {
        const std::uint64_t power = std::uint64_t{1} << bits;
        for (const std::uint64_t magnitude : {power - 1, power, power + 1}) {
            for (const std::uint64_t pattern : {magnitude, std::uint64_t{0} - magnitude}) {
                const Number value = static_cast<Number>(pattern);
                if (static_cast<std::uint64_t>(value) == pattern) values.push_back(value);
            }
        }
    }
    return values;
}

template <class Number> bool within(const Range& range, Number value) {
    if (range.low == kRefused.low) return false;
    if (std::is_signed_v<Number> && value < Number{0}) return static_cast<std::int64_t>(value) >= range.low;
    return static_cast<std::uint64_t>(value) <= range.high;
}

// What a getter of the width makes of an absent slot, of one that holds 12, and of none at all. `value` stays as it was, or
// becomes 0 if it is narrow, where the attribute can't be read.
template <class Number, class Width> void checkGetter(const Attribute& attribute, bool read) {
    VellixEntry entry(attribute.type);
    const Number refused = sizeof(Width) == 2 ? 0 : 99;
    for (const bool present : {false, true}) {
        EXPECT_TRUE(!present || entry.addAttribute(attribute.id, static_cast<short>(12), true));
        entry.setError(VELLIX_ERR_SYNTAX);
        Number value = 99;
        EXPECT_EQ(entry.getAttribute(attribute.id, value), read && present);
        EXPECT_EQ(value, read ? (present ? Number{12} : Number{0}) : refused);
        EXPECT_EQ(entry.getLastError(), read ? VELLIX_ERR_SYNTAX : VELLIX_ERR_TYPE_MISMATCH);
    }
    for (const unsigned short far : kNoSlots) {
        entry.setError(VELLIX_SUCCESS);
        Number value = 99;
        EXPECT_FALSE(entry.getAttribute(far, value) || entry.addAttribute(far, Number{1}, false));
        EXPECT_EQ(value, Number{0});
        EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
    }
}

// Decimal text has the sign of the width, whatever the type; the width of `long` is 32 bits here.
template <class Number, class Width> void checkNumbers(SetterKind kind) {
    for (const Attribute& attribute : kAttributes) {
        const bool read = sizeof(Width) == 2   ? attribute.read16
                          : sizeof(Width) == 4 ? attribute.read32
                                               : attribute.read64;
        SCOPED_TRACE(attribute.name + " "s + std::to_string(kind));
        checkGetter<Number, Width>(attribute, read);
        for (const Number value : probes<Number>()) {
            SCOPED_TRACE(value);
            VellixEntry entry(attribute.type);
            ASSERT_TRUE(entry.addAttribute(attribute.id, static_cast<short>(7), false));
            const bool fits = static_cast<Number>(static_cast<Width>(value)) == value;
            const bool accepted = fits && within(attribute.accepted[kind], value);
            EXPECT_EQ(entry.addAttribute(attribute.id, value, false), accepted);
            EXPECT_EQ(entry.getLastError(), accepted ? VELLIX_SUCCESS : VELLIX_ERR_OUT_OF_RANGE);
            const bool narrow = sizeof(Width) == 2;
            const std::string text =
                narrow ? std::to_string(value) : std::to_string(static_cast<std::make_signed_t<Width>>(value));
            EXPECT_EQ(entry.getAttributeStr(attribute.id), accepted ? text : "7");
            Number back = 1;
            EXPECT_EQ(entry.getAttribute(attribute.id, back), read);
            EXPECT_TRUE(!accepted || !read || back == value);
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

TEST(Typed, LongBeyond32BitsIsRefusedFirst) {
    if (sizeof(long) == sizeof(int)) GTEST_SKIP() << "every long fits";
    VellixEntry entry(VELLIX_DOC_FH);
    EXPECT_FALSE(entry.addAttribute(78, static_cast<long>(2147483648LL), false));
    EXPECT_EQ(entry.getLastError(), VELLIX_ERR_OUT_OF_RANGE) << "though there is no such slot";
}
// What the getters make of the text of a slot; those of 16 bits keep the low half of the 32.
void checkReadings(VellixEntry& entry, unsigned short id, std::int32_t narrow, std::int64_t wide) {
    SCOPED_TRACE(testing::PrintToString(entry.getAttributeStr(id)));
    int i = 5;
    unsigned int ui = 5;
    long l = 5;
    unsigned long ul = 5;
    __int64 ll = 5;
    unsigned __int64 ull = 5;
    EXPECT_TRUE(entry.getAttribute(id, i) && entry.getAttribute(id, ui) && entry.getAttribute(id, l));
    EXPECT_TRUE(entry.getAttribute(id, ul) && entry.getAttribute(id, ll) && entry.getAttribute(id, ull));
    EXPECT_EQ(i, narrow);
    EXPECT_EQ(ui, static_cast<std::uint32_t>(narrow));
    EXPECT_EQ(l, narrow);
    EXPECT_EQ(ul, static_cast<std::uint32_t>(narrow));
    EXPECT_EQ(ll, wide);
    EXPECT_EQ(ull, static_cast<std::uint64_t>(wide));
}

// Each text with its 64-bit value; 32 bits stay at their nearest limit.
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
        VellixEntry entry(VELLIX_DOC_IMAGE);
        ASSERT_TRUE(entry.addAttribute(57, text));
        checkReadings(entry, 57, narrow, wide);
        short s = 5;
        unsigned short us = 5;
        EXPECT_TRUE(entry.getAttribute(57, s) && entry.getAttribute(57, us));
        EXPECT_EQ(s, static_cast<std::int16_t>(narrow)) << text;
        EXPECT_EQ(us, static_cast<std::uint16_t>(narrow)) << text;
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
        for (const VELLIX_DOC_TYPE type : {VELLIX_DOC_FH, VELLIX_DOC_FH_STRING_SECTION}) {
            VellixEntry entry(type);
            ASSERT_TRUE(entry.addAttribute("RI", 2, text.c_str()));
            checkReadings(entry, type == VELLIX_DOC_FH ? 76 : 38, std::stoi(value), std::stoi(value));
        }
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
        const auto padded = [&plain = text](std::size_t width) {
            return std::string(width - plain.size(), ' ') + plain;
        };
        EXPECT_EQ(digits(value, false), text);
        EXPECT_EQ(digits(value, true), padded(6));
        EXPECT_EQ(digits(static_cast<unsigned long>(value), true), padded(6));
        EXPECT_EQ(digits(static_cast<__int64>(value), false), text);
        EXPECT_EQ(digits(static_cast<__int64>(value), true), padded(12));
        EXPECT_EQ(digits(static_cast<unsigned __int64>(value), true), padded(12));
        if (value <= 65535) {
            EXPECT_EQ(digits(static_cast<unsigned short>(value), true), padded(3));
        }
        VellixEntry entry(VELLIX_DOC_FH);
        entry.addAttribute(75, value, true);
        EXPECT_EQ(entry.getAttributeStr(75), std::to_string(static_cast<int>(value))) << "decimal takes no padding";
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
        const bool takesText =
            attribute.name == "string"s || attribute.name == "opaque"s || attribute.name == "no row by id"s;
        const int code = takesText ? VELLIX_SUCCESS : VELLIX_ERR_TYPE_MISMATCH;
        const auto check = [&](auto value, const char* expected) {
            VellixEntry entry(attribute.type);
            entry.addAttribute(attribute.id, static_cast<short>(7), false);
            EXPECT_EQ(entry.addAttribute(attribute.id, value), takesText && expected != nullptr);
            EXPECT_EQ(entry.getLastError(), code);
            EXPECT_STREQ(entry.getAttribute(attribute.id), takesText ? expected : "7");
        };
        check("text", "text");
        check("te\0xt"s, "te");
        check(L"wide", "wide");
        // A null value makes a text absent; a number stays.
        check(static_cast<const char*>(nullptr), nullptr);
        check(static_cast<const wchar_t*>(nullptr), nullptr);
    }
    VellixEntry entry(VELLIX_DOC_FH);
    EXPECT_FALSE(entry.addAttribute(77, "text")) << "the end row's place";
    for (const unsigned short far : kNoSlots) {
        EXPECT_FALSE(entry.addAttribute(far, "text") || entry.addAttribute(far, L"text"));
    }
    EXPECT_TRUE(entry.isEmpty());
    EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
}

TEST(Typed, WideTextsBecomeUtf8) {
    const std::string lost = "\xef\xbf\xbd"; // U+FFFD
    const struct {
        std::vector<std::uint32_t> wide;
        std::string bytes;
    } rows[] = {
        {{'a', 0x7f}, "a\x7f"},
        {{0x80, 0xe9, 0x7ff}, "\xc2\x80\xc3\xa9\xdf\xbf"},
        {{0x800, 0x20ac, 0xd7ff, 0xe000, 0xfffd, 0xffff},
         "\xe0\xa0\x80\xe2\x82\xac\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbd\xef\xbf\xbf"},
        {{0xd800, 0xdc00, 0xdbff, 0xdfff}, "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {{0xd83d}, lost},
        {{0xd83d, 'x'}, lost + "x"},
        {{0xde00, 0xd83d}, lost + lost},
        {{0xd83d, 0xd83d, 0xde00}, lost + "\xf0\x9f\x98\x80"},
        {{0x1f600, 0x10000, 0x10ffff}, "\xf0\x9f\x98\x80\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {{0x110000, 'x', 0x7fffffff, 0x80000000, 0xffffffff}, lost + "x" + lost + lost + lost},
    };
    for (const auto& row : rows) {
        std::wstring wide;
        bool oneUnitEach = true;
        for (const std::uint32_t unit : row.wide) {
            oneUnitEach = oneUnitEach && (unit <= 0xffff || sizeof(wchar_t) == 4);
            wide += static_cast<wchar_t>(unit);
        }
        if (!oneUnitEach) continue;
        VellixEntry entry(VELLIX_DOC_FH);
        ASSERT_TRUE(entry.addAttribute(6, wide.c_str()));
        EXPECT_EQ(entry.getAttributeStr(6), row.bytes);
    }
    VellixEntry entry(VELLIX_DOC_FH);
    ASSERT_TRUE(entry.addAttribute(39, std::wstring(10000, L'\xe9').c_str()));
    EXPECT_EQ(entry.getAttributeStr(39).size(), 16384U) << "the limit counts bytes";
}

} // namespace
