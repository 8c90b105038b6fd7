// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixUtils.h"

#include <climits>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "TestSupport.h"

namespace {

using namespace std::string_literals;

// The escaped form of a text that ends where its block of the heap ends.
std::string encoded(const std::string& text) {
    const ExactBytes plain(text + '\0');
    return shown(MallocText(xmlEncode(plain.data(), nullptr, -1)));
}

std::string decoded(const std::string& text) {
    const ExactBytes bytes(text);
    return shown(MallocText(xmlDecode(bytes.data(), bytes.size())));
}

TEST(Escaping, StepTableKnowsTheLeadBytes) {
    for (int byte = 0; byte < 256; ++byte) {
        const int step = byte == 0 ? 0 : byte < 0xc2 || byte > 0xf4 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
        EXPECT_EQ(xmlStepTable[byte], step) << byte;
    }
}

TEST(Escaping, KnownForms) {
    const auto rows =
        rowsOf(" =>  | abc => abc | \"&'<> => &quot;&amp;&apos;&lt;&gt; | &lt; => &amp;lt; | "
               "\x01\t\n\r\x7f => \x01\t\n\r\x7f | \x80\xbf\xc0\xc1\xf5\xff => \x80\xbf\xc0\xc1\xf5\xff | "
               "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80 => \xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80 | "
               // Whatever follows a lead byte belongs to it, and a cut unit becomes references.
               "\xc3<\xe2\"&\xf4<>' => \xc3<\xe2\"&\xf4<>' | \xc1< => \xc1&lt; | caf\xe9 => caf&#233; | "
               "\xe2\x82 => &#226;&#130; | \xf0\x9f\x98 => &#240;&#159;&#152; | \xf4< => &#244;&#60; | "
               "\xc2 => &#194; | \xdf\xdf\xdf => \xdf\xdf&#223;");
    for (const auto& [plain, escaped] : rows) {
        EXPECT_EQ(encoded(plain), escaped);
        EXPECT_EQ(xmlLen(plain.c_str()), escaped.size()) << escaped;
        for (const int size : {-1, static_cast<int>(escaped.size()), INT_MAX}) {
            std::string appended = "in front";
            xmlEncode(appended, plain.c_str(), size);
            EXPECT_EQ(appended, "in front" + escaped);
            const std::unique_ptr<char[]> buffer(new char[escaped.size() + 1]);
            EXPECT_EQ(xmlEncode(plain.c_str(), buffer.get(), size), buffer.get());
            EXPECT_EQ(buffer.get(), escaped);
        }
    }
}

TEST(Escaping, NullTextsAreNoTexts) {
    EXPECT_EQ(xmlLen(nullptr), 0U);
    char untouched = 'x';
    EXPECT_EQ(xmlEncode(nullptr, nullptr, -1), nullptr);
    EXPECT_EQ(xmlEncode(nullptr, &untouched, 1), nullptr);
    std::string out;
    xmlEncode(out, nullptr, -1);
    EXPECT_EQ(out + untouched, "x");
    EXPECT_EQ(xmlDecode(nullptr, 5), nullptr);
    EXPECT_EQ(xmlNextChar(nullptr), '\0');
    EXPECT_EQ(xmlNextToken(nullptr).kind, VELLIX_TOKEN_EOF);
}

// Walks that look at several bytes at once must see each byte wherever it stands, among few others and among many.
TEST(Escaping, EveryTwoBytesSurviveAlongWithOthers) {
    for (unsigned int first = 1; first < 256; ++first) {
        for (unsigned int second = 1; second < 256; ++second) {
            const std::string two = {static_cast<char>(first), static_cast<char>(second)};
            std::string among(36, second % 2 == 0 ? 'a' : '%');
            among.replace((first + second * 31) % 35, 2, two); // each of them at each place
            for (const std::string& text : {two.substr(1), two, among}) {
                const std::string escaped = encoded(text);
                ASSERT_EQ(xmlLen(text.c_str()), escaped.size()) << first << ' ' << second;
                ASSERT_EQ(decoded(escaped), text) << first << ' ' << second;
            }
        }
    }
}

TEST(Escaping, TooSmallASizeCutsBetweenUnits) {
    const auto plain = split("a|<|\xc3\xa9|\"|b|\xe2\x82\xac|&|\xf0\x9f\x98\x80|'|>|\xf0\x9f\x98", "|");
    const auto escaped =
        split("a|&lt;|\xc3\xa9|&quot;|b|\xe2\x82\xac|&amp;|\xf0\x9f\x98\x80|&apos;|&gt;|&#240;&#159;&#152;", "|");
    std::string text;
    for (const std::string& unit : plain) text += unit;
    const ExactBytes source(text + '\0');
    for (std::size_t size = 0; size <= encoded(text).size() + 1; ++size) {
        std::string fitting;
        std::string counted; // without a buffer the size counts units
        bool fits = true;
        for (std::size_t i = 0; i < escaped.size(); ++i) {
            fits = fits && fitting.size() + escaped[i].size() <= size;
            if (fits) fitting += escaped[i];
            if (i <= size) counted += escaped[i];
        }
        const std::unique_ptr<char[]> buffer(new char[size + 1]);
        EXPECT_EQ(xmlEncode(source.data(), buffer.get(), static_cast<int>(size)), buffer.get()) << size;
        EXPECT_EQ(buffer.get(), fitting) << size;
        EXPECT_EQ(shown(MallocText(xmlEncode(source.data(), nullptr, static_cast<int>(size)))), counted) << size;
    }
}

TEST(Escaping, DecodingReadsReferencesAndRefusesWhatIsNone) {
    const auto rows = rowsOf(" =>  | abc => abc | \0abc =>  | ab\0c& => ab | &amp;amp; => &amp; | "
                             "&quot;&amp;&apos;&lt;&gt; => \"&'<> | &AMP;&Lt;&gT;&QUOT;&aPOS; => &<>\"' | "
                             "&#65;&#x41;&#X41;&#321;&#x141;&#00065; => AAAAAA | &#233;&#xe9;&#XE9; => \xe9\xe9\xe9 | "
                             "&#99999999999999999999; => \xff | &#x123456789abcdef41; => A | "
                             // A lead byte takes the ampersand along.
                             "\xe2&#65; => \xe2&#65; | \xc3& => \xc3& | caf\xe9 => caf\xe9 | \xf0\x9f => \xf0\x9f | "
                             "\xf0\x9f\0& => \xf0\x9f | \x80&lt;\xff => \x80<\xff"s);
    for (const auto& [text, plain] : rows) EXPECT_EQ(decoded(text), plain) << text;
    const std::string bad =
        "a&b|&|&;|&amp|&am\0p;|& amp;|&nbsp;|&lt;&g|ab&#|&#12|&#1\0002;|&#x|&#-1;|&# 5;|&#6a;|&#5:;|&#5/;|"
        "&#xx1;|&#x@;|&#xG;|&#xg;|&#x`;|&#x/;|ok&#65;&#6x;"s;
    for (const std::string& text : split(bad, "|")) EXPECT_EQ(decoded(text), "(null)") << text;
    EXPECT_EQ(shown(MallocText(xmlDecode("&lt;&gt;", 4))), "<") << "the length ends the text";
    EXPECT_EQ(MallocText(xmlDecode("&#12;", 4)), nullptr) << "nor does a semicolon behind the length count";
    EXPECT_EQ(MallocText(xmlDecode("&amp;", 4)), nullptr);
    for (const std::string zero : {"&#;", "&#x;", "&#0;", "&#256;"}) {
        EXPECT_EQ(decoded(zero), "") << zero;
        const MallocText plain(xmlDecode(('a' + zero + 'b').c_str(), static_cast<unsigned long>(zero.size() + 2)));
        ASSERT_TRUE(plain) << zero;
        EXPECT_EQ(std::string(plain.get(), 4), "a\0b\0"s) << zero;
    }
}

// Every token of a text: a letter for its kind and its bytes in brackets.
std::string tokensOf(const std::string& text) {
    const ExactBytes bytes(text);
    XmlStr cursor = cursorOver(bytes);
    std::string all;
    for (VellixToken token = xmlNextToken(&cursor); token.kind != VELLIX_TOKEN_EOF; token = xmlNextToken(&cursor)) {
        all += "wqoce=ps"[token.kind];
        all += "[" + std::string(token.start, token.length) + "]";
    }
    return all;
}

TEST(Scanner, TokensOfTexts) {
    const auto rows = rowsOf(
        " \t\r\n =>  | A='\"'\"\" => w[A]=[=]q['\"']q[\"\"] | \"a\"b c\" => q[\"a\"]w[b]w[c\"] | a//> => w[a/]s[/>] | "
        "/ > => w[/]e[>] | </ET> => c[</]w[ET]e[>] | < /ET => o[<]w[/ET] | a<b>c=d => w[a]o[<]w[b]e[>]w[c]=[=]w[d] | "
        "<?xml version=\"1\"?> => p[<?]w[xml]w[version]=[=]q[\"1\"]w[?]e[>] | <!--a--> => o[<]w[!--a--]e[>] | "
        // A quote without its partner begins a word.
        "\"x<y\" => w[\"x]o[<]w[y\"] | 'a b\"c\" => w['a]w[b\"c\"] | \"= => w[\"]=[=] | "
        // What follows a lead byte belongs to it, up to a NUL or the end of the text.
        "\xc3\xa9=\x80 => w[\xc3\xa9]=[=]w[\x80] | \xf0<> \"x => w[\xf0<> \"x] | \"\xc3\"x\" => q[\"\xc3\"x\"] | "
        "a\xe2 => w[a\xe2] | \"a\0b\" => w[\"a] | \xe2\0== => w[\xe2]"s);
    for (const auto& [text, tokens] : rows) EXPECT_EQ(tokensOf(text), tokens) << text;
}

} // namespace
