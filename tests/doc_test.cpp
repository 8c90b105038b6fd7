// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixDoc.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "FileSupport.h"
#include "TempDir.h"

namespace {

using namespace std::string_literals;
using namespace filetest;
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
    VellixEntry first = fileEntry("a<b");
    first.setType(VELLIX_DOC_RES); // the document's type counts
    EXPECT_TRUE(files.addEntry(first));
    EXPECT_EQ(first.getType(), VELLIX_DOC_FH);
    first.addAttribute(6, "changed behind its back");
    VellixEntry empty;
    files.addEntry(empty);
    checkForms(files, "<CatFH><ET NM=\"a&lt;b\"/><ET/></CatFH>");
    checkForms(VellixDoc(static_cast<VELLIX_DOC_TYPE>(26)), ""); // a number that is no type is as VELLIX_DOC_NONE

    VellixDoc image(VELLIX_DOC_DOC);
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
}

TEST(Doc, CloseDropsTheContentAndKeepsTheCounts) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc child(VELLIX_DOC_ET);
    VellixEntry entry = fileEntry("a");
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
    tag.addAttribute(6, "a");
    VellixEntry assigned;
    assigned = tag;
    EXPECT_EQ(assigned.toString(), "<ET NM=\"a\">");
    EXPECT_EQ(assigned.size(), 11U);
    assigned.loadFromBuffer(VELLIX_DOC_FH, nullptr, 0, true);
    EXPECT_EQ(assigned.toString(), "<ET/>");
    // A closed held document keeps what it is given until it has been reset.
    files.addEntry(entry);
    files.close();
    EXPECT_EQ(textOf(files), "<CatFH><ET NM=\"a\"/></CatFH>");
    files.reset();
    files.close();
    EXPECT_EQ(textOf(files), "<CatFH>");
    files.addEntry(entry);
    EXPECT_TRUE(files.writeOpenTag());
    EXPECT_FALSE(files.writeOpenTag() || files.writeCloseTag()) << "once, and no close tag without a writer";
    files.clear();
    EXPECT_TRUE(files.writeOpenTag());
    EXPECT_EQ(textOf(files), "<CatFH>");
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
    entry = fileEntry("b");
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

TEST(Doc, WithoutTypeReaderOrBuffer) {
    VellixDoc none(VELLIX_DOC_NONE);
    VellixEntry entry(VELLIX_DOC_FH, nullptr, 5, true);
    EXPECT_TRUE(entry.isEmpty());
    EXPECT_FALSE(none.getNextEntry(entry) || none.getNextChildDoc(none));
    none.addEntry(entry);
    checkForms(none, "");
    char* nowhere = nullptr;
    unsigned long room = 9;
    EXPECT_FALSE(none.serialize(nowhere, room));
    VellixEntry large(VELLIX_DOC_FH);
    large.addAttribute(6, std::string(100000, 'a'));
    EXPECT_EQ(VellixEntry(large).toString(), large.toString());
    large = entry;
    EXPECT_EQ(large.toString(), "");
}

