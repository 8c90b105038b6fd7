// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixEntry.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "FileSupport.h"
#include "TempDir.h"

namespace {

using namespace std::string_literals;

constexpr const char* kTag = "<ET OP=\"5\" NM=\"a&amp;b\"/>";

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
    EXPECT_FALSE(entry.serialize(out));
    EXPECT_EQ(out, "kept");
    EXPECT_EQ(entry.size(), 0U);
    EXPECT_STREQ(entry.getOpenTag(), "");
    EXPECT_EQ(entry.toString(), "");
    EXPECT_FALSE(entry.addAttribute(0, "value") || entry.addAttribute(0, 5, false) || entry.addAttribute_s(0, "value"));
    EXPECT_TRUE(entry.isEmpty() && entry.isLeaf());
    EXPECT_EQ(VellixEntry(VELLIX_DOC_FH, 65535, false).toString(), "<ET RT=\"65535\"/>");
    EXPECT_TRUE(VellixEntry(VELLIX_DOC_IMG_ALT_ID_LIST, 7).isEmpty()) << "there is no slot 1";
}

TEST(Entry, UntestedSetterTakesAnyTextWhereThereIsAnAttribute) {
    OpenEntry entry(VELLIX_DOC_FH);
    for (const unsigned short slot : std::vector<unsigned short>{0, 63, 64, 76})
        EXPECT_TRUE(entry.addAttribute_s(slot, "no number"));
    EXPECT_FALSE(entry.addAttribute_s(77, "x") || entry.addAttribute_s(78, "x"));
    EXPECT_EQ(slotsOf(entry), "0=no number; 63=no number; 64=no number; 76=no number");
    EXPECT_FALSE(entry.addAttribute_s(63, nullptr) || entry.removeAttribute(78));
    EXPECT_TRUE(entry.removeAttribute(64) && entry.removeAttribute(64) && entry.removeAttribute(77));
    EXPECT_EQ(entry.toString(), "<ET OP=\"no number\" RI=\"no number\"/>");
    EXPECT_EQ(entry.getNumberOfAttributes(), 2);
    EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
}

TEST(Entry, TextGettersGiveTheSlotOrLeaveTheirArgument) {
    VellixEntry entry = sample();
    entry.addAttribute(7, "");
    char* copy = nullptr;
    int length = -7;
    std::string text = "kept";
    for (const unsigned short id : std::vector<unsigned short>{1, 77, 78, 65535}) {
        EXPECT_EQ(entry.getAttribute(id), nullptr) << id;
        EXPECT_FALSE(entry.getAttribute(id, copy, length) || entry.getAttribute(id, text)) << id;
        EXPECT_FALSE(entry.getAttributeXmlEncoded(id, text)) << id;
        EXPECT_EQ(entry.getAttributeStr(id), "") << id;
    }
    EXPECT_EQ(text, "kept");
    ASSERT_TRUE(entry.getAttribute(6, copy, length));
    EXPECT_EQ(shown(MallocText(copy)), "a&b");
    EXPECT_EQ(length, 3);
    EXPECT_TRUE(entry.getAttributeXmlEncoded(6, text));
    EXPECT_EQ(text, "a&amp;b");
    EXPECT_TRUE(entry.getAttribute(6, text));
    EXPECT_EQ(text, "a&b");
    entry.removeAttribute(6);
    EXPECT_EQ(entry.getAttributeStr(6), "") << "an absent slot shows nothing of what it held";
    // A value may come from the slot that it goes to.
    entry.addAttribute(6, "its own");
    EXPECT_TRUE(entry.addAttribute(6, entry.getAttribute(6) + 4));
    EXPECT_TRUE(entry.addAttribute(7, entry.getAttributeStr(6)));
    EXPECT_EQ(slotsOf(entry), "0=5; 6=own; 7=own");
}

