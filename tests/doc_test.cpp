#include "vellix/VellixDoc.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "TestSupport.h"

namespace {

using namespace std::string_literals;

const std::string kHeader = R"(<?xml version="1.0" encoding="UTF-8"?>)";
const std::string kRoot =
    R"(<CatResults IC="1" ID="5"><CatDoc ID="7"><CatFH><ET NM="a"/></CatFH></CatDoc></CatResults>)";

std::string textOf(const VellixDoc& doc) {
    std::string text;
    EXPECT_TRUE(doc.serialize(text));
    return text;
}

bool loadText(VellixDoc& doc, const std::string& text) {
    const ExactBytes bytes(text);
    return doc.load(bytes.data(), bytes.size());
}

VellixEntry named(const std::string& name) {
    VellixEntry entry(VELLIX_DOC_FH);
    entry.addAttribute(6, name);
    return entry;
}

// A text, and the same text in the buffer form with every room from none to more than enough.
void checkForms(const VellixDoc& doc, const std::string& text) {
    EXPECT_EQ(textOf(doc), text);
    EXPECT_GE(doc.size(), text.size() + 1);
    for (unsigned long room = 0; room <= doc.size() + 1; ++room) {
        const std::unique_ptr<char[]> buffer(new char[room]);
        char* cursor = buffer.get();
        unsigned long left = room;
        const bool enough = room > text.size();
        ASSERT_EQ(doc.serialize(cursor, left), enough) << room;
        ASSERT_EQ(cursor - buffer.get(), enough ? static_cast<std::ptrdiff_t>(text.size()) : 0) << room;
        ASSERT_EQ(left, enough ? room - text.size() : room);
        if (room != 0) {
            ASSERT_EQ(buffer.get(), enough ? text : ""s) << room;
        }
    }
}

TEST(Doc, HeldDocumentsBecomeText) {
    VellixDoc files(VELLIX_DOC_FH);
    checkForms(files, "<CatFH/>");
    EXPECT_EQ(files.size(), 18U);
    VellixEntry first = named("a<b");
    first.setType(VELLIX_DOC_RES); // the document's type counts
    EXPECT_TRUE(files.addEntry(first));
    EXPECT_EQ(first.getType(), VELLIX_DOC_FH);
    first.addAttribute(6, "changed behind its back");
    VellixEntry empty;
    files.addEntry(empty);
    checkForms(files, "<CatFH><ET NM=\"a&lt;b\"/><ET/></CatFH>");

    VellixDoc image(VELLIX_DOC_DOC);
    checkForms(image, kHeader + "<CatDoc/>");
    EXPECT_EQ(image.size(), 58U);
    image.addAttribute(1, "42\"");
    checkForms(image, kHeader + "<CatDoc ID=\"42&quot;\"/>");
    VellixEntry loose(VELLIX_DOC_NONE);
    loose.setType(VELLIX_DOC_DOC);
    loose.addAttribute(0, 1, false);
    image.addEntry(loose);
    EXPECT_TRUE(image.addChildDoc(files));
    VellixDoc none(VELLIX_DOC_SPN);
    image.addChildDoc(none);
    const std::string inner =
        kHeader + "<CatDoc ID=\"42&quot;\"><CatFH><ET NM=\"a&lt;b\"/><ET/></CatFH><CatSpn/><CatDoc IC=\"1\"/></CatDoc>";
    checkForms(image, inner);
    VellixDoc root(VELLIX_DOC_RESULTS);
    root.addChildDoc(image);
    checkForms(root, kHeader + "<CatResults>" + inner + "</CatResults>");
    EXPECT_EQ(root.getNumberOfChildDocs(), 1U);
    EXPECT_EQ(image.getNumberOfChildDocs(), 2U);
    EXPECT_EQ(image.getNumberOfEntries(), 1U);
    std::string twice = "x";
    none.serialize(twice);
    none.serialize(twice);
    EXPECT_EQ(twice, "x<CatSpn/><CatSpn/>");
    EXPECT_STREQ(files.getOpenTag(), "<CatFH");
    EXPECT_STREQ(files.getCloseTag(), "</CatFH>");
}

TEST(Doc, DocumentWithoutATypeHasNoTagsOfItsOwn) {
    VellixDoc none(VELLIX_DOC_NONE);
    EXPECT_STREQ(none.getOpenTag(), "");
    EXPECT_STREQ(none.getCloseTag(), "");
    checkForms(none, "");
    VellixEntry entry = named("a");
    none.addEntry(entry);
    EXPECT_EQ(entry.getType(), VELLIX_DOC_NONE);
    checkForms(none, "");
    VellixDoc child(VELLIX_DOC_FH);
    VellixDoc parent(VELLIX_DOC_NONE);
    parent.addChildDoc(child);
    checkForms(parent, "<CatFH/>");
}

TEST(Doc, CloseDropsTheContentAndKeepsTheCounts) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc child(VELLIX_DOC_ET);
    VellixEntry entry = named("a");
    files.addEntry(entry);
    files.addChildDoc(child);
    const unsigned long before = files.size();
    files.close();
    EXPECT_EQ(files.getNumberOfEntries(), 1U);
    EXPECT_EQ(files.getNumberOfChildDocs(), 1U);
    checkForms(files, "<CatFH>");
    EXPECT_EQ(before - files.size(), entry.size() + child.size());
    // The counts go with a copy of its tag alone, and with them the ending, until they are cleared.
    VellixEntry tag(files);
    EXPECT_EQ(tag.toString(), "<CatFH>");
    tag.addAttribute(6, "a");
    EXPECT_EQ(tag.toString(), "<ET NM=\"a\">");
    VellixEntry assigned;
    assigned = tag;
    EXPECT_EQ(assigned.toString(), "<ET NM=\"a\">");
    EXPECT_EQ(assigned.size(), 11U);
    assigned.loadFromBuffer(VELLIX_DOC_FH, nullptr, 0, true);
    EXPECT_EQ(assigned.toString(), "<ET/>");
    tag.clear();
    tag.setType(VELLIX_DOC_FH);
    EXPECT_EQ(tag.toString(), "<ET/>");
    // A closed held document keeps what it is given until it has been reset.
    files.addEntry(entry);
    files.close();
    EXPECT_EQ(textOf(files), "<CatFH><ET NM=\"a\"/></CatFH>");
    files.reset();
    EXPECT_EQ(textOf(files), "<CatFH><ET NM=\"a\"/></CatFH>");
    files.close();
    EXPECT_EQ(textOf(files), "<CatFH>");
    files.addEntry(entry);
    EXPECT_TRUE(files.writeOpenTag());
    EXPECT_FALSE(files.writeOpenTag() || files.writeCloseTag()) << "once, and no close tag without a writer";
    files.clear();
    EXPECT_TRUE(files.writeOpenTag());
    EXPECT_EQ(textOf(files), "<CatFH>");
    EXPECT_EQ(files.getNumberOfEntries(), 3U);
}

