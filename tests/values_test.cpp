// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixAttributes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"
#include "vellix/VellixTypes.h"

namespace {

using namespace std::string_literals;
using vellix::Attribute;

// --- Values by the number of their slot ---

// One attribute of each data type that the schema has: its width, the numbers of it, and whether it takes any text. Where
// nothing is known of a number the width is that of the widest setter; `readFrom` is the width of the narrowest getter.
struct Row {
    const char* name;
    VELLIX_DOC_TYPE type;
    unsigned short id;
    std::size_t bits;
    std::int64_t least, most;
    std::size_t readFrom;
    bool takesText;
    bool isRadix64 = false;
};
const Row kRows[] = {
    {"string", VELLIX_DOC_FH, 6, 64, 0, 0, 128, true},
    {"uint8", VELLIX_DOC_RESULTS, 0, 8, 0, 255, 16, false},
    {"int16", VELLIX_DOC_SEARCH_CRITERIA, 2, 16, -32768, 32767, 16, false},
    {"uint16", VELLIX_DOC_FSE, 11, 16, 0, 65535, 16, false},
    {"int32", VELLIX_DOC_FH, 42, 32, -2147483648LL, 2147483647, 32, false},
    {"uint32", VELLIX_DOC_FH, 0, 32, 0, 4294967295, 32, false},
    {"radix64", VELLIX_DOC_FH, 76, 32, 0, 4294967295, 32, false, true},
    {"int64", VELLIX_DOC_FH, 58, 64, 0, 0, 64, false},
    {"uint64", VELLIX_DOC_FH, 9, 64, 0, 0, 64, false},
    {"opaque", VELLIX_DOC_IMAGE, 57, 64, 0, 0, 16, true},
    {"no row by id", VELLIX_DOC_SEARCH_CRITERIA, 9, 64, 0, 0, 16, true},
};

// Only attributes narrower than the number say anything about it, and the signed ones take no wide unsigned number.
template <class Width> bool admits(const Row& row, Width value) {
    if (row.bits >= 8 * sizeof(Width)) return true;
    if (row.least < 0 && std::is_unsigned_v<Width> && sizeof(Width) >= 4) return false;
    const auto number = static_cast<std::int64_t>(value); // negative if it is above all limits
    return number >= row.least && number <= row.most;
}

template <class Width> bool readsAs(const Row& row) { return 8 * sizeof(Width) >= row.readFrom; }

// What a getter of the width makes of an absent slot, and of one that holds 12. `value` stays as it was, or
// becomes 0 if it is narrow, where the attribute can't be read.
template <class Number, class Width> void checkGetter(const Row& row) {
    const bool read = readsAs<Width>(row);
    VellixEntry entry(row.type);
    for (const bool present : {false, true}) {
        EXPECT_TRUE(!present || entry.addAttribute(row.id, static_cast<short>(12), true));
        entry.setError(VELLIX_ERR_SYNTAX);
        Number value = 99;
        EXPECT_EQ(entry.getAttribute(row.id, value), read && present);
        EXPECT_EQ(value, read ? (present ? 12 : 0) : (sizeof(Width) == 2 ? 0 : 99));
        EXPECT_EQ(entry.getLastError(), read ? VELLIX_ERR_SYNTAX : VELLIX_ERR_TYPE_MISMATCH);
    }
}

// A number as text: decimal with the sign of the width, whatever the type, or up to six digits of base 64, the least first.
template <class Width> std::string formOf(Width value, const Row& row, bool pad) {
    using Signed = std::conditional_t<sizeof(Width) == 2, int, std::make_signed_t<Width>>;
    if (!row.isRadix64) return std::to_string(static_cast<Signed>(value)); // which takes no padding
    std::string text;
    std::int64_t rest = static_cast<std::int64_t>(value);
    do {
        text += "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"[rest & 63];
        rest >>= 6;
    } while (rest != 0 && text.size() < 6);
    const std::size_t width = pad ? sizeof(Width) * 3 / 2 : 0;
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

template <class Number, class Width> void checkNumber(const Row& row, Number value, bool pad) {
    SCOPED_TRACE(value);
    VellixEntry entry(row.type);
    ASSERT_TRUE(entry.addAttribute(row.id, static_cast<short>(7), false));
    const auto kept = static_cast<Width>(value);
    const bool fits = static_cast<Number>(kept) == value;
    const bool accepted = fits && admits(row, kept);
    EXPECT_EQ(entry.addAttribute(row.id, value, pad), accepted);
    EXPECT_EQ(entry.getLastError(), accepted ? VELLIX_SUCCESS : VELLIX_ERR_OUT_OF_RANGE);
    EXPECT_EQ(entry.getAttributeStr(row.id), accepted ? formOf(kept, row, pad) : formOf<short>(7, row, false));
    Number back = 1;
    EXPECT_EQ(entry.getAttribute(row.id, back), readsAs<Width>(row));
    const Width expected = row.isRadix64 ? static_cast<Width>(static_cast<std::int32_t>(kept)) : kept; // it has 32 bits
    EXPECT_TRUE(!accepted || !readsAs<Width>(row) || back == static_cast<Number>(expected));
    entry.setError(VELLIX_SUCCESS);
    EXPECT_FALSE(entry.addAttribute(78, value, pad) || entry.getAttribute(78, back));
    EXPECT_EQ(back, Number{0});
    EXPECT_EQ(entry.getLastError(), fits ? VELLIX_SUCCESS : VELLIX_ERR_OUT_OF_RANGE) << "without a slot, too";
}

// The width of `long` is 32 bits here.
template <class Number, class Width> void checkNumbers() {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name + ", "s + typeid(Number).name());
        checkGetter<Number, Width>(row);
        for (const Number value : numberProbes<Number>()) {
            for (const bool pad : {false, true}) checkNumber<Number, Width>(row, value, pad);
        }
    }
}

