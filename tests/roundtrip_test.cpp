// What is written reads back: random records from a fixed seed, over many pages, by every road.

#include <cstddef>
#include <memory>
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

// Every record lies in one page, and blanks stand only where the next record had no room.
void expectPageRule(const std::string& file, const std::vector<std::string>& records) {
    std::size_t end = 0;
    for (const std::string& record : records) {
        const std::size_t start = file.find_first_not_of(' ', end);
        ASSERT_EQ(file.compare(start, record.size(), record), 0) << start;
        EXPECT_EQ(start / kPageSize, (start + record.size() - 1) / kPageSize) << start;
        if (start != end) {
            EXPECT_EQ(start % kPageSize, 0U) << start;
            EXPECT_LT(start - end, record.size()) << start;
        }
        end = start + record.size();
    }
    EXPECT_EQ(end, file.size());
}

TEST_F(RoundTrip, RawRecordsOfAnyLength) {
    RandomText random(1);
    for (int round = 0; round < 6; ++round) {
        SCOPED_TRACE(round);
        std::vector<std::string> records;
        VellixWriter writer(VELLIX_DOC_NONE);
        ASSERT_TRUE(writer.create(dir.wide("raw.xml").c_str()));
        for (int i = 0; i < 60; ++i) {
            const std::size_t rest = kPageSize - static_cast<std::size_t>(writer.size() - 1) % kPageSize;
            const std::size_t lengths[] = {1 + random.below(20), rest, rest + 1,
                                           1 + random.below((round < 2 ? 1 : 3) * kPageSize)};
            const std::size_t length = lengths[random.below(4)];
            records.emplace_back(length, static_cast<char>('a' + i % 26));
            if (round < 2 && length > kPageSize) records.back().pop_back();
            ASSERT_TRUE(writer.write(records.back().c_str(), static_cast<unsigned long>(records.back().size())));
        }
        writer.close();
        const std::string file = bytesOf(dir.file("raw.xml"));
        EXPECT_EQ(static_cast<std::size_t>(writer.size()), file.size() + 1);
        EXPECT_TRUE(file == laidOut(records));
        if (round < 2) expectPageRule(file, records);
    }
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

        // The file is what the held form is, but for headers and filling.
        VellixDoc held(VELLIX_DOC_FH);
        std::vector<std::string> values;
        std::vector<std::string> records = {kHeader, R"(<CatResults IC="0" ID="7">)", "<CatDoc>", "<CatFH>"};
        std::string heldText;
        std::string joined = "<CatFH>";
        for (VellixEntry& entry : entries) {
            held.addEntry(entry);
            values.push_back(slotsOf(entry));
            records.push_back(entry.toString());
            joined += records.back();
        }
        held.serialize(heldText);
        EXPECT_TRUE(heldText == joined + "</CatFH>");
        for (const char* tag : {"</CatFH>", "</CatDoc>", "</CatResults>"}) records.emplace_back(tag);
        const std::string file = bytesOf(dir.file("a.xml"));
        ASSERT_GT(file.size(), 5 * kPageSize);
        EXPECT_TRUE(file == laidOut(records));
        if (round < 2) expectPageRule(file, records);

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

// A held tree goes into a file as the text that it serializes to.
TEST_F(RoundTrip, HeldTreeThroughAWriter) {
    RandomText random(3);
    for (int round = 0; round < 20; ++round) {
        std::vector<std::unique_ptr<VellixDoc>> docs;
        for (std::size_t i = 0; i < 8; ++i) {
            docs.push_back(std::make_unique<VellixDoc>(VELLIX_DOC_FH));
            docs[i]->addAttribute(6, randomValue(random, random.below(40)));
            for (std::size_t left = random.below(3); left != 0; --left) {
                VellixEntry entry = fileEntry(randomValue(random, random.below(90)));
                docs[i]->addEntry(entry);
            }
            if (i > 0) docs[random.below(i)]->addChildDoc(*docs[i]);
        }
        std::string text;
        docs[0]->serialize(text);
        ASSERT_LT(text.size(), kPageSize);
        {
            VellixWriter writer(*docs[0]);
            ASSERT_TRUE(writer.create(dir.wide("held.xml").c_str()));
        }
        EXPECT_EQ(bytesOf(dir.file("held.xml")), text);
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
