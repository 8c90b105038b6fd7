// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixDoc.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "FileSupport.h"
#include "TempDir.h"

namespace {

using namespace filetest;

TEST(Doc, HeldDocumentsBecomeText) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc spans(VELLIX_DOC_SPN);
    VellixDoc root(VELLIX_DOC_RESULTS);
    VellixDoc none(VELLIX_DOC_NONE);
    VellixDoc fresh;
    VellixEntry entry = fileEntry("a<b");
    VellixEntry loose(VELLIX_DOC_DOC);
    VellixEntry empty;
    entry.setType(VELLIX_DOC_RES);
    loose.addAttribute(0, 1, false);
    image.addAttribute(1, "42\"");
    EXPECT_TRUE(root.addChildDoc(image) && image.addChildDoc(files) && image.addChildDoc(spans) &&
                image.addEntry(loose));
    EXPECT_TRUE(files.addEntry(entry) && files.addEntry(empty) && none.addEntry(empty));
    EXPECT_EQ(entry.getType(), VELLIX_DOC_FH) << "the document's type counts";
    EXPECT_TRUE(entry.addAttribute(6, "changed behind its back"));
    none.setType(static_cast<VELLIX_DOC_TYPE>(26)); // no type
    const std::string withEntries = "<CatFH><ET NM=\"a&lt;b\"/><ET/></CatFH>";
    const std::string inner =
        kHeader + "<CatDoc ID=\"42&quot;\">" + withEntries + "<CatSpn/><CatDoc IC=\"1\"/></CatDoc>";
    const struct {
        const VellixDoc& doc;
        unsigned long children;
        unsigned long entries;
        unsigned long size;
        std::string text;
    } docs[] = {{fresh, 0, 0, 58, kHeader + "<CatDoc/>"},
                {spans, 0, 0, 20, "<CatSpn/>"},
                {files, 0, 2, 18 + 17 + 5, withEntries},
                {image, 2, 1, 72 + 16 + 40 + 20, inner},
                {root, 1, 0, 214, kHeader + "<CatResults>" + inner + "</CatResults>"},
                {none, 0, 1, 4, ""}};
    for (const auto& held : docs) {
        SCOPED_TRACE(held.text);
        EXPECT_EQ(textOf(held.doc), held.text);
        EXPECT_EQ(held.doc.size(), held.size);
        EXPECT_EQ(held.doc.getNumberOfChildDocs(), held.children);
        EXPECT_EQ(held.doc.getNumberOfEntries(), held.entries);
    }
    char* nowhere = nullptr;
    unsigned long room = 9;
    EXPECT_FALSE(none.serialize(nowhere, room));
    EXPECT_FALSE(none.getNextEntry(entry) || none.getNextChildDoc(none)) << "there is no reader";
}

TEST(Doc, CloseDropsTheContentAndKeepsTheCounts) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc child(VELLIX_DOC_ET);
    VellixEntry entry = fileEntry("a");
    // The rows go on with one document. e is addEntry, d is addChildDoc, c is close, r is reset, x is clear; o and s write the
    // tags: once, and no close tag without a writer.
    for (const auto& [calls, text] : rowsOf(R"(edc => <CatFH> | ec => <CatFH><ET NM="a"/></CatFH> | rc => <CatFH> | )"
                                            R"(eos => <CatFH><ET NM="a"/></CatFH> | xo => <CatFH>)")) {
        SCOPED_TRACE(calls);
        for (const char call : calls) {
            EXPECT_TRUE(call != 'e' || files.addEntry(entry));
            EXPECT_TRUE(call != 'd' || files.addChildDoc(child));
            if (call == 'c') files.close();
            if (call == 'r') files.reset();
            if (call == 'x') files.clear();
            EXPECT_TRUE(call != 'o' || files.writeOpenTag());
            EXPECT_FALSE(call == 's' && (files.writeOpenTag() || files.writeCloseTag()));
        }
        EXPECT_EQ(textOf(files), text);
    }
    EXPECT_EQ(files.size(), 18U);
    EXPECT_EQ(files.getNumberOfEntries(), 3U);
    EXPECT_EQ(files.getNumberOfChildDocs(), 1U);
    // The counts go with a copy of its tag alone, and with them the ending, until they are cleared.
    VellixEntry tag(files);
    tag.addAttribute(6, "a");
    VellixEntry assigned;
    assigned = tag;
    EXPECT_EQ(assigned.toString(), "<ET NM=\"a\">");
    EXPECT_EQ(assigned.size(), 11U);
    assigned.loadFromBuffer(VELLIX_DOC_FH, nullptr, 0, true);
    EXPECT_EQ(assigned.toString(), "<ET/>");
}

