// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"

// The fuzz target `tag` holds every kind of tag against a model. These are examples, and what no tag is.

namespace {

using namespace std::string_literals;

// A text with "^" where the position rests afterwards, which is taken out before the parse, and its result, the type, the
// name and the values.
void check(VELLIX_DOC_TYPE type, std::string text, const std::string& expected) {
    SCOPED_TRACE(text);
    const std::size_t rest = text.find('^');
    text.erase(rest, 1);
    const ExactBytes bytes(text);
    XmlStr cursor = cursorOver(bytes);
    VellixEntry entry(type);
    const int result = entry.parseAttrXMLString(&cursor);
    const char* const name = entry.getEntryName();
    EXPECT_EQ(std::to_string(result) + ' ' + std::to_string(entry.getType()) + ' ' + (name != nullptr ? name : "-") +
                  ' ' + slotsOf(entry),
              expected);
    EXPECT_EQ(cursor.position, rest);
    EXPECT_EQ(entry.isEntryClosed(), result == VELLIX_SUCCESS && text.substr(rest - 2, 2) == "/>");
}

TEST(Parse, TagsGiveTheirNameAndValues) {
    const auto rows = rowsOf(
        "^ => 1 3 -  | ET ^OP='5'/> => 6 3 -  | <?^xml version='1.0'?> => 6 3 -  | "
        "<ET OP=\"5\" NM=\"a&amp;b\"/>^<ET/> => 0 3 ET 0=5; 6=a&b | "
        " \n<ET\tOP='5'\r\nNM = \"it's\">^ => 0 3 ET 0=5; 6=it's | <Any op='5' nM=\"x\"/>^ => 0 3 Any 0=5; 6=x | "
        "<ET NM=a/b PT=c>^ => 0 3 ET 6=a/b; 7=c | <ET NM=\"a>b\" OP='1'/>^ => 0 3 ET 0=1; 6=a>b | "
        "<ET NM='a&#0;b'/>^ => 0 3 ET 6=a | <ET NM='&#xe9;'/>^ => 0 3 ET 6=\xe9 | "
        "<ET NMX='1' XX='3' OP='twelve' SZ=\"-\"/>^ => 0 3 ET 0=twelve; 9=- | <ET A ==^'1'> => 6 3 ET  | "
        // Of a text that is cut, also by a NUL, what is whole is taken, and a quote without its partner begins a word.
        "<ET OP='5' NM=\"a&amp;b^ => 1 3 ET 0=5; 6=\"a&b | <ET OP='5'^\0 NM='x'/> => 1 3 ET 0=5 | "
        "<ET NM=\"a<^b\" OP='1'/> => 6 3 ET 6=\"a | "
        // A bad reference ends the parse, also under an unknown tag; what was read before it stays.
        "<ET OP='1' NM=\"old\" NM=\"a&b\"^ PT='2'/> => 4 3 ET 0=1; 6=old | <ET OP='1' XX=&bad; ^/> => 4 3 ET 0=1"s);
    for (const auto& [text, expected] : rows) check(VELLIX_DOC_FH, text, expected);
    check(VELLIX_DOC_NONE, "<et OP='5'/>^", "0 15 et 0=5");
    check(VELLIX_DOC_NONE, "<RE ID='1'/>^", "0 0 - ");
    check(VELLIX_DOC_NONE, "<Unknown A='1' ET='2' OP='3'/>^", "0 15 ET 0=3"); // a later tag may become the name
    check(VELLIX_DOC_SEARCH_CRITERIA, "<SC SD='1' ED='2' NC='3' CT='4' AT='5' MT='6'/>^",
          "0 7 SC 9=1; 10=2; 11=3; 41=6; 42=4; 43=5");
    check(VELLIX_DOC_FRAG, "<CatFrag FN=\"1\" CD=\"2\" FN=\"x\" CD=\"3\"/>^", "0 10 CatFrag 1=x; 13=3");
}

TEST(Parse, SecondParseAddsAndTagsFollowEachOther) {
    const ExactBytes bytes("<ET OP=\"5\"/> between <CatImage NM=\"b\" OP=\"6\"><ET RT=\"7\">");
    XmlStr cursor = cursorOver(bytes);
    VellixEntry entry(VELLIX_DOC_NONE);
    for (const char* slots : {"0=5", "0=6; 6=b", "0=6; 1=7; 6=b"}) {
        cursor.skipToTag();
        EXPECT_EQ(entry.parseAttrXMLString(&cursor), VELLIX_SUCCESS);
        EXPECT_EQ(slotsOf(entry), slots);
        EXPECT_TRUE(entry.isEntryClosed()) << "a parse never lowers the mark";
    }
    EXPECT_EQ(entry.parseAttrXMLString(&cursor), VELLIX_ERR_END_OF_BUFFER);
}

TEST(Parse, NullTextsAreNoTags) {
    VellixEntry entry(VELLIX_DOC_FH);
    EXPECT_EQ(entry.parseAttrXMLString(nullptr, 5), VELLIX_ERR_NULL_ARGUMENT);
    EXPECT_EQ(entry.parseAttrXMLString(static_cast<XmlStr*>(nullptr)), VELLIX_ERR_NULL_ARGUMENT);
    EXPECT_EQ(VellixEntry::parseAttribute(VELLIX_DOC_FH, 6, nullptr, 5, true), nullptr);
    EXPECT_EQ(VellixEntry::parseAttributeFast_str(VELLIX_DOC_FH, 6, nullptr, true), nullptr);
    EXPECT_EQ(VellixEntry::attr_strstr(nullptr, "a"), nullptr);
    EXPECT_EQ(VellixEntry::attr_strstr("a", nullptr), nullptr);
}

// Texts are made of pieces of the pattern, so that they match far and in many ways before they don't.
TEST(Parse, SearchFindsTheFirstPlaceBeforeTheFirstBracket) {
    RandomText random(1);
    std::vector<std::string> patterns = {""}; // of two letters, the shorter ones first
    for (std::size_t i = 0; i < 4095; ++i) {
        const std::string pattern = patterns[i];
        for (int round = 0; round < 20; ++round) {
            std::string text = split("a|b|>|", "|")[random.below(4)];
            while (text.size() < 30) {
                const std::size_t from = random.below(2) * random.below(pattern.size() + 1);
                text += pattern.substr(from, random.below(pattern.size() + 2)) + (random.below(5) == 0 ? "b" : "");
                text += random.below(20) == 0 || pattern.empty() ? ">" : "";
            }
            const ExactBytes bytes(text + '\0');
            for (const std::string& wanted : {pattern, pattern + '>'}) {
                const std::size_t at = text.find(wanted);
                const char* const expected = wanted.empty() || at < text.find('>') ? bytes.data() + at : nullptr;
                ASSERT_EQ(VellixEntry::attr_strstr(bytes.data(), wanted.c_str()), expected) << text << ' ' << wanted;
            }
        }
        patterns.insert(patterns.end(), {pattern + 'a', pattern + 'b'});
    }
}

} // namespace
