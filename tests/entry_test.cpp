// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixEntry.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <new>
#include <string>
#include <utility>

#include "TestSupport.h"
#include "vellix/VellixDoc.h"

namespace {

using namespace std::string_literals;

const std::string kTag = "<ET OP=\"5\" NM=\"a&amp;b\"/>";

VellixEntry sample() {
    VellixEntry entry(VELLIX_DOC_FH);
    entry.addAttribute(6, "a&b");
    entry.addAttribute(0, 5, false);
    return entry;
}

VellixEntry parsed(const std::string& text, VELLIX_DOC_TYPE type = VELLIX_DOC_FH) {
    return VellixEntry(type, text.data(), static_cast<unsigned long>(text.size()), true);
}

TEST(Entry, IsNewWithItsFirstAttributeAtMost) {
    OpenEntry entry;
    EXPECT_TRUE(entry.isEmpty() && entry.isLeaf() && entry.getTotalAttributes() == 78);
    EXPECT_STREQ(entry.getOpenTag(), "");
    EXPECT_STREQ(VellixDoc(VELLIX_DOC_NONE).getCloseTag(), "");
    EXPECT_FALSE(sample().serialize(nullptr, 100));
    EXPECT_EQ(VellixEntry(VELLIX_DOC_FH, 65535, false).toString(), "<ET RT=\"65535\"/>");
    EXPECT_TRUE(VellixEntry(VELLIX_DOC_IMG_ALT_ID_LIST, 7).isEmpty()) << "there is no slot 1";
}

TEST(Entry, OpenTagIsThatOfADocumentWhereOnlyEntriesStand) {
    VellixDoc doc(VELLIX_DOC_FH);
    VellixEntry entry;
    doc.addEntry(entry);
    EXPECT_STREQ(doc.VellixEntry::getOpenTag(), "<CatFH");
    doc.addAttribute(6, "a");
    EXPECT_STREQ(doc.VellixEntry::getOpenTag(), "<ET");
}

TEST(Entry, RowsTellTheirTagLimitAndForm) {
    const OpenEntry entry(VELLIX_DOC_FH);
    const auto rowAt = [&entry](int position) {
        const char* const tag = entry.getAttributeTag(position);
        const auto id = static_cast<unsigned short>(position);
        std::string row = tag != nullptr ? tag : "none";
        for (const int number : {entry.getAttributeTagLen(position), entry.getAttributeMaxLen(position),
                                 int{entry.getDefaultDataType(id)}, int{entry.getEncoding(id)}})
            row += ' ' + std::to_string(number);
        return row;
    };
    EXPECT_EQ(rowAt(39), "TO 2 16384 0 3");
    EXPECT_EQ(rowAt(76), "RI 2 -2 6 6");
    for (const int none : {-1, 77, 78}) EXPECT_EQ(rowAt(none), "none 0 -2 -1 3");
}

// Escaping makes texts up to six times as long, but no slot notes more than INT_MAX. Where lengths have 32 bits the whole
// can be more than they tell.
TEST(Entry, TextsAsLongAsLengthsCanTell) {
    const std::size_t outOfReach = INT_MAX / 6 + 1;
    VellixDoc doc(VELLIX_DOC_FH);
    EXPECT_TRUE(doc.addAttribute(6, std::string(outOfReach, 'a')));
    EXPECT_EQ(doc.VellixEntry::size(), outOfReach + 20);
    std::string quotes(outOfReach, '"');
    EXPECT_FALSE(doc.addAttribute(6, quotes)) << "no slot can note its escaped length";
    EXPECT_EQ(doc.VellixEntry::size(), outOfReach + 20);
    quotes.pop_back();
    EXPECT_TRUE(doc.addAttribute(6, quotes));
    EXPECT_EQ(doc.VellixEntry::size(), quotes.size() * 6 + 20);
    if (sizeof(unsigned long) > 4) return;
    EXPECT_TRUE(doc.addAttribute(7, quotes));
    EXPECT_EQ(doc.VellixEntry::size(), ULONG_MAX);
    EXPECT_EQ(doc.size(), ULONG_MAX);
    if (sizeof(std::size_t) > 4) return; // such a text could be had, at great cost
    std::string text;
    EXPECT_THROW(doc.serialize(text), std::bad_alloc);
    doc.VellixEntry::clear();
    quotes.assign(ULONG_MAX / 6 + 1, '"');
    EXPECT_EQ(xmlLen(quotes.c_str()), ULONG_MAX);
    EXPECT_EQ(MallocText(xmlEncode(quotes.c_str(), nullptr, -1)), nullptr);
}

TEST(Entry, EqualityLooksAtSlotsAlone) {
    EXPECT_TRUE(sample() == parsed(kTag, VELLIX_DOC_SPN));
    EXPECT_TRUE(VellixEntry(VELLIX_DOC_FH) == VellixEntry());
    for (const char* other : {"<ET OP='5' NM='a&amp;b' PT=''/>", "<ET OP='5' PT='a&amp;b'/>",
                              "<ET OP='5' NM='a&amp;c'/>", "<ET OP='5' NM='a&amp;'/>", "<ET NM='a&amp;b'/>"})
        EXPECT_FALSE(sample() == parsed(other)) << other;
}

// An entry that holds something of all that it can.
VellixEntry full() {
    VellixDoc doc(VELLIX_DOC_NONE);
    VellixDoc child;
    VellixEntry entry;
    doc.parseAttrXMLString(kTag.data(), static_cast<unsigned long>(kTag.size()));
    doc.addEntry(entry);
    doc.addEntry(entry);
    doc.addChildDoc(child);
    doc.setError(VELLIX_ERR_SYNTAX);
    return static_cast<const VellixEntry&>(doc);
}
constexpr const char* kFull = "15 ET closed 6 1+2 0=5; 6=a&b";

// Type, name, mark, error, counters and values.
std::string stateOf(const VellixEntry& entry) {
    const char* const name = entry.getEntryName();
    return std::to_string(entry.getType()) + (name != nullptr ? " "s + name : "") +
           (entry.isEntryClosed() ? " closed " : " ") + std::to_string(entry.getLastError()) + ' ' +
           std::to_string(entry.getNumberOfChildDocs()) + '+' + std::to_string(entry.getNumberOfEntries()) + ' ' +
           slotsOf(entry);
}

// Assignments go into an entry that held something else and keep its error.
TEST(Entry, CopiesAndMovesTakeTheContentOver) {
    for (const bool moves : {false, true}) {
        SCOPED_TRACE(moves);
        VellixEntry source = full();
        const char* const value = source.getAttribute(6);
        VellixEntry made = moves ? VellixEntry(std::move(source)) : VellixEntry(std::as_const(source));
        EXPECT_EQ(stateOf(made), kFull);
        VellixEntry target = parsed("<CatImage ST=\"1\" NM=\"b\">", VELLIX_DOC_IMAGE);
        target.setError(VELLIX_ERR_OUT_OF_RANGE);
        if (moves) {
            target = std::move(made);
        } else {
            target = made;
        }
        EXPECT_EQ(target.getAttribute(6) == value, moves) << "what was handed out goes along";
        const std::string next = "<CatFH NM='b'>";
        for (VellixEntry* const left : {&source, &made}) {
            EXPECT_EQ(stateOf(*left), moves ? "0 0 0+0 " : kFull);
            left->parseAttrXMLString(next.data(), static_cast<unsigned long>(next.size()));
            EXPECT_EQ(stateOf(*left), moves ? "3 CatFH 0 0+0 6=b" : "15 ET closed 6 1+2 0=5; 6=b");
        }
        VellixEntry& itself = target;
        target = itself;
        target = std::move(itself);
        EXPECT_EQ(stateOf(target), "15 ET closed 3 1+2 0=5; 6=a&b");
        target = VellixEntry();
        EXPECT_EQ(stateOf(target), "0 3 0+0 ");
    }
}

TEST(Entry, ClearKeepsErrorAndMarkAndLoadingKeepsNothing) {
    VellixEntry entry = full();
    entry.clear();
    EXPECT_EQ(stateOf(entry), "0 closed 6 0+0 ");
    entry = full();
    entry.setType(VELLIX_DOC_FH);
    entry.addAttribute(7, "<ET NM='of its own' SZ='7'>");
    entry.loadFromBuffer(VELLIX_DOC_FH, entry.getAttribute(7), 27, true);
    EXPECT_EQ(stateOf(entry), "3 ET 0 0+0 6=of its own; 9=7");
    entry.setError(VELLIX_ERR_SYNTAX);
    entry.loadFromBuffer(VELLIX_DOC_IMAGE, nullptr, 5, true);
    EXPECT_EQ(stateOf(entry), "9 0 0+0 ");
}

} // namespace
