// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"

namespace {

using namespace std::string_literals;

// What the three operations find of one attribute. "-" stands for null.
struct Row {
    VELLIX_DOC_TYPE type;
    unsigned short id;
    std::string text;
    const char* plain; // by the rules of a parse
    const char* fast;  // by its bytes, up to the closing quote
};

std::string orDash(const MallocText& text) { return text ? text.get() : "-"; }

TEST(Extract, SingleAttributes) {
    constexpr VELLIX_DOC_TYPE kFh = VELLIX_DOC_FH;
    const Row rows[] = {
        {kFh, 6, "<ET OP=\"5\" NM=\"a&amp;b\"/>", "a&b", "a&amp;b"},
        {kFh, 0, "<ET OP=\"5\" NM=\"a&amp;b\"/>", "5", "5"},
        {kFh, 7, "<ET OP=\"5\" NM=\"a&amp;b\"/>", "-", "-"},
        {kFh, 0, "<ET op=\"5\"/>", "5", "-"},
        {kFh, 0, "<ET OP = \"5\"/>", "5", "-"},
        {kFh, 0, "<ET OP=5/>", "5", "-"},
        {kFh, 0, "<ET NM=\"a>b\" OP=\"5\"/>", "5", "-"},
        {kFh, 0, "<ET/>", "-", "-"},
        {kFh, 0, "", "-", "-"},
        {kFh, 6, "<ET OP=\"5\"", "-", "-"},
        {kFh, 0, "<ET OP=\"5", "\"5", "-"}, // no closing quote: a bare word for the parse
        {kFh, 0, "OP=\"5\"", "-", "5"},
        {kFh, 0, "<ET NM=\"x\"/><ET OP=\"5\"/>", "-", "-"},
        {kFh, 0, "<ET OP=\"1\" OP=\"2\"/>", "1", "1"},
        {kFh, 0, "<OP=\"1\"/>", "1", "1"}, // the tag word goes through the same states
        {kFh, 14, "<ET RST=\"1\" ST=\"2\"/>", "2", "1"},
        {kFh, 76, "<ET RI10=\"1\" RI=\"2\"/>", "2", "2"},
        {kFh, 6, "<ET NM=\"a&b\"/>", "-", "a&b"},
        {kFh, 0, "<ET NM=\"a&b\" OP=\"5\"/>", "5", "5"}, // other values aren't looked at
        {kFh, 0, "<ET \"x\" OP=\"5\"/>", "-", "5"},
        {kFh, 0, "<ET OPX=\"1\" O=\"2\"/>", "-", "-"},
        {kFh, 6, "<ET NM=\"&#65;\xe9\"/>", "\"A\xe9\"/", "&#65;\xe9"}, // a lead byte takes the quote along
        {kFh, 0, "<ET NM=\"\0\" OP=\"5\"/>"s, "-", "-"},
        {VELLIX_DOC_SEARCH_CRITERIA, 9, "<SC SD=\"1\" NC=\"2\"/>", "2", "2"},
        {VELLIX_DOC_FRAG, 19, "<CatFrag FN=\"1\" FN=\"2\"/>", "1", "1"},
        {VELLIX_DOC_IMG_ALT_ID_LIST, 1, "<AltIdList SpnId=\"1\"/>", "-", "-"},
        {kFh, 77, "<ET OP=\"1\"/>", "-", "-"},
        {VELLIX_DOC_NONE, 0, "<ET OP=\"1\"/>", "-", "-"},
        {static_cast<VELLIX_DOC_TYPE>(26), 0, "<ET OP=\"1\"/>", "-", "-"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text + " " + std::to_string(row.id));
        const ExactBytes bytes(row.text);
        EXPECT_EQ(orDash(MallocText(VellixEntry::parseAttribute(row.type, row.id, bytes.data(), bytes.size(), true))),
                  row.plain);
        const ExactBytes terminated(row.text + '\0');
        EXPECT_EQ(orDash(MallocText(VellixEntry::parseAttributeFast_str(row.type, row.id, terminated.data(), false))),
                  row.fast);
        const char* const found = VellixEntry::parseAttributeFast_ptr(row.type, row.id, terminated.data(), true);
        if (row.fast != "-"s) {
            ASSERT_NE(found, nullptr);
            EXPECT_EQ(std::string(found).rfind(row.fast + "\""s, 0), 0U) << found;
        } else if (found != nullptr) {
            EXPECT_EQ(std::string(found).find('"'), std::string::npos) << "only a value without its closing quote";
        }
    }
}

TEST(Extract, SearchEndsAtTheFirstBracket) {
    const auto rows =
        rowsOf("abcabc bc => 1 | abc  => 0 |   => 0 | >  => 0 |  a => -1 | ab abc => -1 | aab ab => 1 | "
               "a>b b => -1 | a>b a => 0 | > > => -1 | ab>c b>c => 1 | OP=\" op=\" => -1 | aaab aab => 1 | "
               "abab> b> => 3 | xaxaxb xaxb => 2");
    for (const auto& [textAndPattern, at] : rows) {
        const auto parts = split(textAndPattern, " ");
        const ExactBytes text(parts[0] + '\0');
        const char* const found = VellixEntry::attr_strstr(text.data(), parts[1].c_str());
        EXPECT_EQ(found == nullptr ? -1 : static_cast<int>(found - text.data()), std::stoi(at)) << textAndPattern;
    }
    std::vector<std::string> words = {""}; // of the letters, the shorter ones first
    for (std::size_t i = 0; words[i].size() < 8; ++i) {
        for (const char c : {'a', 'b', '>'}) words.push_back(words[i] + c);
    }
    for (std::size_t i = 0; words[i].size() < 5; ++i) {
        for (const std::string& text : words) {
            const std::size_t at = text.find(words[i]);
            const bool found = i == 0 || at < text.find('>');
            ASSERT_EQ(VellixEntry::attr_strstr(text.c_str(), words[i].c_str()), found ? text.c_str() + at : nullptr)
                << text << ' ' << words[i];
        }
    }
    EXPECT_EQ(VellixEntry::attr_strstr(nullptr, "a"), nullptr);
    EXPECT_EQ(VellixEntry::attr_strstr("a", nullptr), nullptr);
    EXPECT_EQ(VellixEntry::parseAttribute(VELLIX_DOC_FH, 6, nullptr, 5, true), nullptr);
}

} // namespace