TEST(Values, NumbersGoWhereTheirAttributeAdmitsAndReadsThem) {
    checkNumbers<short, std::int16_t>();
    checkNumbers<unsigned short, std::uint16_t>();
    checkNumbers<int, std::int32_t>();
    checkNumbers<long, std::int32_t>();
    checkNumbers<unsigned int, std::uint32_t>();
    checkNumbers<unsigned long, std::uint32_t>();
    checkNumbers<__int64, std::int64_t>();
    checkNumbers<unsigned __int64, std::uint64_t>();
}

// Reads a text, past the data types. 32 bits stay at their nearest limit, 16 are the low half of those, and unsigned numbers
// have the bits of the signed ones.
template <class Number>
void checkReading(VELLIX_DOC_TYPE type, unsigned short id, const std::string& text, std::int64_t value) {
    constexpr bool isWide = std::is_same_v<Number, __int64> || std::is_same_v<Number, unsigned __int64>;
    if (!isWide) value = std::clamp<std::int64_t>(value, -2147483648LL, 2147483647);
    const bool is32 = sizeof(Number) > 2 && !isWide;
    const auto expected = static_cast<Number>(is32 && std::is_unsigned_v<Number> ? value & 0xffffffff : value);
    OpenEntry entry(type);
    ASSERT_TRUE(entry.addAttribute_s(id, text.c_str()));
    Number read = 5;
    EXPECT_TRUE(entry.getAttribute(id, read));
    EXPECT_EQ(read, expected) << testing::PrintToString(text);
}

template <class... Numbers> void checkReadings(VELLIX_DOC_TYPE type, unsigned short id, const std::string& table) {
    for (const auto& [text, value] : rowsOf(table)) (checkReading<Numbers>(type, id, text, std::stoll(value)), ...);
}

TEST(Values, DecimalTextsReadToTheirLimits) {
    const std::string nines(5000, '9');
    checkReadings<short, unsigned short, int, unsigned int, long, unsigned long, __int64, unsigned __int64>(
        VELLIX_DOC_IMAGE, 57,
        " => 0 | abc => 0 | - => 0 | +5 => 5 | -5 => -5 | +-5 => 0 | - 5 => 0 |  \t\n\v\f\r12 => 12 | "
        "\xa0 12 => 0 | 12abc => 12 | 0x10 => 0 | 000000000000000000000000000000000012 => 12 | "
        "2147483647 => 2147483647 | 2147483648 => 2147483648 | -2147483649 => -2147483649 | "
        "9223372036854775808 => 9223372036854775807 | -9223372036854775809 => -9223372036854775808 | " +
            nines + " => 9223372036854775807 | 70000 => 70000 | 40000 => 40000 | -1 => -1");
}

