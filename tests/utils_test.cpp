// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixUtils.h"

#include <gtest/gtest.h>

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

} // namespace
