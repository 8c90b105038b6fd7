// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixSchema.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <map>
#include <set>
#include <string>

#include "TestSupport.h"

namespace {

constexpr int kTypes = 26;

VELLIX_DOC_TYPE docType(int number) { return static_cast<VELLIX_DOC_TYPE>(number); }

// docs/attributes.md holds the vocabulary itself to what it was.
TEST(Schema, RowsAgreeInThemselves) {
    for (int type = 1; type < kTypes; ++type) {
        const VellixDocTypeRow& row = xmlDocTypeTable[type];
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.nameLen, std::strlen(row.name));
        EXPECT_EQ(row.openTag, std::string("<") + row.name);
        EXPECT_EQ(row.closeTag, std::string("</") + row.name + ">");
        EXPECT_EQ(row.isLeafDoc, (type >= 3 && type <= 8) || type == 15 ? 1 : 0);
        for (unsigned int position = 0; position + 1 < row.mapTagLen; ++position) {
            const VellixMapTag& tag = row.mapTag[position];
            EXPECT_EQ(tag.tagLen, std::strlen(tag.tag)) << tag.tag;
            EXPECT_EQ(tag.tagAssign, std::string(tag.tag) + "=\"");
            EXPECT_EQ(tag.tagAssignLen, std::strlen(tag.tagAssign)) << tag.tag;
        }
    }
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

std::string raised(std::string word) {
    for (char& byte : word) byte = byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
    return word;
}

template <class Value> Value valueAt(const std::map<std::string, Value>& index, const std::string& word) {
    const auto found = index.find(raised(word));
    return found != index.end() ? found->second : Value();
}

// A word in both cases, its starts and ends, what has more in front or behind, and each of its bytes with one bit changed.
void addVariants(std::set<std::string>& all, const std::string& word) {
    std::string other = word;
    for (char& byte : other) byte = std::isalpha(byte) != 0 ? static_cast<char>(byte ^ 0x20) : byte;
    all.insert({word, other, word + word, word + " ", word + std::string(1, '\0'), " " + word, word + "=\""});
    for (std::size_t i = 0; i < word.size(); ++i) {
        all.insert(word.substr(0, i));
        all.insert(word.substr(i));
        for (int bit = 1; bit < 256; bit *= 2) {
            other = word;
            other[i] = static_cast<char>(other[i] ^ bit);
            all.insert(other);
        }
    }
}

TEST(Schema, LookupsByWordFindTheFirstInAnyCase) {
    std::map<std::string, VELLIX_DOC_TYPE> names;
    std::map<std::string, const VellixMapTag*> tags[kTypes];
    std::set<std::string> words = {std::string(100000, 'O')};
    for (int type = 1; type < kTypes; ++type) {
        const VellixDocTypeRow& row = xmlDocTypeTable[type];
        names.emplace(raised(row.name), docType(type));
        addVariants(words, row.name);
        for (unsigned int position = 0; position + 1 < row.mapTagLen; ++position) {
            tags[type].emplace(raised(row.mapTag[position].tag), row.mapTag + position);
            addVariants(words, row.mapTag[position].tag);
        }
    }
    for (const std::string& word : words) {
        const ExactBytes bytes(word);
        EXPECT_EQ(xmlDocTypeByName(bytes.data(), bytes.size()), valueAt(names, word)) << word;
        for (int type = 0; type < kTypes; ++type)
            EXPECT_EQ(xmlRowByTag(docType(type), bytes.data(), bytes.size()), valueAt(tags[type], word)) << word;
    }
}

} // namespace