TEST(Doc, CopiesShareChildrenAndOwnEntries) {
    VellixDoc child(VELLIX_DOC_FH);
    VellixDoc source(VELLIX_DOC_DOC);
    VellixEntry entry(VELLIX_DOC_DOC);
    source.addAttribute(1, "7");
    source.addChildDoc(child);
    source.addEntry(entry);
    VellixDoc copy(source);
    VellixDoc target(VELLIX_DOC_QUERY);
    target.addEntry(entry); // goes
    target = source;
    VellixDoc& itself = target;
    target = itself;
    source.close();
    entry = fileEntry("b");
    child.addEntry(entry);
    const std::string grown = kHeader + "<CatDoc ID=\"7\"><CatFH><ET NM=\"b\"/></CatFH><CatDoc/></CatDoc>";
    EXPECT_EQ(textOf(copy), grown);
    EXPECT_EQ(textOf(target), grown);
    EXPECT_EQ(textOf(source), kHeader + "<CatDoc ID=\"7\">");
    // An entry brings its attributes and counters, and so does a load, which counts what it stored; what is held stays.
    target = static_cast<const VellixEntry&>(VellixEntry(VELLIX_DOC_FH, "<ET NM=\"c\"/>", 12, true));
    EXPECT_EQ(target.getNumberOfEntries(), 0U);
    EXPECT_EQ(textOf(target), "<CatFH NM=\"c\"/><CatFH><ET NM=\"b\"/></CatFH><CatDoc/></CatFH>");
    EXPECT_TRUE(source.addChildDoc(child) && source.load(std::string(R"(<CatDoc ID="x"><ET NM="a"/>)")));
    EXPECT_EQ(source.getNumberOfEntries(), 1U);
    EXPECT_EQ(source.getNumberOfChildDocs(), 0U);
    EXPECT_EQ(textOf(source), kHeader + R"(<CatDoc ID="x"><CatFH><ET NM="b"/></CatFH><ET NM="a"/></CatDoc>)");
}

TEST(Doc, LoadsFilesOrTellsWhyNot) {
    const TempDir directory;
    const std::string value(100000, 'v');
    writeFile(directory.file("long"), "<CatFH\r\nNM=\"" + value + "\r\n\"/>");
    writeFile(directory.file("no tag"), "x");
    writeFile(directory.file("empty"), "");
    // Where the bytes of a file are counted in 32 bits. Elsewhere the text fits, and takes the memory that it needs.
    const bool isCounted = sizeof(unsigned long) > 4;
    if (!isCounted) std::ofstream(directory.file("large"), std::ios::binary).seekp(std::streamoff{1} << 32).put('x');
    const std::string noRead = "/sys/class/net/lo/speed"; // a file of a system, that fails when it is read
    const struct {
        std::string path;
        bool loads;
        int code;
    } rows[] = {{directory.file("long"), true, VELLIX_SUCCESS},
                {directory.file("no tag"), true, VELLIX_SUCCESS},
                {directory.file("empty"), false, VELLIX_SUCCESS},
                {directory.file("missing"), false, VELLIX_ERR_FILE_OPEN},
                {directory.path(), false, VELLIX_ERR_FILE_OPEN},
                {"", false, VELLIX_ERR_FILE_OPEN},
                {std::filesystem::exists(noRead) ? noRead : "", false, VELLIX_ERR_FILE_OPEN},
                {directory.file("large"), false, isCounted ? VELLIX_ERR_FILE_OPEN : VELLIX_ERR_NO_MEMORY}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        VellixDoc doc(VELLIX_DOC_FH);
        doc.addAttribute(6, "kept");
        EXPECT_TRUE(doc.load(nullptr, 0));
        EXPECT_EQ(doc.load(row.path.c_str()), row.loads);
        EXPECT_EQ(doc.getLastError(), row.code);
        EXPECT_EQ(doc.getAttributeStr(6), &row == rows ? value + "\r\n" : "kept");
        doc.setError(VELLIX_SUCCESS);
        EXPECT_FALSE(row.loads ? doc.load(nullptr, 1) : doc.load(static_cast<const char*>(nullptr)));
        EXPECT_EQ(doc.getLastError(), VELLIX_ERR_NULL_ARGUMENT);
    }
}

} // namespace
