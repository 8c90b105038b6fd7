// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixWriter.h"

#include <cstddef>
#include <functional>
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

// Every record is in the file when its call returns, and the mark comes only at the end.
TEST_F(WriterTest, WritesTheSampleFileCallByCall) {
    VellixWriter writer;
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry first = fileEntry("a.txt", 12);
    VellixEntry second = fileEntry("b.txt", 7);
    image.addAttribute(1, "42");
    writer.getRootDoc().addAttribute(1, "1700000000");
    writer.markComplete();
    const struct {
        std::function<bool()> call;
        std::size_t length; // of the file then
    } calls[] = {{[&] { return create(writer); }, 0},
                 {[&] { return writer.addDoc(image); }, 73},
                 {[&] { return image.addChildDoc(files); }, 89},
                 {[&] { return files.addEntry(first); }, 120},
                 {[&] { return files.addEntry(second); }, 143},
                 {[&] { return files.close(), true; }, 151},
                 {[&] { return image.close(), true; }, 160}};
    EXPECT_EQ(writer.size(), 1);
    for (const auto& [call, length] : calls) {
        EXPECT_TRUE(call());
        EXPECT_EQ(writer.size(), static_cast<__int64>(length + 1));
        EXPECT_EQ(bytes(), kSample.substr(0, length));
    }
    for (int time = 0; time < 2; ++time) { // the second one writes nothing more
        writer.close();
        EXPECT_EQ(bytes(), marked(kSample));
        EXPECT_EQ(writer.size(), 174);
    }
    EXPECT_EQ(std::string(writer.serialize(), 173), marked(kSample));
    EXPECT_EQ(writer.getLastError(), VELLIX_SUCCESS);
}

// A record begins on the next boundary if it would end behind it. Behind one of several pages the boundary catches up page
// by page.
TEST_F(WriterTest, RecordsAndPages) {
    const std::size_t p = kPageSize;
    const struct {
        std::size_t length;
        std::size_t filling;                                                                 // in front of it
    } records[] = {{p, 0},         {1, 0},     {p - 2, 0}, {1, 0}, {2, 0},  {p - 1, p - 2},  // up to 4 p - 1
                   {2, 1},         {p - 2, 0}, {p + 1, 0}, {1, 0}, {20, 0}, {p - 1, p - 22}, // up to 8 p - 1
                   {3 * p + 5, 1}, {7, 0},     {p, 0},     {7, 0}, {9, 0},  {p - 28, 0},     // up to 13 p
                   {1, 0}};
    VellixWriter writer(VELLIX_DOC_NONE);
    ASSERT_TRUE(create(writer));
    std::string expected;
    for (const auto& [length, filling] : records) {
        SCOPED_TRACE(expected.size());
        const std::string record(length, static_cast<char>('a' + expected.size() % 26));
        expected += std::string(filling, ' ') + record;
        EXPECT_TRUE(writer.write(record.c_str(), static_cast<unsigned long>(length)));
        EXPECT_EQ(writer.size(), static_cast<__int64>(expected.size() + 1));
    }
    EXPECT_TRUE(bytes() == expected) << "the file differs in its bytes";
}

TEST_F(WriterTest, RootAttributesFromADocument) {
    const auto rootFrom = [](const VellixDoc& doc) { return slotsOf(VellixWriter(doc).getRootDoc()); };
    VellixDoc results(VELLIX_DOC_RESULTS);
    const std::string stamped = rootFrom(results);
    EXPECT_EQ(stamped.substr(0, 7), "0=0; 1=");
    EXPECT_EQ(stamped.find_first_not_of("0123456789", 7), std::string::npos);
    EXPECT_GT(stamped.size(), 16U);
    results.addAttribute(1, "mine");
    EXPECT_EQ(rootFrom(results), "1=mine");
    EXPECT_EQ(rootFrom(VellixDoc(VELLIX_DOC_DOC)), "");
}

