// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "vellix/VellixEntry.h"

namespace {

using namespace std::string_literals;

constexpr VELLIX_DOC_TYPE kFh = VELLIX_DOC_FH;

// What the operations find of one attribute: by the rules of a parse, and by its bytes up to the closing quote.
struct Row {
    int type;
    unsigned short id;
    std::string text;
    const char* plain;
    const char* fast;
};

TEST(Extract, SingleAttributes) {
    constexpr const char* kNone = "(null)";
    const Row rows[] = {
        {kFh, 6, "<ET OP=\"5\" NM=\"a&amp;b\"/>", "a&b", "a&amp;b"},
        {kFh, 0, "<ET OP=\"5\" NM=\"a&amp;b\"/>", "5", "5"},
        {kFh, 0, "<ET OP = '5'/>", "5", kNone},
        {kFh, 0, "<ET NM=\"a>b\" OP=\"5\"/>", "5", kNone},
        {kFh, 0, "<ET OP=\"5", "\"5", kNone}, // no closing quote: a bare word for the parse
        {kFh, 0, "<ET NM=\"x\"/><ET OP=\"5\"/>", kNone, kNone},
        {kFh, 0, "<OP=\"1\" OP=\"2\"/>", "1", "1"}, // the tag word goes through the same states
        {kFh, 14, "<ET RST=\"1\" ST=\"2\"/>", "2", "1"},
        {kFh, 6, "<ET NM=\"a&b\"/>", kNone, "a&b"},
        {kFh, 0, "<ET NM=\"a&b\" OP=\"5\"/>", "5", "5"},               // other values aren't looked at
        {kFh, 6, "<ET NM=\"&#65;\xe9\"/>", "\"A\xe9\"/", "&#65;\xe9"}, // a lead byte takes the quote along
        {kFh, 0, "<ET NM=\"\0\" OP=\"5\"/>"s, kNone, kNone},
        {VELLIX_DOC_SEARCH_CRITERIA, 9, "<SC SD=\"1\" NC=\"2\"/>", "2", "2"},
        {VELLIX_DOC_FRAG, 19, "<CatFrag FN=\"1\" FN=\"2\"/>", "1", "1"},
        {kFh, 77, "<ET OP=\"1\"/>", kNone, kNone},
        {26, 0, "<ET OP=\"1\"/>", kNone, kNone},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text + " " + std::to_string(row.id));
        const auto type = static_cast<VELLIX_DOC_TYPE>(row.type);
        const ExactBytes bytes(row.text);
        const ExactBytes terminated(row.text + '\0');
        EXPECT_EQ(shown(MallocText(VellixEntry::parseAttribute(type, row.id, bytes.data(), bytes.size(), true))),
                  row.plain);
        const MallocText copy(VellixEntry::parseAttributeFast_str(type, row.id, terminated.data(), false));
        EXPECT_EQ(shown(copy), row.fast);
        const char* const found = VellixEntry::parseAttributeFast_ptr(type, row.id, terminated.data(), true);
        EXPECT_EQ(copy != nullptr, found != nullptr && std::strchr(found, '"') != nullptr);
        EXPECT_TRUE(!copy || std::strncmp(found, copy.get(), std::strlen(copy.get())) == 0);
    }
    EXPECT_EQ(VellixEntry::parseAttribute(kFh, 6, nullptr, 5, true), nullptr);
    EXPECT_EQ(VellixEntry::parseAttributeFast_str(kFh, 6, nullptr, true), nullptr);
}

void checkSearch(const std::string& text, const std::string& pattern) {
    const ExactBytes bytes(text + '\0');
    const std::size_t at = text.find(pattern);
    const bool found = pattern.empty() || at < text.find('>');
    ASSERT_EQ(VellixEntry::attr_strstr(bytes.data(), pattern.c_str()), found ? bytes.data() + at : nullptr)
        << text << ' ' << pattern;
}

// Texts are made of pieces of the pattern, so that they match far and in many ways before they don't.
TEST(Extract, SearchFindsTheFirstPlaceBeforeTheFirstBracket) {
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
            ASSERT_NO_FATAL_FAILURE(checkSearch(text, pattern));
            ASSERT_NO_FATAL_FAILURE(checkSearch(text, pattern + ">"));
        }
        patterns.insert(patterns.end(), {pattern + 'a', pattern + 'b'});
    }
    EXPECT_EQ(VellixEntry::attr_strstr(nullptr, "a"), nullptr);
    EXPECT_EQ(VellixEntry::attr_strstr("a", nullptr), nullptr);
}

} // namespace