TEST(Entry, LimitedAttributesAreCutInBytes) {
    const std::string full(16384, 'a');
    for (const unsigned short id : std::vector<unsigned short>{39, 40, 41}) {
        for (const std::string& tail : {""s, "b"s, "\xc3\xa9"s, "<"s}) {
            VellixEntry entry(VELLIX_DOC_FH);
            EXPECT_TRUE(entry.addAttribute(id, full + tail));
            EXPECT_EQ(entry.getAttributeStr(id), full) << id << tail;
        }
    }
    // The cut may leave part of a character; the tag still ends where it should, wherever the value came from.
    const std::string split = full.substr(1) + "\xc3\xa9";
    const std::string text = "<ET TO=\"" + full.substr(1) + "&#195;\" CC=\"next\"/>";
    const std::string whole = "<ET TO=\"" + split + "\" CC=\"next\"/>";
    VellixEntry given(VELLIX_DOC_FH);
    given.addAttribute("TO", 2, split.c_str());
    given.addAttribute(40, "next");
    for (const VellixEntry& entry : {given, parsed(whole), parsed(text)}) {
        EXPECT_EQ(entry.toString(), text);
        EXPECT_EQ(entry.size(), text.size());
        EXPECT_TRUE(entry == given);
    }
}

TEST(Entry, RowsTellTheirTagLimitAndForm) {
    const OpenEntry entry(VELLIX_DOC_FH);
    EXPECT_STREQ(entry.getAttributeTag(39), "TO");
    EXPECT_EQ(entry.getAttributeTagLen(39), 2);
    EXPECT_EQ(entry.getAttributeMaxLen(39), 16384);
    EXPECT_EQ(entry.getDefaultDataType(39), VELLIX_TYPE_STRING);
    EXPECT_EQ(entry.getEncoding(9), xmlRowById(VELLIX_DOC_FH, 9)->encoding);
    for (const int none : {-1, 77, 78}) {
        EXPECT_EQ(entry.getAttributeTag(none), nullptr);
        EXPECT_EQ(entry.getAttributeTagLen(none), 0);
        EXPECT_EQ(entry.getAttributeMaxLen(none), -2);
        EXPECT_EQ(entry.getDefaultDataType(static_cast<unsigned short>(none)), -1);
        EXPECT_EQ(entry.getEncoding(static_cast<unsigned short>(none)), VELLIX_ENC_DECIMAL);
    }
}

TEST(Entry, ValuesOfHundredsOfMegabytes) {
    VellixEntry entry = sample();
    const std::string value(INT_MAX / 6 + 1, 'a');
    EXPECT_TRUE(entry.addAttribute(6, value));
    EXPECT_EQ(entry.size(), std::string(kTag).size() - 7 + value.size());
}

// Every room from none to more than enough: what fits of the pieces stands there, and nothing behind it is touched.
TEST(Entry, BufferFormStopsAtThePieceThatDoesNotFit) {
    const VellixEntry entry = sample();
    const std::vector<std::string> pieces = {"<ET", " ",  "OP",  "=\"",     "5",  "\"",
                                             " ",   "NM", "=\"", "a&amp;b", "\"", "/>"};
    ASSERT_EQ(entry.size(), std::string(kTag).size());
    for (unsigned long room = 0; room <= entry.size() + 2; ++room) {
        std::string fitting;
        for (const std::string& piece : pieces) {
            if (fitting.size() + piece.size() > room) break;
            fitting += piece;
        }
        const std::unique_ptr<char[]> buffer(new char[room + 1]);
        EXPECT_EQ(entry.serialize(buffer.get(), room), room >= entry.size()) << room;
        EXPECT_EQ(buffer.get(), fitting) << room;
    }
    EXPECT_FALSE(entry.serialize(nullptr, 100));
    EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
}

TEST(Entry, EscapingTheSlotsChangesNoText) {
    for (const char* value : {"a&b", "plain", "", "&amp;", "caf\xe9", "\xc3\xa9<", "<<<<"}) {
        VellixEntry entry(VELLIX_DOC_FH);
        entry.addAttribute(6, value);
        entry.addAttribute(0, 5, false);
        const std::string text = entry.toString();
        const MallocText escaped(xmlEncode(value, nullptr, -1));
        const MallocText again(xmlEncode(escaped.get(), nullptr, -1));
        for (int time = 0; time < 2; ++time) {
            entry.encodingAttributes();
            EXPECT_STREQ(entry.getAttribute(6), escaped.get());
            EXPECT_EQ(entry.size(), text.size());
            EXPECT_EQ(entry.toString(), text);
            std::string form;
            EXPECT_TRUE(entry.getAttributeXmlEncoded(6, form));
            EXPECT_EQ(form, again.get());
        }
        // Copies keep the form, and a new value is escaped again.
        VellixEntry copy = entry;
        EXPECT_EQ(copy.toString(), text);
        copy.addAttribute(6, value);
        EXPECT_EQ(copy.toString(), text);
        EXPECT_EQ(copy == entry, std::string(value) == escaped.get());
    }
}

