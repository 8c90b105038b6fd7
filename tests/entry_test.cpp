// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixEntry.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"
#include "vellix/VellixDoc.h"

namespace {

using namespace std::string_literals;
using Ids = std::vector<unsigned short>;

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

TEST(Entry, WithoutATypeThereIsNoTextAndNoSlot) {
    OpenEntry entry;
    std::string out = "kept";
    EXPECT_FALSE(entry.serialize(out) || sample().serialize(nullptr, 100));
    EXPECT_EQ(out, "kept");
    EXPECT_EQ(entry.size(), 0U);
    EXPECT_STREQ(entry.getOpenTag(), "");
    EXPECT_STREQ(VellixDoc(VELLIX_DOC_NONE).getCloseTag(), "");
    EXPECT_EQ(entry.toString(), "");
    EXPECT_FALSE(entry.addAttribute(0, "value") || entry.addAttribute(0, 5, false) || entry.addAttribute_s(0, "value"));
    EXPECT_TRUE(entry.isEmpty() && entry.isLeaf() && entry.getTotalAttributes() == 78);
    EXPECT_EQ(VellixEntry(VELLIX_DOC_FH, 65535, false).toString(), "<ET RT=\"65535\"/>");
    EXPECT_TRUE(VellixEntry(VELLIX_DOC_IMG_ALT_ID_LIST, 7).isEmpty()) << "there is no slot 1";
}

TEST(Entry, OpenTagIsThatOfADocumentWhereOnlyEntriesStand) {
    VellixDoc doc(VELLIX_DOC_FH);
    EXPECT_STREQ(doc.VellixEntry::getOpenTag(), "<ET");
    VellixEntry entry = sample();
    doc.addEntry(entry);
    EXPECT_STREQ(doc.VellixEntry::getOpenTag(), "<CatFH");
    doc.addAttribute(6, "a");
    EXPECT_STREQ(doc.VellixEntry::getOpenTag(), "<ET");
}

TEST(Entry, TextGettersGiveTheSlotOrLeaveTheirArgument) {
    VellixEntry entry = sample();
    entry.addAttribute(7, "");
    entry.removeAttribute(7);
    char* copy = nullptr;
    int length = -7;
    std::string text = "kept";
    for (const unsigned short id : Ids{1, 7, 77, 78, 65535}) {
        EXPECT_EQ(entry.getAttribute(id), nullptr) << id;
        EXPECT_FALSE(entry.getAttribute(id, copy, length) || entry.getAttribute(id, text)) << id;
        EXPECT_FALSE(entry.getAttributeXmlEncoded(id, text)) << id;
        EXPECT_EQ(entry.getAttributeStr(id), "") << id;
        EXPECT_EQ(entry.getAttributeView(id).data(), nullptr) << id;
    }
    EXPECT_EQ(text, "kept");
    ASSERT_TRUE(entry.getAttribute(6, copy, length));
    EXPECT_EQ(shown(MallocText(copy)), "a&b");
    EXPECT_EQ(length, 3);
    EXPECT_TRUE(entry.getAttributeXmlEncoded(6, text));
    EXPECT_EQ(text, "a&amp;b");
    EXPECT_TRUE(entry.getAttribute(6, text));
    EXPECT_EQ(text, "a&b");
    EXPECT_TRUE(entry.addAttribute(6, entry.getAttribute(6) + 1) && entry.addAttribute(7, entry.getAttributeStr(6)));
    EXPECT_EQ(slotsOf(entry), "0=5; 6=&b; 7=&b") << "a value may come from the slot that it goes to";
}

// The cut may leave part of a character; the tag still ends where it should, wherever the value came from.
TEST(Entry, LimitedAttributesAreCutInBytes) {
    const std::string most(16383, 'a');
    for (const std::string& tag : {"TO"s, "CC"s, "BCC"s}) {
        const std::string text = "<ET " + tag + "=\"" + most + "&#195;\" RI=\".\"/>";
        VellixEntry given(VELLIX_DOC_FH);
        given.addAttribute(tag.data(), static_cast<unsigned int>(tag.size()), (most + "\xc3\xa9").c_str());
        given.addAttribute(76, 0, false);
        for (const VellixEntry& entry :
             {given, parsed("<ET " + tag + "=\"" + most + "\xc3\xa9\" RI='.'/>"), parsed(text)}) {
            EXPECT_EQ(entry.toString(), text);
            EXPECT_EQ(entry.size(), text.size());
            EXPECT_TRUE(entry == given);
        }
    }
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
    char room[8] = {};
    EXPECT_FALSE(doc.VellixEntry::serialize(room, 7));
    EXPECT_STREQ(room, "<CatFH ");
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
        for (const bool assigns : {false, true}) {
            SCOPED_TRACE((moves ? "moves, " : "copies, ") + std::to_string(assigns));
            VellixEntry source = full();
            const char* const value = source.getAttribute(6);
            VellixEntry target = assigns ? parsed("<CatImage ST=\"1\" NM=\"b\">", VELLIX_DOC_IMAGE)
                                 : moves ? VellixEntry(std::move(source))
                                         : VellixEntry(std::as_const(source));
            if (assigns) target.setError(VELLIX_ERR_OUT_OF_RANGE);
            if (assigns && moves) target = std::move(source);
            if (assigns && !moves) target = source;
            const std::string expected = assigns ? "15 ET closed 3 1+2 0=5; 6=a&b" : kFull;
            EXPECT_EQ(stateOf(target), expected);
            EXPECT_EQ(stateOf(source), moves ? "0 0 0+0 " : kFull);
            EXPECT_EQ(target.getAttribute(6) == value, moves) << "what was handed out goes along";
            const std::string next = "<CatFH NM='b'>";
            source.parseAttrXMLString(next.data(), static_cast<unsigned long>(next.size()));
            EXPECT_EQ(stateOf(source), moves ? "3 CatFH 0 0+0 6=b" : "15 ET closed 6 1+2 0=5; 6=b");
            VellixEntry& itself = target;
            target = itself;
            EXPECT_EQ(stateOf(target), expected);
            target = std::move(itself);
            EXPECT_EQ(stateOf(target), expected);
            target = VellixEntry();
            EXPECT_EQ(stateOf(target), assigns ? "0 3 0+0 " : "0 6 0+0 ");
        }
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

TEST(Entry, ASlotThatTheTypeHasNotTakesNoValueAndShowsWhatItHolds) {
    VellixEntry entry(VELLIX_DOC_FH);
    for (const unsigned short id : Ids{6, 30}) entry.addAttribute(id, "v<");
    entry.setType(VELLIX_DOC_IMAGE_CHAIN);
    EXPECT_FALSE(entry.addAttribute(30, "new") || entry.addAttribute(30, 5, false));
    EXPECT_EQ(slotsOf(entry), "6=v<; 30=v<");
    EXPECT_FALSE(entry.addAttribute(30, static_cast<const char*>(nullptr)));
    EXPECT_EQ(slotsOf(entry), "6=v<") << "but it can be emptied";
    EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
}

} // namespace