// The mark is stored where the file begins with the tag of its root, and nowhere else. The root may become another one.
TEST_F(WriterTest, MarkOnlyWhereTheRootHasAPlaceForIt) {
    VellixDoc image(VELLIX_DOC_DOC);
    image.addAttribute(0, 0, false);
    image.addAttribute(1, "nightly");
    const std::string look = kHeader + R"(<CatResults IC="0")";
    const auto expectFront = [this](VELLIX_DOC_TYPE type, const auto& prepare, const std::string& front, int code) {
        SCOPED_TRACE(front);
        VellixWriter writer(type);
        VellixDoc files(VELLIX_DOC_FH);
        ASSERT_TRUE(create(writer));
        prepare(writer);
        writer.addDoc(files);
        files.close();
        writer.markComplete();
        writer.close();
        EXPECT_EQ(bytes().substr(0, front.size()), front);
        EXPECT_EQ(writer.getLastError(), code);
        EXPECT_TRUE(writer.isIntact());
    };
    expectFront(
        VELLIX_DOC_NONE, [&](VellixWriter& writer) { writer.write(look.c_str(), 1); }, look, VELLIX_ERR_SYNTAX);
    expectFront(
        VELLIX_DOC_RESULTS, [&](VellixWriter& writer) { writer.getRootDoc() = image; },
        kHeader + R"(<CatDoc IC="1" ID="nightly">)", VELLIX_SUCCESS);
    expectFront(
        VELLIX_DOC_DOC, [](VellixWriter& writer) { writer.getRootDoc().setType(VELLIX_DOC_FH); }, "<CatFH>",
        VELLIX_ERR_SYNTAX);
}

// No reader takes a tag of more than 16 MiB, so none is acknowledged: not from a caller, nor from a document that was held.
TEST_F(WriterTest, EntriesTooLongToBeRead) {
    const auto expectLimit = [this](const char* way, std::size_t around, bool endsTheFile, const auto& add) {
        for (const bool tooLong : {false, true}) {
            SCOPED_TRACE(way);
            const std::string name((16U << 20) - around + (tooLong ? 1 : 0), 'x');
            VellixWriter writer;
            VellixEntry entry = fileEntry(name);
            ASSERT_TRUE(create(writer));
            add(writer, entry);
            EXPECT_EQ(writer.getLastError(), tooLong ? VELLIX_ERR_OUT_OF_RANGE : VELLIX_SUCCESS);
            EXPECT_NE(writer.isIntact(), tooLong);
            EXPECT_NE(writer.write(fileEntry("next")), tooLong && endsTheFile);
            writer.markComplete();
            writer.close();
            EXPECT_EQ(writer.getLastError() == VELLIX_ERR_BAD_HANDLE, tooLong) << "it is never marked";
            EXPECT_NE(bytes().find(name) != std::string::npos, tooLong);
        }
    };
    const std::size_t around = 11; // <ET NM=""/>
    expectLimit("alone", around, false, [](VellixWriter& writer, VellixEntry& entry) { writer.write(entry); });
    expectLimit("in a child of a child", around, false, [](VellixWriter& writer, VellixEntry& entry) {
        VellixDoc inner(VELLIX_DOC_FH);
        VellixDoc child(VELLIX_DOC_FH);
        VellixDoc files(VELLIX_DOC_FH);
        inner.addEntry(entry);
        child.addChildDoc(inner);
        files.addChildDoc(child);
        writer.addDoc(files);
    });
    expectLimit("tag of a document", around + 3, true, [](VellixWriter& writer, VellixEntry& entry) { // <CatFH NM=""/>
        VellixDoc files(VELLIX_DOC_FH);
        files = entry;
        writer.addDoc(files);
    });
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
    writer.close();
    EXPECT_TRUE(writer.remap(10));
    EXPECT_FALSE(writer.remap(10) || writer.remap(9));
    EXPECT_TRUE(writer.remap(11) && writer.remap(0));
    EXPECT_FALSE(writer.remap(0) || writer.remap(173));
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN) << "of before";
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
