#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"

namespace {

using namespace std::string_literals;

struct Parse {
    int result;
    unsigned long position;
    int syntaxError;
};

Parse parseInto(VellixEntry& entry, const std::string& text) {
    const ExactBytes bytes(text);
    XmlStr cursor = cursorOver(bytes);
    const int result = entry.parseAttrXMLString(&cursor);
    return {result, cursor.position, cursor.syntaxError};
}

std::string nameOf(const VellixEntry& entry) {
    return entry.getEntryName() == nullptr ? "(null)" : entry.getEntryName();
}

// A text with "^" where the position rests afterwards; the mark is taken out before the parse.
void check(VELLIX_DOC_TYPE type, std::string text, const std::string& resultAndSlots) {
    SCOPED_TRACE(text);
    const std::size_t rest = text.find('^');
    ASSERT_NE(rest, std::string::npos);
    text.erase(rest, 1);
    VellixEntry entry(type);
    const Parse parse = parseInto(entry, text);
    EXPECT_EQ(std::to_string(parse.result) + " " + slotsOf(entry), resultAndSlots);
    EXPECT_EQ(parse.position, rest);
    EXPECT_EQ(parse.syntaxError, parse.result == VELLIX_ERR_SYNTAX && text.compare(0, 3, "<ET") == 0 ? 1 : 0);
    EXPECT_EQ(entry.isEntryClosed(), parse.result == VELLIX_SUCCESS && text.substr(rest - 2, 2) == "/>");
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
        "| "
        ">^<ET OP='5'/> => 6  | <ET OP=\"5\" NM=\"a&amp;b\"/>^<ET/> => 0 0=5; 6=a&b | <ET OP='5'>^ => 0 0=5 | "
        " \n<ET\tOP='5'\r\nNM = \"it's\">^ => 0 0=5; 6=it's | <ET/>^ => 0  | <ET>^ => 6  | <>^ => 0  | </^> => 6  | "
        "<ET A B='1' OP='2'/>^ => 0 0=2 | <ET A OP='1'/>^ => 0 0=1 | <ET op='5' nM=\"x\"/>^ => 0 0=5; 6=x | "
        "<ET OP=5/>^ => 0 0=5 | <ET NM=a/b PT=c>^ => 0 6=a/b; 7=c | <ET OP=\"\"/>^ => 0 0= | "
        "<ET NM=\"a\"NM=\"b\"OP=\"1\"/>^ => 0 0=1; 6=b | <ET NM=\"a>b\" OP='1'/>^ => 0 0=1; 6=a>b | "
        "<ET NM=\"a<^b\" OP='1'/> => 6 6=\"a | <ET NM='a&#0;b'/>^ => 0 6=a | <ET NM='&#xe9;'/>^ => 0 6=\xe9 | "
        "<ET NMX='1' N=\"2\" XX='3' ET=\"4\"/>^ => 0  | <ET OP='twelve' SZ=\"-\"/>^ => 0 0=twelve; 9=- | "
        // A bad reference ends the parse, also under an unknown tag; what was read before it stays.
        "<ET OP='1' NM=\"a&b\"^ PT='2'/> => 4 0=1 | <ET OP='1' NM=a&b ^PT='2'/> => 4 0=1 | "
        "<ET OP=\"1\" XX=\"&bad;\"^/> => 4 0=1 | <ET NM=\"old\" NM=\"&#6x;\"^/> => 4 6=old");
    for (const auto& [text, expected] : rows) check(VELLIX_DOC_FH, text, expected);
    check(VELLIX_DOC_SEARCH_CRITERIA, "<SC SD='1' ED='2' NC='3' CT='4' AT='5' MT='6'/>^",
          "0 9=1; 10=2; 11=3; 41=6; 42=4; 43=5");
    check(VELLIX_DOC_FRAG, "<CatFrag FN=\"1\" CD=\"2\" FN=\"x\" CD=\"3\"/>^", "0 1=x; 13=3");
    check(VELLIX_DOC_FH_STRING_SECTION, "<ET TO='a' RI='./' RT='1'/>^", "0 5=a; 38=./");

    VellixEntry kept(VELLIX_DOC_FH);
    kept.addAttribute(6, "before");
    EXPECT_EQ(parseInto(kept, "<ET NM=\"a&b\"/>").result, VELLIX_ERR_NO_MEMORY);
    EXPECT_EQ(slotsOf(kept), "6=before");
}

