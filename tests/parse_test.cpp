// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"

namespace {

using namespace std::string_literals;

// Parses a text and returns the result. `cursor` is left where it rests then.
int parseInto(VellixEntry& entry, const std::string& text, XmlStr& cursor) {
    const ExactBytes bytes(text);
    cursor = cursorOver(bytes);
    return entry.parseAttrXMLString(&cursor);
}

// A text with "^" where the position rests afterwards; the mark is taken out before the parse.
void check(VELLIX_DOC_TYPE type, std::string text, const std::string& resultAndSlots) {
    SCOPED_TRACE(text);
    const std::size_t rest = text.find('^');
    text.erase(rest, 1);
    VellixEntry entry(type);
    XmlStr cursor;
    const int result = parseInto(entry, text, cursor);
    EXPECT_EQ(std::to_string(result) + " " + slotsOf(entry), resultAndSlots);
    EXPECT_EQ(cursor.position, rest);
    EXPECT_EQ(cursor.syntaxError, result == VELLIX_ERR_SYNTAX && text.compare(0, 3, "<ET") == 0 ? 1 : 0);
    EXPECT_EQ(entry.isEntryClosed(), result == VELLIX_SUCCESS && text.substr(rest - 2, 2) == "/>");
    EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
}

// Each kind of token where a name is expected, where an equals sign is, and where a value is.
TEST(Parse, TokensInEachState) {
    const auto rows = rowsOf(
        "<ET NM='a' PT ='v'>^ => 0 6=a; 7=v | <ET NM='a' 'x'^='v'> => 6 6=a | <ET NM='a' <^ PT='v'> => 6 6=a | "
        "<ET NM='a' </^PT='v'> => 6 6=a | <ET NM='a' >^PT='v'> => 0 6=a | <ET NM='a' =^PT='v'> => 6 6=a | "
        "<ET NM='a' <?^PT='v'> => 6 6=a | <ET NM='a' />^PT='v'> => 0 6=a | <ET NM='a' ^ => 1 6=a | "

        "<ET NM='a' OP PT ='v'>^ => 0 6=a; 7=v | <ET NM='a' OP 'x'^='v'> => 6 6=a | <ET NM='a' OP <^='v'> => 6 6=a | "
        "<ET NM='a' OP </^='v'> => 6 6=a | <ET NM='a' OP >^='v'> => 6 6=a | <ET NM='a' OP ='v'>^ => 0 0=v; 6=a | "
        "<ET NM='a' OP <?^='v'> => 6 6=a | <ET NM='a' OP />^='v'> => 0 6=a | <ET NM='a' OP ^ => 1 6=a | "

        "<ET NM='a' OP = PT />^ => 0 0=PT; 6=a | <ET NM='a' OP = 'x' />^ => 0 0=x; 6=a | <ET NM='a' OP = <^ 'v'> => 6 "
        "6=a | "
        "<ET NM='a' OP = </^'v'> => 6 6=a | <ET NM='a' OP = >^'v'> => 6 6=a | <ET NM='a' OP = =^'v'> => 6 6=a | "
        "<ET NM='a' OP = <?^'v'> => 6 6=a | <ET NM='a' OP = />^'v'> => 6 6=a | <ET NM='a' OP = ^ => 1 6=a");
    ASSERT_EQ(rows.size(), 27U);
    for (const auto& [text, expected] : rows) check(VELLIX_DOC_FH, text, expected);
}

TEST(Parse, WholeTags) {
    const auto rows = rowsOf(
        "^ => 1  |  \t\r\n^ => 1  | ET ^OP='5'/> => 6  | </^ET> => 6  | <?^xml version='1.0'?> => 6  | \"^<ET\" => 6  "
        "| >^<ET OP='5'/> => 6  | <ET OP=\"5\" NM=\"a&amp;b\"/>^<ET/> => 0 0=5; 6=a&b | <ET OP='5'>^ => 0 0=5 | "
        " \n<ET\tOP='5'\r\nNM = \"it's\">^ => 0 0=5; 6=it's | <ET/>^ => 0  | <ET>^ => 6  | <>^ => 0  | </^> => 6  | "
        "<ET A B='1' OP='2'/>^ => 0 0=2 | <ET op='5' nM=\"x\"/>^ => 0 0=5; 6=x | "
        "<ET NM=a/b PT=c>^ => 0 6=a/b; 7=c | <ET NM=\"a\"NM=\"b\"OP=\"\"/>^ => 0 0=; 6=b | "
        "<ET NM=\"a>b\" OP='1'/>^ => 0 0=1; 6=a>b | <ET NM=\"a<^b\" OP='1'/> => 6 6=\"a | "
        "<ET NM='a&#0;b'/>^ => 0 6=a | <ET NM='&#xe9;'/>^ => 0 6=\xe9 | "
        "<ET NMX='1' N=\"2\" XX='3' ET=\"4\"/>^ => 0  | <ET OP='twelve' SZ=\"-\"/>^ => 0 0=twelve; 9=- | "
        // Of a text that is cut, also by a NUL, what is whole is taken, and a quote without its partner begins a word.
        "<E^ => 1  | <ET OP=^ => 1  | <ET OP=\"^ => 1 0=\" | <ET OP='5' NM=\"a&amp^ => 4 0=5 | "
        "<ET OP='5' NM=\"a&amp;b^ => 1 0=5; 6=\"a&b | <ET OP='5'^\0 NM='x'/> => 1 0=5 | "
        "<ET NM=\"a^\0b\" OP='5'/> => 1 6=\"a | "
        // A bad reference ends the parse, also under an unknown tag; what was read before it stays.
        "<ET OP='1' NM=\"a&b\"^ PT='2'/> => 4 0=1 | <ET OP='1' NM=a&b ^PT='2'/> => 4 0=1 | "
        "<ET OP=\"1\" XX=\"&bad;\"^/> => 4 0=1 | <ET NM=\"old\" NM=\"&#6x;\"^/> => 4 6=old"s);
    for (const auto& [text, expected] : rows) check(VELLIX_DOC_FH, text, expected);
    check(VELLIX_DOC_SEARCH_CRITERIA, "<SC SD='1' ED='2' NC='3' CT='4' AT='5' MT='6'/>^",
          "0 9=1; 10=2; 11=3; 41=6; 42=4; 43=5");
    check(VELLIX_DOC_FRAG, "<CatFrag FN=\"1\" CD=\"2\" FN=\"x\" CD=\"3\"/>^", "0 1=x; 13=3");
    check(VELLIX_DOC_FH_STRING_SECTION, "<ET TO='a' RI='./' RT='1'/>^", "0 5=a; 38=./");
}

TEST(Parse, FirstWordNamesEntryAndType) {
    const auto namedAs = [](VELLIX_DOC_TYPE type, const std::string& text) {
        VellixEntry entry(type);
        XmlStr cursor;
        parseInto(entry, text, cursor);
        const char* const name = entry.getEntryName();
        return std::to_string(entry.getType()) + " " + (name != nullptr ? name : "-") + " " + slotsOf(entry);
    };
    const auto rows =
        rowsOf("<ET OP='5'/> => 15 ET 0=5 | <et OP='5'/> => 15 et 0=5 | <catfh> => 3 catfh  | <RE ID='1'/> => 0 -  | "
               "<Image_Constr_AND op='x'/> => 24 Image_Constr_AND 5=x | <CatFHx NM='1'/> => 0 -  | "
               "<CatF NM=\"1\"/> => 0 -  | <'ET' OP='5'/> => 0 -  | "
               // As long as there is no name, a later attribute's tag may become it.
               "<Unknown A=\"1\" ET=\"2\"/> => 15 ET  | <Unknown A='1' ET='2' OP='3'/> => 15 ET 0=3 | "
               "<Unknown A=\"1\" ET=\"2\" OP=\"3\"/> => 15 ET 0=3 | <Unknown ET='2' OP='3'/> => 0 - ");
    for (const auto& [text, expected] : rows) EXPECT_EQ(namedAs(VELLIX_DOC_NONE, text), expected) << text;
    EXPECT_EQ(namedAs(VELLIX_DOC_FH, "<Whatever OP=\"5\"/>"), "3 Whatever 0=5");
    EXPECT_EQ(namedAs(VELLIX_DOC_IMAGE_CHAIN, "<CatFH ID=\"5\" NM=\"6\"/>"), "12 CatFH 0=5");
    EXPECT_EQ(namedAs(VELLIX_DOC_FH, "<\xc3\xa9\xe2"), "3 \xc3\xa9\xe2 ");
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
    EXPECT_EQ(entry.parseAttrXMLString(nullptr, 5), VELLIX_ERR_NULL_ARGUMENT);
    EXPECT_EQ(entry.parseAttrXMLString(static_cast<XmlStr*>(nullptr)), VELLIX_ERR_NULL_ARGUMENT);
}

} // namespace