TEST(Doc, CopiesShareChildrenAndOwnEntries) {
    VellixDoc child(VELLIX_DOC_FH);
    VellixDoc source(VELLIX_DOC_DOC);
    source.addAttribute(1, "7");
    source.addChildDoc(child);
    VellixEntry entry(VELLIX_DOC_DOC);
    source.addEntry(entry);
    const std::string text = kHeader + "<CatDoc ID=\"7\"><CatFH/><CatDoc/></CatDoc>";
    VellixDoc copy(source);
    checkForms(copy, text);
    VellixDoc target(VELLIX_DOC_QUERY);
    target.addEntry(entry);
    target = source;
    checkForms(target, text);
    VellixDoc& itself = target;
    target = itself;
    checkForms(target, text);
    source.close();
    entry = named("b");
    child.addEntry(entry);
    const std::string grown = kHeader + "<CatDoc ID=\"7\"><CatFH><ET NM=\"b\"/></CatFH><CatDoc/></CatDoc>";
    EXPECT_EQ(textOf(copy), grown);
    EXPECT_EQ(textOf(target), grown);
    EXPECT_EQ(textOf(source), kHeader + "<CatDoc ID=\"7\">");
    // An entry brings its attributes and counters; what the document holds stays.
    target = static_cast<const VellixEntry&>(VellixEntry(VELLIX_DOC_FH, "<ET NM=\"c\"/>", 12, true));
    EXPECT_EQ(target.getNumberOfEntries(), 0U);
    EXPECT_EQ(textOf(target), "<CatFH NM=\"c\"/><CatFH><ET NM=\"b\"/></CatFH><CatDoc/></CatFH>");
}