TEST(Parse, FirstWordNamesEntryAndType) {
    const auto namedAs = [](VELLIX_DOC_TYPE type, const std::string& text) {
        VellixEntry entry(type);
        parseInto(entry, text);
        return std::to_string(entry.getType()) + " " + nameOf(entry) + " " + slotsOf(entry);
    };
    const auto rows = rowsOf(
        "<ET OP='5'/> => 15 ET 0=5 | <et OP='5'/> => 15 et 0=5 | <catfh> => 3 catfh  | <RE ID='1'/> => 0 (null)  | "
        "<Image_Constr_AND op='x'/> => 24 Image_Constr_AND 5=x | <CatFHx NM='1'/> => 0 (null)  | "
        "<CatF NM=\"1\"/> => 0 (null)  | <'ET' OP='5'/> => 0 (null)  | "
        // As long as there is no name, a later attribute's tag may become it.
        "<Unknown A=\"1\" ET=\"2\"/> => 15 ET  | <Unknown A='1' ET='2' OP='3'/> => 15 ET 0=3 | "
        "<Unknown A=\"1\" ET=\"2\" OP=\"3\"/> => 15 ET 0=3 | <Unknown ET='2' OP='3'/> => 0 (null) ");
    for (const auto& [text, expected] : rows) EXPECT_EQ(namedAs(VELLIX_DOC_NONE, text), expected) << text;
    EXPECT_EQ(namedAs(VELLIX_DOC_FH, "<Whatever OP=\"5\"/>"), "3 Whatever 0=5");
    EXPECT_EQ(namedAs(VELLIX_DOC_IMAGE_CHAIN, "<CatFH ID=\"5\" NM=\"6\"/>"), "12 CatFH 0=5");
    EXPECT_EQ(namedAs(VELLIX_DOC_FH, "<\xc3\xa9\xe2"), "3 \xc3\xa9\xe2 ");
}

TEST(Parse, CutTextGivesWhatIsWhole) {
    const std::string text = "<ET OP=\"5\" NM=\"a&amp;b\"/>";
    const auto expected = [](std::size_t length) -> std::string {
        if (length < 8) return "1 ";
        if (length == 8) return "1 0=\"";
        if (length == 9) return "1 0=\"5";
        if (length < 15) return "1 0=5";
        if (length == 15) return "1 0=5; 6=\"";
        if (length == 16) return "1 0=5; 6=\"a";
        if (length < 21) return "4 0=5";
        if (length == 21) return "1 0=5; 6=\"a&";
        if (length == 22) return "1 0=5; 6=\"a&b";
        return length < 25 ? "1 0=5; 6=a&b" : "0 0=5; 6=a&b";
    };
    for (std::size_t length = 0; length <= text.size(); ++length) {
        for (const std::string& behind : {""s, "\0 NM=\"x\"/>"s}) { // a NUL ends the text like its end
            const std::string cut = text.substr(0, length) + behind;
            VellixEntry entry(VELLIX_DOC_FH);
            const Parse parse = parseInto(entry, cut);
            EXPECT_EQ(std::to_string(parse.result) + " " + slotsOf(entry), expected(length)) << length;
            EXPECT_EQ(nameOf(entry), length < 2 ? "(null)" : length == 2 ? "E" : "ET") << length;
        }
    }
}

TEST(Parse, SecondParseAddsAndTagsFollowEachOther) {
    const std::string text = "<ET OP=\"5\"/> between <CatImage NM=\"b\" OP=\"6\"><ET RT=\"7\"/>";
    const ExactBytes bytes(text);
    XmlStr cursor = cursorOver(bytes);
    VellixEntry entry(VELLIX_DOC_NONE);
    EXPECT_EQ(entry.parseAttrXMLString(&cursor), VELLIX_SUCCESS);
    EXPECT_EQ(cursor.position, 12U);
    EXPECT_TRUE(entry.isEntryClosed());
    cursor.skipToTag();
    EXPECT_EQ(entry.parseAttrXMLString(&cursor), VELLIX_SUCCESS);
    EXPECT_TRUE(entry.isEntryClosed()) << "a parse never lowers the mark";
    EXPECT_EQ(slotsOf(entry), "0=6; 6=b");
    entry.setIsEntryClosed(false);
    EXPECT_EQ(entry.parseAttrXMLString(&cursor), VELLIX_SUCCESS);
    EXPECT_EQ(entry.parseAttrXMLString(&cursor), VELLIX_ERR_END_OF_BUFFER);
    EXPECT_EQ(entry.parseAttrXMLString(nullptr, 5), VELLIX_ERR_NULL_ARGUMENT);
    EXPECT_EQ(entry.parseAttrXMLString(static_cast<XmlStr*>(nullptr)), VELLIX_ERR_NULL_ARGUMENT);
    EXPECT_EQ(slotsOf(entry), "0=6; 1=7; 6=b");
}

