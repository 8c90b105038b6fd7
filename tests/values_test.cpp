// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixAttributes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"
#include "vellix/VellixTypes.h"

namespace {

using namespace std::string_literals;
using vellix::Attribute;

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
    using Limits = std::numeric_limits<Value>;
    const bool fits = value < Given{0} ? std::is_signed_v<Value> && static_cast<std::int64_t>(value) >=
                                                                        static_cast<std::int64_t>(Limits::min())
                                       : static_cast<std::uint64_t>(value) <= static_cast<std::uint64_t>(Limits::max());
    VellixEntry entry(attribute.type);
    ASSERT_TRUE(set(entry, attribute, 1));
    ASSERT_EQ(set(entry, attribute, value), fits) << +value;
    const Value expected = fits ? static_cast<Value>(value) : Value{1};
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

template <class Value> void checkReadings(Attribute<Value> attribute, const std::string& table) {
    for (const auto& row : rowsOf(table)) {
        VellixEntry entry(attribute.type);
        const VellixMapTag* tag = xmlRowAt(attribute.type, attribute.number);
        ASSERT_TRUE(entry.addAttribute(tag->tag, tag->tagLen, row.first.c_str()));
        const std::optional<Value> value = get(entry, attribute);
        EXPECT_EQ(value ? std::to_string(*value) : "nothing", row.second) << '"' << row.first << '"';
    }
}

TEST(Values, NumbersAreReadInBothSignsAndNeverCut) {
    checkReadings(vellix::results::IC,
                  "0 => 0 | 255 => 255 | -1 => 255 | -128 => 128 | 256 => nothing | -129 => nothing");
    checkReadings(vellix::search_criteria::PL, "40000 => -25536 | 65535 => -1 | -32768 => -32768 | 65536 => nothing");
    checkReadings(vellix::fse::DL, "70000 => nothing | -1 => 65535 | 65535 => 65535");
    checkReadings(vellix::search_criteria::IC, "4294967295 => -1 | 2147483648 => -2147483648 | -2147483649 => nothing");
    checkReadings(
        vellix::fh::OP,
        "-1 => 4294967295 | 4294967295 => 4294967295 | 4294967296 => nothing | -1294967296 => 3000000000 | "
        "3000000000 => 3000000000 |  \t\n\r+12\v\f  => 12 | 0012 => 12 | -0 => 0 |  => nothing | - => nothing | "
        "+ => nothing | +-1 => nothing | - 1 => nothing | 12x => nothing | x => nothing | 1 2 => nothing | "
        "0x10 => nothing | 1.5 => nothing | 99999999999999999999999 => nothing");
    checkReadings(vellix::fh::SZ, "18446744073709551615 => 18446744073709551615 | -1 => 18446744073709551615 | "
                                  "-9223372036854775808 => 9223372036854775808 | 18446744073709551616 => nothing | "
                                  "-9223372036854775809 => nothing | 18446744073709551610 => 18446744073709551610");
    checkReadings(vellix::fh::INOD, "-9223372036854775808 => -9223372036854775808 | 18446744073709551615 => -1");
    checkReadings(
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

TEST(Values, TheLastOfARepeatedTagIsRead) {
    VellixEntry fragment(VELLIX_DOC_FRAG);
    EXPECT_TRUE(set(fragment, vellix::frag::FN, 1) && set(fragment, vellix::frag::FN_19, "a"));
    const std::string text = fragment.toString();
    EXPECT_EQ(text, "<CatFrag FN=\"1\" FN=\"a\"/>");
    const VellixEntry read(VELLIX_DOC_FRAG, text.data(), static_cast<unsigned long>(text.size()), true);
    EXPECT_EQ(slotsOf(read), "1=a");
    EXPECT_EQ(get(read, vellix::frag::FN), std::nullopt);
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