// Escaping makes texts up to six times as long. Where lengths have 32 bits that can be more than they can tell.
TEST(Entry, TextsLongerThan32BitsCanTell) {
    if (sizeof(unsigned long) > 4) GTEST_SKIP();
    const bool outOfReach = sizeof(std::size_t) == 4; // elsewhere such a text could be had, at great cost
    std::string quotes(ULONG_MAX / 6 + 1, '"');
    EXPECT_EQ(xmlLen(quotes.c_str()), ULONG_MAX);
    if (outOfReach) {
        EXPECT_EQ(MallocText(xmlEncode(quotes.c_str(), nullptr, -1)), nullptr);
    }
    quotes.resize(INT_MAX / 6 + 1);
    quotes.shrink_to_fit();
    VellixDoc doc(VELLIX_DOC_FH);
    EXPECT_FALSE(doc.addAttribute(6, quotes)) << "no slot can note its escaped length";
    EXPECT_TRUE(doc.isEmpty());
    quotes.pop_back();
    EXPECT_TRUE(doc.addAttribute(6, quotes) && doc.addAttribute(7, quotes));
    EXPECT_EQ(doc.VellixEntry::size(), ULONG_MAX);
    EXPECT_EQ(doc.size(), ULONG_MAX);
    char room[8] = {};
    EXPECT_FALSE(doc.VellixEntry::serialize(room, 7));
    EXPECT_STREQ(room, "<CatFH ");
    char* cursor = room;
    unsigned long left = 8;
    EXPECT_FALSE(doc.serialize(cursor, left));
    if (!outOfReach) return;
    std::string text;
    EXPECT_THROW(doc.serialize(text), std::bad_alloc);
    const TempDir directory;
    VellixWriter writer(VELLIX_DOC_FH);
    EXPECT_TRUE(writer.create(directory.wide("catalog.xml").c_str()));
    EXPECT_FALSE(writer.write(doc));
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_OUT_OF_RANGE);
}

TEST(Entry, CopyThatTakesNoValue) {
    const VellixEntry entry = parsed(kTag, VELLIX_DOC_FH);
    VellixEntry copy(entry);
    copy = entry;
    EXPECT_TRUE(copy == entry);
    EXPECT_TRUE(copy.removeAttribute(6) && copy.removeAttribute(6));
    EXPECT_EQ(copy.getAttribute(6), nullptr);
    EXPECT_EQ(copy.getNumberOfAttributes(), entry.getNumberOfAttributes() - 1);
    copy = entry;
    EXPECT_EQ(copy.toString(), entry.toString());
    EXPECT_STREQ(VellixDoc(VELLIX_DOC_NONE).getCloseTag(), "");
}

TEST(Entry, EqualityLooksAtSlotsAlone) {
    VellixEntry left = sample();
    const VellixEntry right = parsed(kTag, VELLIX_DOC_SPN);
    EXPECT_TRUE(left == right);
    left.addAttribute(7, "");
    EXPECT_FALSE(left == right);
    left.removeAttribute(6);
    EXPECT_FALSE(left == right) << "other slots, as many";
    left.removeAttribute(7);
    left.addAttribute(6, "a&c");
    EXPECT_FALSE(left == right);
    EXPECT_TRUE(VellixEntry(VELLIX_DOC_FH) == VellixEntry());
}