std::string described(const Parse& parse, const std::string& name, bool closed, const VellixEntry& entry) {
    return std::to_string(parse.result) + " at " + std::to_string(parse.position) + ", error " +
           std::to_string(parse.syntaxError) + ", " + name + " of " + std::to_string(entry.getType()) +
           (closed ? " closed: " : ": ") + slotsOf(entry) + " " + entry.toString();
}

// A parse told token by token, each of them one by one: what the parser must do however it gets there.
std::string parsedByTokens(VELLIX_DOC_TYPE type, const ExactBytes& bytes) {
    XmlStr cursor = cursorOver(bytes);
    VellixEntry entry(type);
    std::string name = "(null)";
    std::string word;
    bool closed = false;
    enum { kName, kEquals, kValue } state = kName;
    const auto end = [&](int result) {
        return described({result, cursor.position, cursor.syntaxError}, name, closed, entry);
    };
    VellixToken token = xmlNextToken(&cursor);
    if (token.kind != VELLIX_TOKEN_OPEN) return end(token.kind == VELLIX_TOKEN_EOF ? 1 : 6);
    for (;;) {
        token = xmlNextToken(&cursor);
        if (token.kind == VELLIX_TOKEN_EOF) return end(1);
        const bool quoted = token.kind == VELLIX_TOKEN_QUOTED;
        if (state == kValue && (quoted || token.kind == VELLIX_TOKEN_WORD)) {
            const unsigned long quotes = quoted ? 1 : 0;
            const MallocText plain(xmlDecode(token.start + quotes, token.length - 2 * quotes));
            if (!plain) return end(4);
            entry.addAttribute(word.data(), static_cast<unsigned int>(word.size()), plain.get());
            state = kName;
        } else if (state != kValue && token.kind == VELLIX_TOKEN_WORD) {
            word.assign(token.start, token.length);
            if (state == kName && name == "(null)") {
                if (entry.getType() == VELLIX_DOC_NONE) entry.setType(xmlDocTypeByName(token.start, token.length));
                if (entry.getType() != VELLIX_DOC_NONE) name = word;
            }
            state = kEquals;
        } else if (state == kEquals && token.kind == VELLIX_TOKEN_EQUALS) {
            state = kValue;
        } else if (state == kName && token.kind == VELLIX_TOKEN_END) {
            return end(0);
        } else if (state != kValue && token.kind == VELLIX_TOKEN_EMPTY_END) {
            closed = true;
            return end(0);
        } else {
            cursor.syntaxError = 1;
            return end(6);
        }
    }
}

// Whatever a text is and whatever was read before it, a parse does what its tokens say, and what it took comes back
// from the text that it is written to.
TEST(Parse, RandomTextsAreReadByTheirTokens) {
    RandomText random(4);
    const auto starts = split("<ET |<ET OP=\"5\" NM=\"a\"|<ET NM=\"|<Unknown A=\"1\" ET=\"2\" OP=\"3\" |<X|<|", "|");
    const auto tags = split("FN|CD|NM|OP|SD|NC|ED|RI|RI10|MN|fn|XX|PT|TO|AT|CT", "|");
    const VELLIX_DOC_TYPE types[] = {VELLIX_DOC_NONE, VELLIX_DOC_FH, VELLIX_DOC_FRAG, VELLIX_DOC_SEARCH_CRITERIA};
    VellixEntry reused;
    for (int round = 0; round < 30000; ++round) {
        std::string text = starts[random.below(starts.size())];
        for (std::size_t left = random.below(5); left != 0; --left) {
            text += " " + tags[random.below(tags.size())] + "=\"" + std::to_string(left) + "\"";
        }
        text += random.next(16, round % 8 == 1);
        SCOPED_TRACE(testing::PrintToString(text));
        const VELLIX_DOC_TYPE type = types[random.below(4)];
        VellixEntry fresh(type);
        reused.clear();
        reused.setType(type);
        reused.setIsEntryClosed(false);
        for (VellixEntry* entry : {&fresh, &reused}) {
            const Parse parse = parseInto(*entry, text);
            ASSERT_EQ(described(parse, nameOf(*entry), entry->isEntryClosed(), *entry),
                      parsedByTokens(type, ExactBytes(text)));
        }
        const std::string written = fresh.toString();
        ASSERT_EQ(written.size(), fresh.size());
        if (type != VELLIX_DOC_NONE && type != VELLIX_DOC_FH) continue; // other maps move values
        VellixEntry again(fresh.getType());
        ASSERT_EQ(parseInto(again, written).result, written.empty() ? VELLIX_ERR_END_OF_BUFFER : VELLIX_SUCCESS);
        ASSERT_EQ(slotsOf(again), slotsOf(fresh));
    }
}

} // namespace