TEST(Doc, LoadTakesTheFirstTagAndListsTheRest) {
    const struct {
        const char* name;
        VELLIX_DOC_TYPE given;
        std::string text;
        unsigned long entries;
        std::string written;
    } rows[] = {
        {"with header", VELLIX_DOC_DOC, kHeader + kRoot, 2,
         kHeader + R"(<CatResults IC="1" ID="5"><CatDoc ID="7"/><ET NM="a"/></CatResults>)"},
        {"other type in hand", VELLIX_DOC_DOC, kRoot, 2, kHeader + R"(<CatDoc><CatDoc ID="7"/><ET NM="a"/></CatDoc>)"},
        {"no type in hand", VELLIX_DOC_NONE, kRoot, 2,
         kHeader + R"(<CatResults IC="1" ID="5"><CatDoc ID="7"/><ET NM="a"/></CatResults>)"},
        {"no tag", VELLIX_DOC_FH, R"(no tag = "at" all>)", 0, "<CatFH/>"},
        {"bare root", VELLIX_DOC_DOC, R"(<CatDoc><CatFH NM="x"/><ET NM="y"/></CatDoc>)", 1,
         R"(<CatFH NM="x"><ET NM="y"/></CatFH>)"},
        {"other case", VELLIX_DOC_DOC, kHeader + R"(<CATFH NM="x"><et NM="y"/>)", 1, R"(<CatFH><ET NM="y"/></CatFH>)"},
        {"tags that name no type", VELLIX_DOC_DOC, kHeader + R"(<CatRes ID="1"><RE ID="2"/><SC SD="1"/></CatRes>)", 0,
         R"(<CatRes ID="1"/>)"},
        {"entry tag of the type in hand", VELLIX_DOC_RES, R"(<RE ID="2"/><ET OP="1"/>)", 1,
         R"(<CatRes><ET OP="1"/></CatRes>)"},
        {"unknown attributes", VELLIX_DOC_DOC, kHeader + R"(<CatDoc XX="1"><CatFH YY="2"><ET NM="z"/>)", 0,
         R"(<ET NM="z"/>)"},
        {"errors in tags", VELLIX_DOC_FH,
         R"(<CatFH NM="x" = ><ET NM="a" "><ET NM="b" PT="&bad;" FP="c"/><ET NM="d<ET NM="e"/><ET NM="f"/>)", 4,
         R"(<CatFH NM="x"><ET NM="a"/><ET NM="b"/><ET NM="&quot;d"/><ET NM="f"/></CatFH>)"},
        {"blanks, line feeds and a NUL", VELLIX_DOC_FH, "\n <CatFH\nNM='x\ny'>\n  <ET \0 NM=\"a\"/><ET NM=\"b\"/>"s, 1,
         "<CatFH NM=\"x\ny\"><ET NM=\"b\"/></CatFH>"},
        {"cut", VELLIX_DOC_FH, R"(<CatFH NM="x"><ET NM="a" PT="b)", 1,
         R"(<CatFH NM="x"><ET NM="a" PT="&quot;b"/></CatFH>)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        VellixDoc doc(row.given);
        EXPECT_TRUE(loadText(doc, row.text));
        EXPECT_EQ(doc.getNumberOfEntries(), row.entries);
        EXPECT_EQ(doc.getLastError(), VELLIX_SUCCESS);
        checkForms(doc, row.written);
    }
}

TEST(Doc, LoadKeepsWhatWasHeld) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc child(VELLIX_DOC_ET);
    VellixEntry entry = fileEntry("held");
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
    const std::string texts[] = {kHeader + "\n<CatFH NM=\"a\nb\r\nc\">\n<ET NM=\"\n\"/>\n",
                                 "<CatDoc ID=\"" + std::string(100000, 'v') + "\"/>", "x",
                                 kHeader + kRoot + "\0<ET NM=\"z\"/>"s};
    for (const std::string& text : texts) {
        const std::string path = directory.file("document.xml");
        writeFile(path, text);
        VellixDoc fromFile(VELLIX_DOC_DOC);
        EXPECT_TRUE(fromFile.load(path.c_str()));
        VellixDoc fromText(VELLIX_DOC_DOC);
        EXPECT_TRUE(loadText(fromText, text));
        EXPECT_EQ(textOf(fromFile), textOf(fromText));
    }
}

TEST(Doc, LoadTellsWhyAFileGivesNothing) {
    const TempDir directory;
    writeFile(directory.file("empty"), "");
    const struct {
        std::string path;
        int code;
    } rows[] = {{directory.file("missing"), VELLIX_ERR_FILE_OPEN},
                {"", VELLIX_ERR_FILE_OPEN},
                {directory.path(), VELLIX_ERR_FILE_OPEN},
                {directory.file("empty"), VELLIX_SUCCESS}};
    for (const auto& row : rows) {
        VellixDoc doc(VELLIX_DOC_FH);
        doc.addAttribute(6, "kept");
        EXPECT_FALSE(doc.load(row.path.c_str()));
        EXPECT_EQ(doc.getLastError(), row.code);
        EXPECT_EQ(textOf(doc), "<CatFH NM=\"kept\"/>");
    }
    VellixDoc doc(VELLIX_DOC_FH);
    EXPECT_FALSE(doc.load(static_cast<const char*>(nullptr)));
    EXPECT_EQ(doc.getLastError(), VELLIX_ERR_NULL_ARGUMENT);
}

// Where the bytes of a file are counted in 32 bits. Elsewhere the text fits, and takes the memory that it needs.
TEST(Doc, LoadRefusesAFileOfMoreThan32Bits) {
    if (sizeof(unsigned long) > 4) GTEST_SKIP();
    const TempDir directory;
    const std::string path = directory.file("large");
    std::ofstream(path, std::ios::binary).seekp(std::streamoff{1} << 32).put('x');
    VellixDoc doc(VELLIX_DOC_FH);
    EXPECT_FALSE(doc.load(path.c_str()));
    EXPECT_EQ(doc.getLastError(), VELLIX_ERR_NO_MEMORY);
}

} // namespace
