// What is written reads back: random records from a fixed seed, over many pages, by every road.

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"

using namespace filetest;

namespace {

class RoundTrip : public testing::Test {
protected:
    TempDir dir;
};

// A value of `length` bytes; any but NUL may be among them.
std::string randomValue(RandomText& random, std::size_t length) {
    std::string value;
    while (value.size() < length) value += random.next(40);
    return value.substr(0, length);
}

// Entries, most of them short, some of up to a page, some with values of up to `longest` bytes.
std::vector<VellixEntry> randomEntries(RandomText& random, std::size_t count, std::size_t longest) {
    std::vector<VellixEntry> entries(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t kind = random.below(10);
        entries[i].setType(VELLIX_DOC_FH);
        entries[i].addAttribute(0, static_cast<unsigned int>(i), false); // no entry is empty, each can be told
        entries[i].addAttribute(7, randomValue(random, random.below(60)));
        if (kind == 0) entries[i].addAttribute(8, std::string(random.below(kPageSize - 600), 'p'));
        if (kind == 1) entries[i].addAttribute(8, randomValue(random, random.below(longest)));
    }
    return entries;
}

// Where the writer's rule puts records of these lengths: one that would pass the boundary ahead starts on it, and the
// boundary moves on by one page.
std::string laidOut(const std::vector<std::string>& records) {
    std::string file;
    std::size_t boundary = kPageSize;
    for (const std::string& record : records) {
        if (file.size() + record.size() > boundary) {
            if (file.size() < boundary) file.resize(boundary, ' ');
            boundary += kPageSize;
        }
        file += record;
    }
    return file;
}

TEST_F(RoundTrip, EntriesByEveryRoad) {
    RandomText random(2);
    for (int round = 0; round < 4; ++round) {
        SCOPED_TRACE(round);
        std::vector<VellixEntry> entries = randomEntries(random, 150, round < 2 ? 9000 : 3 * kPageSize);
        {
            VellixWriter writer;
            VellixDoc image(VELLIX_DOC_DOC);
            VellixDoc files(VELLIX_DOC_FH);
            writer.getRootDoc().addAttribute(1, "7");
            ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
            writer.addDoc(image);
            image.addChildDoc(files);
            for (VellixEntry& entry : entries) EXPECT_TRUE(files.addEntry(entry));
        }

        std::vector<std::string> values;
        std::vector<std::string> records = {kHeader, R"(<CatResults IC="0" ID="7">)", "<CatDoc>", "<CatFH>"};
        for (VellixEntry& entry : entries) {
            values.push_back(slotsOf(entry));
            records.push_back(entry.toString());
        }
        for (const char* tag : {"</CatFH>", "</CatDoc>", "</CatResults>"}) records.emplace_back(tag);
        const std::string file = bytesOf(dir.file("a.xml"));
        ASSERT_GT(file.size(), 5 * kPageSize);
        EXPECT_TRUE(file == laidOut(records));

        // Through pages, and the same bytes through memory.
        OpenReader reader;
        VellixDoc image(VELLIX_DOC_DOC);
        VellixDoc files(VELLIX_DOC_FH);
        VellixEntry entry;
        ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        ASSERT_TRUE(reader.getFirstDoc(image));
        ASSERT_TRUE(image.getFirstChildDoc(files));
        for (std::size_t i = 0; i < entries.size(); ++i) {
            ASSERT_TRUE(files.getNextEntry(entry)) << i;
            ASSERT_TRUE(entry == entries[i]) << i;
        }
        EXPECT_FALSE(files.getNextEntry(entry));
        const ExactBytes bytes(file);
        OpenReader memory;
        ASSERT_TRUE(memory.load(bytes.data(), bytes.size()));
        EXPECT_TRUE(readToEnd(memory) == values);
    }
}

// Whatever the bytes are, pages give the entries that memory gives.
TEST_F(RoundTrip, AnyTextThroughPagesAndMemory) {
    RandomText random(4);
    const std::string front = kHeader + R"(<CatResults ID="1">)";
    for (int round = 0; round < 400; ++round) {
        const std::size_t room = random.below(120);
        std::string text =
            front + "<ET NM=\"" + std::string(kPageSize - room - front.size() - 11, 'x') + "\"/>" + random.next(80);
        if (random.below(3) == 0) text += "<ET NM=\"" + std::string(random.below(2 * kPageSize), 'y') + random.next(40);
        const ExactBytes bytes(text);
        OpenReader memory;
        OpenReader pages;
        writeFile(dir.file("any.xml"), text);
        ASSERT_TRUE(memory.load(bytes.data(), bytes.size()));
        ASSERT_TRUE(pages.load(dir.wide("any.xml").c_str()));
        ASSERT_EQ(readToEnd(pages), readToEnd(memory))
            << "round " << round << ": " << text.substr(kPageSize - room, 200);
    }
}

} // namespace