TEST(Doc, PullingWithoutAReaderFindsNothing) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry = named("a");
    files.addEntry(entry);
    entry.setType(VELLIX_DOC_IMAGE);
    EXPECT_FALSE(files.getFirstEntry(entry));
    EXPECT_TRUE(entry.isEmpty());
    EXPECT_EQ(entry.getType(), VELLIX_DOC_FH);
    entry = named("b");
    EXPECT_FALSE(files.getNextEntry(entry));
    EXPECT_TRUE(entry.isEmpty());
    VellixDoc child(VELLIX_DOC_SPN);
    EXPECT_FALSE(files.getFirstChildDoc(child));
    EXPECT_FALSE(files.getNextChildDoc(child));
}

TEST(Doc, LoadTakesTheFirstTagAndListsTheRest) {
    const struct {
        const char* name;
        VELLIX_DOC_TYPE given;
        std::string text;
        VELLIX_DOC_TYPE type;
        unsigned long entries;
        std::string written;
    } rows[] = {
        {"with header", VELLIX_DOC_DOC, kHeader + kRoot, VELLIX_DOC_RESULTS, 2,
         kHeader + "<CatResults IC=\"1\" ID=\"5\"/><CatDoc ID=\"7\"/><ET NM=\"a\"/></CatResults>"},
        {"other type in hand", VELLIX_DOC_DOC, kRoot, VELLIX_DOC_DOC, 2,
         kHeader + "<CatDoc/><CatDoc ID=\"7\"/><ET NM=\"a\"/></CatDoc>"},
        {"own type in hand", VELLIX_DOC_RESULTS, kRoot, VELLIX_DOC_RESULTS, 2,
         kHeader + "<CatResults IC=\"1\" ID=\"5\"/><CatDoc ID=\"7\"/><ET NM=\"a\"/></CatResults>"},
        {"no type in hand", VELLIX_DOC_NONE, kRoot, VELLIX_DOC_RESULTS, 2,
         kHeader + "<CatResults IC=\"1\" ID=\"5\"/><CatDoc ID=\"7\"/><ET NM=\"a\"/></CatResults>"},
        {"empty", VELLIX_DOC_FH, "", VELLIX_DOC_FH, 0, "<CatFH/>"},
        {"no tag", VELLIX_DOC_FH, "no tag = \"at\" all>", VELLIX_DOC_FH, 0, "<CatFH/>"},
        {"bare tags", VELLIX_DOC_FH, "<CatFH><CatFH></CatFH>", VELLIX_DOC_FH, 0, "<CatFH/>"},
        {"bare root", VELLIX_DOC_DOC, "<CatDoc><CatFH NM=\"x\"/><ET NM=\"y\"/></CatDoc>", VELLIX_DOC_FH, 1,
         "<CatFH NM=\"x\"/><ET NM=\"y\"/></CatFH>"},
        {"document below the root", VELLIX_DOC_DOC, kHeader + "<CatDoc ID=\"1\"><CatFH NM=\"x\">", VELLIX_DOC_DOC, 1,
         kHeader + "<CatDoc ID=\"1\"/><ET NM=\"x\"/></CatDoc>"},
        {"other case", VELLIX_DOC_DOC, kHeader + "<CATFH NM=\"x\"><et NM=\"y\"/>", VELLIX_DOC_FH, 1,
         "<CatFH/><ET NM=\"y\"/></CatFH>"},
        {"tags that name no type", VELLIX_DOC_DOC, kHeader + "<CatRes ID=\"1\"><RE ID=\"2\"/><SC SD=\"1\"/></CatRes>",
         VELLIX_DOC_RES, 0, "<CatRes ID=\"1\"/>"},
        {"entry tag of the type in hand", VELLIX_DOC_RES, "<RE ID=\"2\"/><ET OP=\"1\"/>", VELLIX_DOC_RES, 1,
         "<CatRes/><ET OP=\"1\"/></CatRes>"},
        {"unknown attributes", VELLIX_DOC_DOC, kHeader + "<CatDoc XX=\"1\"><CatFH YY=\"2\"><ET NM=\"z\"/>",
         VELLIX_DOC_ET, 0, "<ET NM=\"z\"/>"},
        {"errors in tags", VELLIX_DOC_FH,
         "<CatFH NM=\"x\" = ><ET NM=\"a\" \"><ET NM=\"b\" PT=\"&bad;\" FP=\"c\"/><ET NM=\"d<ET NM=\"e\"/><ET "
         "NM=\"f\"/>",
         VELLIX_DOC_FH, 4, "<CatFH NM=\"x\"/><ET NM=\"a\"/><ET NM=\"b\"/><ET NM=\"&quot;d\"/><ET NM=\"f\"/></CatFH>"},
        {"blanks, line feeds and a NUL", VELLIX_DOC_FH, "\n <CatFH\nNM='x\ny'>\n  <ET \0 NM=\"a\"/><ET NM=\"b\"/>"s,
         VELLIX_DOC_FH, 1, "<CatFH NM=\"x\ny\"/><ET NM=\"b\"/></CatFH>"},
        {"cut", VELLIX_DOC_FH, "<CatFH NM=\"x\"><ET NM=\"a\" PT=\"b", VELLIX_DOC_FH, 1,
         "<CatFH NM=\"x\"/><ET NM=\"a\" PT=\"&quot;b\"/></CatFH>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        VellixDoc doc(row.given);
        EXPECT_TRUE(loadText(doc, row.text));
        EXPECT_EQ(doc.getType(), row.type);
        EXPECT_EQ(doc.getNumberOfEntries(), row.entries);
        EXPECT_EQ(doc.getNumberOfChildDocs(), 0U);
        EXPECT_EQ(doc.getLastError(), VELLIX_SUCCESS);
        std::string written = row.written; // with entries, the document's own tag is open
        const std::size_t own = written.find("/>", written.rfind("?>") == std::string::npos ? 0 : kHeader.size());
        if (row.entries != 0) written.erase(own, 1);
        checkForms(doc, written);
        VellixDoc same(row.given);
        EXPECT_TRUE(same.load(row.text));
        EXPECT_EQ(textOf(same), written);
    }
}

TEST(Doc, LoadKeepsWhatWasHeld) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc child(VELLIX_DOC_ET);
    VellixEntry entry = named("held");
    files.addEntry(entry);
    files.addChildDoc(child);
    EXPECT_TRUE(loadText(files, "<CatFH NM=\"x\"><ET NM=\"a\"/></CatFH>"));
    EXPECT_EQ(textOf(files), "<CatFH NM=\"x\"><ET/><ET NM=\"held\"/><ET NM=\"a\"/></CatFH>");
    EXPECT_EQ(files.getNumberOfEntries(), 1U) << "counts what this load stored";
    EXPECT_EQ(files.getNumberOfChildDocs(), 0U);
    EXPECT_TRUE(files.load(nullptr, 0));
    EXPECT_FALSE(files.load(nullptr, 1));
    EXPECT_EQ(files.getLastError(), VELLIX_ERR_NULL_ARGUMENT);
}

