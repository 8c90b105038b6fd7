// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixSchema.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "TestSupport.h"

namespace {

constexpr int kTypes = 26;

VELLIX_DOC_TYPE docType(int number) { return static_cast<VELLIX_DOC_TYPE>(number); }

// docs/attributes.md holds the vocabulary itself to what it was.
TEST(Schema, TypesWithoutChildDocumentsAreLeaves) {
    for (int number = 0; number <= kTypes; ++number)
        EXPECT_EQ(VellixEntry(docType(number)).isLeafDoc(), (number >= 3 && number <= 8) || number == 15) << number;
}

TEST(Schema, NumberThatIsNoTypeHasTheRowOfNone) {
    for (const int number : {-2147483647 - 1, -1, 0, kTypes, kTypes + 1, 2147483647}) {
        const VELLIX_DOC_TYPE type = docType(number);
        EXPECT_EQ(&xmlDocTypeRow(type), &xmlDocTypeTable[0]) << number;
        EXPECT_TRUE(xmlRowAt(type, 0) == nullptr && xmlRowById(type, 0) == nullptr) << number;
        EXPECT_EQ(xmlRowByTag(type, "OP", 2), nullptr) << number;
        EXPECT_EQ(VellixEntry::getXmlMapTag(type), nullptr) << number;
        EXPECT_EQ(VellixEntry::getXmlMapTagLen(type), 0U) << number;
        EXPECT_EQ(VellixEntry(type).toString(), "") << number;
    }
}

const VellixMapTag* firstRow(VELLIX_DOC_TYPE type, const std::string& tag) {
    unsigned int position = 0;
    while (xmlRowAt(type, position) != nullptr && !sameInAnyCase(tag, xmlRowAt(type, position)->tag)) ++position;
    return xmlRowAt(type, position);
}

VELLIX_DOC_TYPE firstType(const std::string& name) {
    int type = 1;
    while (type < kTypes && !sameInAnyCase(name, xmlDocTypeTable[type].name)) ++type;
    return docType(type % kTypes);
}

// A word, its beginnings, what has more in front or behind, and each of its bytes with one bit changed.
void addVariants(std::set<std::string>& all, const std::string& word) {
    all.insert({word, word + word, word + " ", word + std::string(1, '\0'), " " + word, word + "=\""});
    for (std::size_t i = 0; i < word.size(); ++i) {
        all.insert(word.substr(0, i));
        for (int bit = 1; bit < 256; bit *= 2) {
            std::string other = word;
            other[i] = static_cast<char>(other[i] ^ bit);
            all.insert(other);
        }
    }
}

TEST(Schema, LookupsByWordFindTheFirstInAnyCase) {
    EXPECT_EQ(xmlDocTypeByName(nullptr, 2), VELLIX_DOC_NONE);
    EXPECT_EQ(xmlRowByTag(VELLIX_DOC_FH, nullptr, 2), nullptr);
    std::set<std::string> words = {std::string(100000, 'O'), "iMAGE_cONSTR_and"};
    for (int type = 1; type < kTypes; ++type) {
        addVariants(words, xmlDocTypeTable[type].name);
        for (unsigned int i = 0; xmlRowAt(docType(type), i) != nullptr; ++i)
            addVariants(words, xmlRowAt(docType(type), i)->tag);
    }
    for (const std::string& word : words) {
        const ExactBytes bytes(word);
        EXPECT_EQ(xmlDocTypeByName(bytes.data(), bytes.size()), firstType(word)) << word;
        for (int type = 0; type < kTypes; ++type)
            EXPECT_EQ(xmlRowByTag(docType(type), bytes.data(), bytes.size()), firstRow(docType(type), word)) << word;
    }
}

} // namespace
