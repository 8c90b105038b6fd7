// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixWriter.h"

#include <cstddef>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"

using namespace filetest;

namespace {

class WriterTest : public testing::Test {
protected:
    bool create(VellixWriter& writer) { return writer.create(dir.wide("a.xml").c_str()); }
    std::string bytes() const { return bytesOf(dir.file("a.xml")); }

    TempDir dir;
};

// The mark is stored where the file begins with the tag of its root, and nowhere else. The root is a copy of a document, and
// may get another type.
TEST_F(WriterTest, MarkOnlyWhereTheRootHasAPlaceForIt) {
    const std::string look = kHeader + R"(<CatResults IC="0")";
    const struct {
        VELLIX_DOC_TYPE made;
        const char* id;
        VELLIX_DOC_TYPE becomes;
        std::string front; // of the file
        int code;
    } roots[] = {
        {VELLIX_DOC_RESULTS, nullptr, VELLIX_DOC_RESULTS, kHeader + R"(<CatResults IC="1" ID=")", VELLIX_SUCCESS},
        {VELLIX_DOC_RESULTS, "mine", VELLIX_DOC_RESULTS, kHeader + R"(<CatResults ID="mine">)", VELLIX_ERR_SYNTAX},
        {VELLIX_DOC_RESULTS, nullptr, VELLIX_DOC_DOC, kHeader + R"(<CatDoc IC="1" ID=")", VELLIX_SUCCESS},
        {VELLIX_DOC_DOC, nullptr, VELLIX_DOC_FH, "<CatFH>", VELLIX_ERR_SYNTAX},
        {VELLIX_DOC_NONE, nullptr, VELLIX_DOC_NONE, look, VELLIX_ERR_SYNTAX}};
    for (const auto& root : roots) {
        SCOPED_TRACE(root.front);
        VellixDoc made(root.made);
        made.addAttribute(1, root.id);
        OpenWriter writer(made);
        VellixDoc child(VELLIX_DOC_FH);
        ASSERT_TRUE(create(writer));
        writer.getRootDoc().setType(root.becomes);
        if (root.made == VELLIX_DOC_NONE) writer.write(look.c_str(), 1);
        writer.addDoc(child);
        child.close();
        writer.close();
        const auto first = static_cast<unsigned long>(root.front.find("IC=") + 5); // the byte of the mark is its last
        EXPECT_TRUE(root.code != VELLIX_SUCCESS || writer.remap(first));
        writer.markComplete();
        writer.close();
        EXPECT_EQ(bytes().substr(0, root.front.size()), root.front);
        EXPECT_EQ(writer.getLastError(), root.code);
        EXPECT_TRUE(writer.isIntact());
    }
}

// No reader takes a tag of more than 16 MiB, so none is acknowledged: not from a caller, nor from a document that was held.
TEST_F(WriterTest, EntriesTooLongToBeRead) {
    enum Way { kAlone, kInAChildOfAChild, kAsATag };
    for (const Way way : {kAlone, kInAChildOfAChild, kAsATag}) {
        for (const bool tooLong : {false, true}) {
            SCOPED_TRACE(way);
            const std::size_t limit =
                (16U << 20) - std::strlen(way == kAsATag ? R"(<CatFH NM=""/>)" : R"(<ET NM=""/>)");
            const std::string name(tooLong ? limit + 1 : limit, 'x');
            VellixWriter writer;
            VellixEntry entry = fileEntry(name);
            VellixDoc docs[] = {VELLIX_DOC_FH, VELLIX_DOC_FH, VELLIX_DOC_FH}; // the first in the second in the third
            ASSERT_TRUE(create(writer));
            if (way == kAlone) writer.write(entry);
            if (way == kAsATag) docs[2] = entry;
            if (way == kInAChildOfAChild) {
                docs[0].addEntry(entry);
                docs[1].addChildDoc(docs[0]);
                docs[2].addChildDoc(docs[1]);
            }
            if (way != kAlone) writer.addDoc(docs[2]);
            docs[2].writeOpenTag();
            EXPECT_EQ(writer.getLastError(), tooLong ? VELLIX_ERR_OUT_OF_RANGE : VELLIX_SUCCESS);
            EXPECT_NE(writer.isIntact(), tooLong);
            EXPECT_NE(writer.write(fileEntry("next")), tooLong && way == kAsATag) << "a tag ends the file";
            docs[2].close();
            writer.markComplete();
            writer.close();
            EXPECT_EQ(writer.getLastError() == VELLIX_ERR_BAD_HANDLE, tooLong) << "it is never marked";
            EXPECT_NE(bytes().find(name) != std::string::npos, tooLong);
        }
    }
}

// The file on which another writer of the process begins is that one's from then on.
TEST_F(WriterTest, TwoWritersOnOneFile) {
    for (const bool late : {false, true}) {
        VellixWriter first;
        VellixWriter second;
        ASSERT_TRUE(create(first));
        addSample(first);
        if (late) first.close();
        ASSERT_TRUE(create(second));
        addSample(second); // as long as the other's
        EXPECT_TRUE(!first.isIntact() && second.isIntact());
        EXPECT_FALSE(first.write(fileEntry("b.txt", 7)) || first.write("text", 4));
        EXPECT_EQ(first.getLastError(), late ? VELLIX_ERR_FILE_OPEN : VELLIX_ERR_BAD_HANDLE);
        first.markComplete();
        first.setError(VELLIX_SUCCESS);
        EXPECT_EQ(first.serialize(), nullptr);
        EXPECT_EQ(first.getLastError(), VELLIX_ERR_FILE_OPEN);
        EXPECT_EQ(bytes(), kSample.substr(0, 160));
        if (!late) first.reset(); // and now it is the first one's again
        EXPECT_EQ(first.isIntact(), !late);
        EXPECT_EQ(second.isIntact(), late);
        second.markComplete();
        const char* const text = second.serialize();
        EXPECT_EQ(text != nullptr ? std::string(text, 173) : "", late ? marked(kSample) : "");
    }
}

TEST_F(WriterTest, RemapInADerivedClass) {
    OpenWriter writer;
    EXPECT_FALSE(writer.remap(0)); // nothing is there to be seen
    EXPECT_EQ(writer.getLastError(), VELLIX_SUCCESS);
    EXPECT_FALSE(writer.remap(1));
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
    ASSERT_TRUE(create(writer));
    addSample(writer);
    writer.setError(VELLIX_SUCCESS);
    EXPECT_FALSE(writer.create()) << "a file is under way, so there is a code";
    writer.close();
    EXPECT_TRUE(writer.remap(10));
    EXPECT_FALSE(writer.remap(10) || writer.remap(9));
    EXPECT_TRUE(writer.remap(11) && writer.remap(0));
    EXPECT_FALSE(writer.remap(0) || writer.remap(173));
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN) << "these refusals leave the code";
    for (const unsigned long more : {174UL, 0x80000010UL}) { // more than there is: asked for, and not to be had
        writer.setError(VELLIX_SUCCESS);
        EXPECT_TRUE(writer.remap(more));
        EXPECT_FALSE(writer.remap(more));
        EXPECT_EQ(writer.getLastError(), VELLIX_ERR_NOT_MAPPED);
    }
    writer.markComplete();
    EXPECT_EQ(writer.serialize(), nullptr);
    EXPECT_EQ(bytes(), kSample);
}

} // namespace