TEST(Doc, LoadReadsWholeFiles) {
    const TempDir directory;
    const std::string long100k(100000, 'v');
    const std::string texts[] = {kHeader + kRoot,
                                 kHeader + "\n<CatFH NM=\"a\nb\r\nc\">\n<ET NM=\"\n\"/>\n",
                                 "<CatDoc ID=\"" + long100k + "\"/>",
                                 "\n",
                                 "x",
                                 kHeader + kRoot + "\0<ET NM=\"z\"/>"s};
    for (const std::string& text : texts) {
        const std::string path = directory.file("document.xml");
        writeFile(path, text);
        VellixDoc fromFile(VELLIX_DOC_DOC);
        EXPECT_TRUE(fromFile.load(path.c_str()));
        VellixDoc fromText(VELLIX_DOC_DOC);
        EXPECT_TRUE(loadText(fromText, text));
        EXPECT_EQ(textOf(fromFile), textOf(fromText));
        EXPECT_TRUE(fromFile == fromText);
    }
    VellixDoc feeds(VELLIX_DOC_DOC);
    writeFile(directory.file("feeds"), texts[1]);
    ASSERT_TRUE(feeds.load(directory.file("feeds").c_str()));
    EXPECT_EQ(textOf(feeds), "<CatFH NM=\"a\nb\r\nc\"><ET NM=\"\n\"/></CatFH>");
}