// Copies, moves and assignments, into an entry that held something else.
TEST(Entry, CopiesAndMovesTakeTheContentOver) {
    VellixEntry source = parsed(kTag, VELLIX_DOC_NONE);
    source.setError(VELLIX_ERR_SYNTAX);
    const auto holdsSample = [](const VellixEntry& entry) {
        EXPECT_EQ(entry.getType(), VELLIX_DOC_ET);
        EXPECT_STREQ(entry.getEntryName(), "ET");
        EXPECT_TRUE(entry.isEntryClosed());
        EXPECT_EQ(entry.getNumberOfAttributes(), 2);
        EXPECT_EQ(entry.toString(), kTag);
    };
    const VellixEntry other = parsed("<CatImage ST=\"1\" NM=\"b\">", VELLIX_DOC_IMAGE);
    VellixEntry copy(source);
    holdsSample(copy);
    EXPECT_EQ(copy.getLastError(), VELLIX_ERR_SYNTAX);

    VellixEntry assigned = other;
    assigned.setError(VELLIX_ERR_OUT_OF_RANGE);
    assigned = source;
    holdsSample(assigned);
    VellixEntry& itself = assigned;
    assigned = itself;
    holdsSample(assigned);
    assigned = std::move(itself);
    holdsSample(assigned);
    EXPECT_EQ(assigned.getLastError(), VELLIX_ERR_OUT_OF_RANGE);

    VellixEntry moved(std::move(copy));
    holdsSample(moved);
    EXPECT_EQ(moved.getLastError(), VELLIX_ERR_SYNTAX);
    VellixEntry target = other;
    target = std::move(moved);
    holdsSample(target);
    moved = source; // an entry that was moved from can be assigned to
    holdsSample(moved);
    holdsSample(source);
    target = VellixEntry();
    EXPECT_TRUE(target.isEmpty());
    EXPECT_EQ(target.getEntryName(), nullptr);
}

TEST(Entry, AnEntryThatWasMovedFromIsNew) {
    VellixEntry entry = parsed(kTag);
    for (int way = 0; way < 2; ++way) {
        entry.setError(VELLIX_ERR_SYNTAX);
        const char* const name = entry.getAttribute(6);
        VellixEntry target;
        if (way == 0) {
            target = std::move(entry);
        } else {
            target = VellixEntry(std::move(entry));
        }
        EXPECT_EQ(target.getAttribute(6), name) << "what was handed out went along";
        EXPECT_TRUE(entry.isEmpty() && !entry.isEntryClosed() && entry == VellixEntry());
        EXPECT_EQ(entry.getType(), VELLIX_DOC_NONE);
        EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
        EXPECT_EQ(entry.getEntryName(), nullptr);
        EXPECT_EQ(entry.getTotalAttributes(), 78);
        entry.setType(VELLIX_DOC_FH);
        EXPECT_TRUE(entry.addAttribute(6, "a&b") && entry.addAttribute(0, 5, false));
        EXPECT_EQ(entry.toString(), kTag);
        EXPECT_EQ(target.toString(), kTag);
    }
}

// A copy has just the memory that it needs, so that every value below finds none.
TEST(Entry, WhatIsHandedOutStaysWhateverOtherSlotsDo) {
    VellixEntry entry = sample();
    const std::string large(200000, 'x');
    for (const bool isCopy : {false, true}) {
        VellixEntry target = isCopy ? VellixEntry(static_cast<const VellixEntry&>(entry)) : std::move(entry);
        const char* const name = target.getAttribute(6);
        const std::string& string = target.getAttributeStr(6);
        EXPECT_TRUE(target.addAttribute(70, 1U, false) && target.addAttribute(7, name) &&
                    target.addAttribute(8, large));
        EXPECT_TRUE(target.addAttribute(19, target.getAttribute(8) + large.size() - 2));
        EXPECT_TRUE(target.addAttribute(8, target.getAttribute(8) + large.size() - 1));
        for (std::size_t i = 0; i < 1000; ++i) target.addAttribute(30, std::string(i, 'y'));
        target.getAttributeStr(76);
        target.removeAttribute(0);
        EXPECT_EQ(target.getAttribute(6), name);
        EXPECT_EQ(&target.getAttributeStr(6), &string);
        EXPECT_EQ(string, "a&b");
        EXPECT_EQ(slotsOf(target), "6=a&b; 7=a&b; 8=x; 19=xx; 30=" + std::string(999, 'y') + "; 70=1");
        EXPECT_TRUE(target.addAttribute(6, target.getAttributeStr(6).c_str() + 1));
        EXPECT_EQ(target.getAttributeStr(6), "&b");
        EXPECT_EQ(target.getAttributeView(6), "&b");
        target.loadFromBuffer(VELLIX_DOC_FH, kTag, static_cast<unsigned long>(std::strlen(kTag)), true);
        entry = target;
        target.addAttribute(7, "<ET NM='of its own' SZ='7'/>");
        target.loadFromBuffer(VELLIX_DOC_FH, target.getAttribute(7), 28, true);
        EXPECT_EQ(slotsOf(target), "6=of its own; 9=7");
        EXPECT_EQ(target.getAttributeView(7).data(), nullptr);
    }
}