// RI, for both types that have it in digits of base 64. 64 bits are the 32 with their sign.
TEST(Values, Radix64TextsReadBack) {
    for (const auto& [type, id] : {std::pair{VELLIX_DOC_FH, 76}, {VELLIX_DOC_FH_STRING_SECTION, 38}}) {
        checkReadings<int, unsigned int, long, unsigned long, __int64, unsigned __int64>(
            type, static_cast<unsigned short>(id),
            " => 0 |     => 0 | . => 0 | / => 1 | ./ => 64 |   ./ => 64 |            / => 1 | " +
                std::string(5000, ' ') +
                "/ => 1 | / / => 65 | /   => 1 | t.1 => 12345 | zzD => 65535 | sN3BG => 305419896 | "
                "zzzzz/ => 2147483647 | .....0 => -2147483648 | zzzzz1 => -1 | zzzzzz => -1 | yzzzzz => -2 | "
                // Behind six digits nothing is looked at.
                "/.....z => 1 | /....., => 1 | /..... , => 1 | /...., => -1 | -1 => -1 | 1- => -1 | , => -1 | "
                ": => -1 | @ => -1 | [ => -1 | ` => -1 | { => -1 | /\t => -1 | \xae => -1");
    }
}

TEST(Values, TextsGoWhereTextMayStand) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        const auto check = [&](auto value, const char* expected) {
            OpenEntry entry(row.type);
            EXPECT_TRUE(entry.addAttribute_s(row.id, "any")) << "what derived classes have goes past the types";
            EXPECT_EQ(entry.addAttribute(row.id, value), row.takesText && expected != nullptr);
            EXPECT_EQ(entry.getLastError(), row.takesText ? VELLIX_SUCCESS : VELLIX_ERR_TYPE_MISMATCH);
            EXPECT_STREQ(entry.getAttribute(row.id), row.takesText ? expected : "any");
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
TEST(Values, WideTextsBecomeUtf8) {
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
}

// --- Values by the name of their attribute ---

template <class Value, class Given, class = void> constexpr bool compiles = false;
template <class Value, class Given>
constexpr bool compiles<Value, Given,
                        std::void_t<decltype(vellix::set(std::declval<VellixEntry&>(), std::declval<Attribute<Value>>(),
                                                         std::declval<Given>()))>> = true;

template <class Given> constexpr bool isNumber = compiles<std::uint64_t, Given> && !compiles<std::string_view, Given>;
template <class Given> constexpr bool isTaken = compiles<std::uint64_t, Given> || compiles<std::string_view, Given>;
static_assert(isNumber<unsigned char> && isNumber<short> && isNumber<int&> && isNumber<const unsigned long&> &&
              isNumber<long long>);
static_assert(!isTaken<bool> && !isTaken<char> && !isTaken<wchar_t> && !isTaken<char16_t> && !isTaken<double> &&
              !isTaken<VELLIX_ERROR> && !isTaken<std::nullptr_t> && !isTaken<const wchar_t*> && !isTaken<void*> &&
              !isTaken<std::filesystem::path>);
static_assert(compiles<std::string_view, const char*> && compiles<std::string_view, char (&)[4]> &&
              compiles<std::string_view, std::string> && compiles<std::string_view, std::string_view>);
static_assert(!compiles<std::uint64_t, const char*> && !compiles<std::uint8_t, std::string>);
static_assert(
    std::is_same_v<decltype(get(std::declval<const VellixEntry&>(), vellix::fh::SZ)), std::optional<std::uint64_t>>);

// Gives `value` to an attribute that holds 1. It comes back equal from the entry and from its text, or it is refused.
template <class Value, class Given> void checkGiven(Attribute<Value> attribute, Given value) {
    const auto kept = static_cast<Value>(value);
    const bool fits = static_cast<Given>(kept) == value && (kept < Value{0}) == (value < Given{0});
    VellixEntry entry(attribute.type);
    ASSERT_TRUE(set(entry, attribute, 1));
    ASSERT_EQ(set(entry, attribute, value), fits) << +value;
    const Value expected = fits ? kept : Value{1};
    ASSERT_EQ(get(entry, attribute), expected) << +value;
    ASSERT_EQ(entry.getLastError(), fits ? VELLIX_SUCCESS : VELLIX_ERR_OUT_OF_RANGE);
    const std::string text = entry.toString();
    VellixEntry parsed(attribute.type, text.data(), static_cast<unsigned long>(text.size()), true);
    ASSERT_EQ(get(parsed, attribute), expected) << text;
    ASSERT_TRUE(set(parsed, attribute, expected) && get(parsed, attribute) == expected && erase(parsed, attribute));
    ASSERT_EQ(get(parsed, attribute), std::nullopt);
}

template <class Given, class... Values> void checkGivenTo(Attribute<Values>... attributes) {
    for (const Given value : numberProbes<Given>()) (checkGiven(attributes, value), ...);
}

template <class... Given> void checkAllGiven() {
    (checkGivenTo<Given>(vellix::results::IC, vellix::search_criteria::PL, vellix::fse::DL, vellix::search_criteria::IC,
                         vellix::fh::OP, vellix::fh::RI, vellix::fh::INOD, vellix::fh::SZ),
     ...);
}

TEST(Values, NumbersComeBackOrAreRefused) {
    checkAllGiven<signed char, unsigned short, int, unsigned int, long, unsigned long, std::int64_t, std::uint64_t>();
    VellixEntry entry(VELLIX_DOC_FH);
    EXPECT_TRUE(set(entry, vellix::fh::OP, 4294967295U) && set(entry, vellix::fh::SZ, 18446744073709551615U) &&
                set(entry, vellix::fh::RI, 4294967295U));
    EXPECT_EQ(entry.toString(), "<ET OP=\"-1\" SZ=\"-1\" RI=\"zzzzz1\"/>") << "as setters of that width write them";
}

TEST(Values, TextsComeBackOrAreRefused) {
    const std::string view = "a&\"\xE9 b";
    const std::string limit(16384, 'x');
    for (const Attribute<std::string_view> attribute : {vellix::fh::NM, vellix::fh::TO, vellix::image::EKH}) {
        VellixEntry entry(attribute.type);
        EXPECT_EQ(get(entry, attribute), std::nullopt);
        EXPECT_TRUE(set(entry, attribute, std::string_view(view).substr(0, 4)));
        EXPECT_EQ(get(entry, attribute), "a&\"\xE9");
        EXPECT_TRUE(set(entry, attribute, "") && get(entry, attribute) == "");
        EXPECT_TRUE(set(entry, attribute, view));
        EXPECT_FALSE(set(entry, attribute, "a\0b"s));
        EXPECT_EQ(entry.getLastError(), VELLIX_ERR_OUT_OF_RANGE);
        EXPECT_FALSE(set(entry, attribute, static_cast<const char*>(nullptr)));
        EXPECT_EQ(entry.getLastError(), VELLIX_ERR_NULL_ARGUMENT);
        const bool limited = attribute.number == vellix::fh::TO.number;
        EXPECT_EQ(set(entry, attribute, limit + "x"), !limited);
        EXPECT_EQ(get(entry, attribute), limited ? view : limit + "x");
        EXPECT_TRUE(set(entry, attribute, limit) && get(entry, attribute) == limit);
    }
}

TEST(Values, BelongToTheTypesThatShareTheirMap) {
    for (const int number : {3, 5, 15, 4, 0, 26}) {
        const auto type = static_cast<VELLIX_DOC_TYPE>(number);
        const bool shares = type == VELLIX_DOC_FH || type == VELLIX_DOC_SPN || type == VELLIX_DOC_ET;
        VellixEntry entry(VELLIX_DOC_FH);
        ASSERT_TRUE(set(entry, vellix::spn::OP, 7) && set(entry, vellix::et::NM, "a"));
        entry.setType(type);
        EXPECT_EQ(get(entry, vellix::fh::OP), shares ? std::optional<std::uint32_t>(7) : std::nullopt);
        EXPECT_EQ(get(entry, vellix::fh::NM).has_value(), shares);
        for (const bool done :
             {set(entry, vellix::fh::OP, 5), set(entry, vellix::fh::NM, "b"), erase(entry, vellix::fh::OP)})
            EXPECT_EQ(done, shares);
        EXPECT_EQ(entry.getLastError(), shares ? VELLIX_SUCCESS : VELLIX_ERR_TYPE_MISMATCH);
        EXPECT_EQ(slotsOf(entry), shares ? "6=b" : "0=7; 6=a");
    }
    VellixEntry entry(VELLIX_DOC_FH);
    EXPECT_FALSE(set(entry, Attribute<std::uint32_t>(VELLIX_DOC_FH, 6), 5)) << "a number for a text";
    EXPECT_FALSE(set(entry, Attribute<std::string_view>(VELLIX_DOC_FH, 0), "5")) << "a text for a number";
    EXPECT_FALSE(set(entry, Attribute<std::uint32_t>(VELLIX_DOC_FH, 77), 5)) << "no such attribute";
}

template <class Value> void checkExact(Attribute<Value> attribute, const std::string& table) {
    for (const auto& row : rowsOf(table)) {
        OpenEntry entry(attribute.type);
        ASSERT_TRUE(entry.addAttribute_s(attribute.number, row.first.c_str()));
        const std::optional<Value> value = get(entry, attribute);
        EXPECT_EQ(value ? std::to_string(*value) : "nothing", row.second) << '"' << row.first << '"';
    }
}

TEST(Values, NumbersAreReadInBothSignsAndNeverCut) {
    checkExact(vellix::results::IC, "0 => 0 | 255 => 255 | -1 => 255 | -128 => 128 | 256 => nothing | -129 => nothing");
    checkExact(vellix::search_criteria::PL, "40000 => -25536 | 65535 => -1 | -32768 => -32768 | 65536 => nothing");
    checkExact(vellix::fse::DL, "70000 => nothing | -1 => 65535 | 65535 => 65535");
    checkExact(vellix::search_criteria::IC, "4294967295 => -1 | 2147483648 => -2147483648 | -2147483649 => nothing");
    checkExact(vellix::fh::OP,
               "-1 => 4294967295 | 4294967295 => 4294967295 | 4294967296 => nothing | -1294967296 => 3000000000 | "
               "3000000000 => 3000000000 |  \t\n\r+12\v\f  => 12 | 0012 => 12 | -0 => 0 |  => nothing | - => nothing | "
               "+ => nothing | +-1 => nothing | - 1 => nothing | 12x => nothing | x => nothing | 1 2 => nothing | "
               "0x10 => nothing | 1.5 => nothing | 99999999999999999999999 => nothing");
    checkExact(vellix::fh::SZ, "18446744073709551615 => 18446744073709551615 | -1 => 18446744073709551615 | "
                               "-9223372036854775808 => 9223372036854775808 | 18446744073709551616 => nothing | "
                               "-9223372036854775809 => nothing | 18446744073709551610 => 18446744073709551610");
    checkExact(vellix::fh::INOD, "-9223372036854775808 => -9223372036854775808 | 18446744073709551615 => -1");
    checkExact(
        vellix::fh::RI,
        ". => 0 | / => 1 | ./ => 64 | zzzzz1 => 4294967295 | zzzzzz => 4294967295 | .....0 => 2147483648 | "
        "....... => nothing | .....2 => nothing | zzzzzy => 3221225471 | .....x => nothing | .....y => 2147483648 | "
        "      ./ => 64 | / / => 65 |  => nothing |     => nothing | - => nothing | /, => nothing | { => nothing | -1 "
        "=> nothing");
}

// The tag of the name is written and read, whatever the slot.
TEST(Values, OutOfStepRowsKeepTheirTags) {
    using namespace vellix::search_criteria;
    const std::string text = "<SC NC=\"1\" SD=\"2\" ED=\"3\" AT=\"4\" CT=\"5\"/>";
    VellixEntry written(VELLIX_DOC_SEARCH_CRITERIA);
    EXPECT_TRUE(set(written, NC, 1) && set(written, SD, 2) && set(written, ED, 3) && set(written, AT, 4) &&
                set(written, CT, 5));
    EXPECT_EQ(written.toString(), text);
    VellixEntry read(VELLIX_DOC_SEARCH_CRITERIA, text.data(), static_cast<unsigned long>(text.size()), true);
    for (const VellixEntry& each : {written, read})
        EXPECT_TRUE(get(each, NC) == 1 && get(each, SD) == 2 && get(each, ED) == 3 && get(each, AT) == 4 &&
                    get(each, CT) == 5);
    read.clear();
    read.setType(VELLIX_DOC_SEARCH_CRITERIA);
    EXPECT_TRUE(set(read, SD, 6));
    EXPECT_EQ(read.toString(), "<SC SD=\"6\"/>") << "an entry that was cleared is one to write";
}

TEST(Values, EachCodeHasItsNumberAndText) {
    const VELLIX_ERROR codes[] = {VELLIX_SUCCESS,          VELLIX_ERR_END_OF_BUFFER, VELLIX_ERR_TYPE_MISMATCH,
                                  VELLIX_ERR_OUT_OF_RANGE, VELLIX_ERR_NO_MEMORY,     VELLIX_ERR_NULL_ARGUMENT,
                                  VELLIX_ERR_SYNTAX,       VELLIX_ERR_NOT_MAPPED,    VELLIX_ERR_BAD_HANDLE,
                                  VELLIX_ERR_FILE_OPEN,    VELLIX_ERR_FILE_SIZE};
    std::set<std::string> texts = {"unknown error"};
    for (int number = 0; number < 11; ++number) {
        EXPECT_EQ(codes[number], number);
        EXPECT_TRUE(texts.insert(vellixErrorText(number)).second) << number;
    }
    for (const int other : {-2147483647 - 1, -1, 11, 2147483647}) EXPECT_STREQ(vellixErrorText(other), "unknown error");
    EXPECT_STREQ(vellixErrorText(VELLIX_ERR_FILE_OPEN), "the file can't be opened, or is not open");
}

} // namespace