TEST(Doc, LoadTellsWhyAFileGivesNothing) {
    const TempDir directory;
    writeFile(directory.file("empty"), "");
    const std::string missing = directory.file("missing");
    const std::string empty = directory.file("empty");
    const std::string itself = directory.path();
    const struct {
        const char* path;
        int code;
    } rows[] = {
        {nullptr, VELLIX_ERR_NULL_ARGUMENT},    {missing.c_str(), VELLIX_ERR_FILE_OPEN}, {"", VELLIX_ERR_FILE_OPEN},
        {itself.c_str(), VELLIX_ERR_FILE_OPEN}, {empty.c_str(), VELLIX_SUCCESS},
    };
    for (const auto& row : rows) {
        VellixDoc doc(VELLIX_DOC_FH);
        doc.addAttribute(6, "kept");
        EXPECT_FALSE(doc.load(row.path));
        EXPECT_EQ(doc.getLastError(), row.code);
        EXPECT_EQ(textOf(doc), "<CatFH NM=\"kept\"/>");
        EXPECT_TRUE(loadText(doc, "<CatFH NM=\"x\"/>"));
        EXPECT_EQ(textOf(doc), "<CatFH NM=\"x\"/>");
    }
}

// A random tree: its text, its size, and what a load makes of it.
TEST(Doc, RandomTextsLoadAndComeBack) {
    RandomText random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string text = round % 2 == 0 ? kHeader : "";
        for (std::size_t tag = random.below(4); tag != 0; --tag) text += "<CatFH NM=\"" + random.next(6, true) + "\"/>";
        VellixDoc doc(static_cast<VELLIX_DOC_TYPE>(random.below(26)));
        ASSERT_TRUE(loadText(doc, text));
        const std::string written = textOf(doc);
        ASSERT_GT(doc.size(), written.size()) << written;
        std::string buffer(doc.size(), 'x');
        char* cursor = buffer.data();
        unsigned long room = doc.size();
        ASSERT_TRUE(doc.serialize(cursor, room));
        ASSERT_STREQ(buffer.c_str(), written.c_str());
        VellixDoc again(doc.getType());
        ASSERT_TRUE(loadText(again, written));
        // What was attribute-less the first time stays so; every entry that has a name of its own comes back.
        if (!doc.isEmpty()) {
            ASSERT_TRUE(again == doc) << written;
        }
    }
}

} // namespace