// What is stored first may go where the rest of the tag stood.
TEST(Entry, ATagThatTheEntryHoldsItselfIsReadAsAnyOther) {
    const std::string tag = "<ET PT='longer than what it replaces' NM='" + std::string(3000, 'n') + "' SZ='7' OP='o'/>";
    for (const bool isString : {false, true}) {
        for (const char* const front : {"", "so long that it takes another place than what follows: "}) {
            VellixEntry entry(VELLIX_DOC_FH);
            const std::string held = front + tag + "<ET NM='next'/>";
            entry.addAttribute(7, held);
            XmlStr cursor;
            cursor.buffer = isString ? entry.getAttributeStr(7).c_str() : entry.getAttribute(7);
            cursor.length = static_cast<unsigned long>(held.size());
            cursor.position = static_cast<unsigned long>(std::strlen(front));
            VellixEntry copy = entry;
            EXPECT_EQ(entry.parseAttrXMLString(&cursor), VELLIX_SUCCESS);
            EXPECT_EQ(cursor.position, std::strlen(front) + tag.size());
            EXPECT_EQ(copy.parseAttrXMLString(tag.c_str(), static_cast<unsigned long>(tag.size())), VELLIX_SUCCESS);
            EXPECT_EQ(entry.toString(), copy.toString());
            entry.addAttribute(7, tag);
            const char* const own = isString ? entry.getAttributeStr(7).c_str() : entry.getAttribute(7);
            EXPECT_EQ(entry.parseAttrXMLString(own, static_cast<unsigned long>(tag.size())), VELLIX_SUCCESS);
            EXPECT_EQ(entry.toString(), copy.toString());
        }
    }
}

TEST(Entry, ClearKeepsErrorAndMark) {
    VellixEntry entry = parsed(kTag);
    entry.setError(VELLIX_ERR_SYNTAX);
    entry.clear();
    EXPECT_EQ(entry.getType(), VELLIX_DOC_NONE);
    EXPECT_EQ(entry.getEntryName(), nullptr);
    EXPECT_EQ(slotsOf(entry), "");
    EXPECT_TRUE(entry.isEntryClosed());
    EXPECT_EQ(entry.getLastError(), VELLIX_ERR_SYNTAX);
}

TEST(Entry, ChangedTypePassesOverSlotsThatItHasNot) {
    VellixEntry entry(VELLIX_DOC_FH);
    for (const unsigned short id : std::vector<unsigned short>{6, 7, 8, 30}) entry.addAttribute(id, "v<");
    const struct {
        VELLIX_DOC_TYPE type;
        const char* text;
    } rows[] = {
        {VELLIX_DOC_IMAGE_EXTRA_INFO, "<CatImageExtraInfo NM=\"v&lt;\" LB=\"v&lt;\"/>"},
        {VELLIX_DOC_IMG_ALT_ID_LIST, "<AltIdList/>"},
        {VELLIX_DOC_IMAGE_CONSTR_AND, "<imageCriteriaColumn value=\"v&lt;\"/>"},
        {VELLIX_DOC_NONE, ""},
        {VELLIX_DOC_FRAG, "<CatFrag RC=\"v&lt;\" TPS=\"v&lt;\" PV=\"v&lt;\"/>"},
        {static_cast<VELLIX_DOC_TYPE>(26), ""},
    };
    for (const auto& row : rows) {
        entry.setType(row.type);
        EXPECT_EQ(entry.toString(), row.text);
        EXPECT_EQ(entry.size(), std::string(row.text).size());
    }
    // Such a slot takes no value, shows what it holds, and can be emptied.
    entry.setType(VELLIX_DOC_IMAGE_CHAIN);
    EXPECT_FALSE(entry.addAttribute(30, "new") || entry.addAttribute(30, 5, false));
    EXPECT_STREQ(entry.getAttribute(30), "v<");
    EXPECT_FALSE(entry.addAttribute(30, static_cast<const char*>(nullptr)));
    EXPECT_EQ(entry.getNumberOfAttributes(), 3);
    EXPECT_EQ(entry.getLastError(), VELLIX_SUCCESS);
}

} // namespace
