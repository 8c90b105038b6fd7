// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixDoc.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "FileSupport.h"
#include "TempDir.h"

namespace {

using namespace std::string_literals;
using namespace filetest;
bool loadText(VellixDoc& doc, const std::string& text) {
    const ExactBytes bytes(text);
    return doc.load(bytes.data(), bytes.size());
}

TEST(Doc, HeldDocumentsBecomeText) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry = fileEntry("a<b");
    entry.setType(VELLIX_DOC_RES); // the document's type counts
    VellixEntry empty;
    VellixEntry loose;
    loose.setType(VELLIX_DOC_DOC);
    loose.addAttribute(0, 1, false);
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc spans(VELLIX_DOC_SPN);
    VellixDoc root(VELLIX_DOC_RESULTS);
    VellixDoc none(VELLIX_DOC_NONE);
    const std::string withEntries = "<CatFH><ET NM=\"a&lt;b\"/><ET/></CatFH>";
    const std::string inner =
        kHeader + "<CatDoc ID=\"42&quot;\">" + withEntries + "<CatSpn/><CatDoc IC=\"1\"/></CatDoc>";
    const struct {
        std::function<bool()> call;
        const VellixDoc& doc;
        std::string text; // of that document then
        unsigned long size;
    } steps[] = {
        {[&] { return true; }, files, "<CatFH/>", 18},
        {[&] { return files.addEntry(entry) && files.addEntry(empty); }, files, withEntries, 18 + 17 + 5},
        {[&] { return entry.addAttribute(6, "changed behind its back"); }, files, withEntries, 40},
        {[&] { return true; }, image, kHeader + "<CatDoc/>", 58},
        {[&] { return image.addAttribute(1, "42\""); }, image, kHeader + "<CatDoc ID=\"42&quot;\"/>", 72},
        {[&] { return image.addEntry(loose) && image.addChildDoc(files) && image.addChildDoc(spans); }, image, inner,
         72 + 16 + 40 + 20},
        {[&] { return root.addChildDoc(image); }, root, kHeader + "<CatResults>" + inner + "</CatResults>", 214},
        {[&] { return true; }, none, "", 4},
        {[&] { return none.addEntry(empty); }, none, "", 4},
        {[&] { return none.setType(static_cast<VELLIX_DOC_TYPE>(26)), true; }, none, "", 4}, // no type
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(&step - steps);
        EXPECT_TRUE(step.call());
        EXPECT_EQ(textOf(step.doc), step.text);
        EXPECT_EQ(step.doc.size(), step.size);
    }
    EXPECT_EQ(entry.getType(), VELLIX_DOC_FH);
    EXPECT_EQ(root.getNumberOfChildDocs(), 1U);
    EXPECT_EQ(image.getNumberOfChildDocs(), 2U);
    EXPECT_EQ(image.getNumberOfEntries(), 1U);
    char* nowhere = nullptr;
    unsigned long room = 9;
    EXPECT_FALSE(none.serialize(nowhere, room));
    EXPECT_FALSE(none.getNextEntry(entry) || none.getNextChildDoc(none)) << "there is no reader";
}

TEST(Doc, CloseDropsTheContentAndKeepsTheCounts) {
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc child(VELLIX_DOC_ET);
    VellixEntry entry = fileEntry("a");
    files.addEntry(entry);
    files.addChildDoc(child);
    files.close();
    EXPECT_EQ(files.getNumberOfEntries(), 1U);
    EXPECT_EQ(files.getNumberOfChildDocs(), 1U);
    EXPECT_EQ(textOf(files), "<CatFH>");
    EXPECT_EQ(files.size(), 18U);
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
    // An entry brings its attributes and counters; what the document holds stays.
    target = static_cast<const VellixEntry&>(VellixEntry(VELLIX_DOC_FH, "<ET NM=\"c\"/>", 12, true));
    EXPECT_EQ(target.getNumberOfEntries(), 0U);
    EXPECT_EQ(textOf(target), "<CatFH NM=\"c\"/><CatFH><ET NM=\"b\"/></CatFH><CatDoc/></CatFH>");
}

TEST(Doc, LoadTakesTheFirstTagAndListsTheRest) {
    const std::string root =
        R"(<CatResults IC="1" ID="5"><CatDoc ID="7"><CatFH><ET NM="a"/></CatFH></CatDoc></CatResults>)";
    const struct {
        VELLIX_DOC_TYPE inHand;
        std::string text;
        std::string written;
    } rows[] = {
        {VELLIX_DOC_DOC, kHeader + root,
         kHeader + R"(<CatResults IC="1" ID="5"><CatDoc ID="7"/><ET NM="a"/></CatResults>)"},
        {VELLIX_DOC_DOC, root, kHeader + R"(<CatDoc><CatDoc ID="7"/><ET NM="a"/></CatDoc>)"}, // of another type
        {VELLIX_DOC_DOC, kHeader + R"(<CATFH NM="x"><et NM="y"/>)", R"(<CatFH><ET NM="y"/></CatFH>)"},
        {VELLIX_DOC_RES, R"(<RE ID="2"/><ET OP="1"/>)", R"(<CatRes><ET OP="1"/></CatRes>)"},
    };
    for (const auto& row : rows) {
        VellixDoc doc(row.inHand);
        EXPECT_TRUE(loadText(doc, row.text));
        EXPECT_EQ(textOf(doc), row.written);
        EXPECT_EQ(doc.getLastError(), VELLIX_SUCCESS);
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

TEST(Doc, LoadsFilesOrTellsWhyNot) {
    const TempDir directory;
    const std::string value(100000, 'v');
    writeFile(directory.file("long"), "<CatFH\r\nNM=\"" + value + "\r\n\"/>");
    writeFile(directory.file("no tag"), "x");
    writeFile(directory.file("empty"), "");
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
                {std::filesystem::exists(noRead) ? noRead : "", false, VELLIX_ERR_FILE_OPEN}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        VellixDoc doc(VELLIX_DOC_FH);
        doc.addAttribute(6, "kept");
        EXPECT_EQ(doc.load(row.path.c_str()), row.loads);
        EXPECT_EQ(doc.getLastError(), row.code);
        EXPECT_EQ(doc.getAttributeStr(6), &row == rows ? value + "\r\n" : "kept");
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
