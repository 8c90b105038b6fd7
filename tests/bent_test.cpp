// SPDX-License-Identifier: Apache-2.0
// Files that were cut, and files with a byte that is another: what is read is what the bytes say.

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "NumberedEntry.h"
#include "TempDir.h"

using namespace filetest;

namespace {

// A file of several pages, and what is read of it: the document of the entries, which has an attribute, and each entry,
// one of which is longer than a page.
class BentFiles : public testing::Test {
protected:
    struct Element {
        std::size_t start; // of its tag in the file
        std::size_t end;
        std::string values;
    };

    void SetUp() override {
        RandomText random(1);
        VellixWriter writer;
        VellixDoc files(VELLIX_DOC_FH);
        ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
        files.addAttribute(0, 1, false);
        writer.addDoc(files);
        for (unsigned int i = 0; i < 400; ++i) {
            VellixEntry entry = numberedEntry(i, i == 100 ? kPageSize : 20 + random.below(800));
            ASSERT_TRUE(files.addEntry(entry));
        }
        files.close();
        writer.close();
        whole = bytesOf(dir.file("a.xml"));
        for (std::size_t at = whole.find("<CatFH"); whole[at + 1] != '/'; at = whole.find('<', at + 1)) {
            const std::size_t end = whole.find('>', at) + 1;
            elements.push_back({at, end, valuesOf(whole.substr(at, end - at))});
        }
        ASSERT_EQ(elements.size(), 401U);
        ASSERT_GT(whole.size(), 4 * kPageSize);
    }

    std::vector<std::string> readFile() {
        OpenReader reader;
        EXPECT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        return readToEnd(reader);
    }

    void expectCut(std::size_t length) {
        std::filesystem::resize_file(dir.file("a.xml"), length);
        std::vector<std::string> expected;
        for (const Element& element : elements) {
            if (element.start >= length) break;
            expected.push_back(element.end <= length ? element.values
                                                     : valuesOf(whole.substr(element.start, length - element.start)));
        }
        if (!expected.empty() && expected.back().empty()) expected.pop_back();
        EXPECT_TRUE(readFile() == expected) << length;
    }

    void putByte(std::size_t at, char byte) {
        std::fstream file(dir.file("a.xml"), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(at)).put(byte);
    }

    // What was read of the file with another byte at `at`.
    void expectOneTouched(const std::vector<std::string>& read, std::size_t at, char byte) {
        std::size_t front = 0; // how many are the same from the front, and from the back
        while (front < std::min(read.size(), elements.size()) && read[front] == elements[front].values) ++front;
        const std::size_t most = std::min(read.size(), elements.size()) - front;
        std::size_t back = 0;
        while (back < most && read[read.size() - 1 - back] == elements[elements.size() - 1 - back].values) ++back;
        const std::size_t lost = elements.size() - front - back;
        if (lost == 0 && front + back == read.size()) return;

        if (at < elements[0].start) { // the root, without which the first page is passed over
            EXPECT_TRUE(front + lost == 1 || (front + back == read.size() && elements[lost].start / kPageSize == 1));
            return;
        }
        std::size_t touched = elements.size() - 1;
        while (elements[touched].start > at) --touched;
        EXPECT_TRUE(front >= touched && front + lost <= touched + 2) << front << ' ' << lost << ' ' << touched;
        const bool swallows = static_cast<unsigned char>(byte) >= 0xC2 && whole.find('<', at) < at + 4;
        for (std::size_t i = front; i + back < read.size() && touched > 0 && !swallows; ++i) {
            const auto holds = [&](std::size_t element) {
                return read[i].find(numberText(static_cast<unsigned int>(element - 1))) != std::string::npos;
            };
            EXPECT_FALSE(holds(touched) && holds(touched + 1)) << read[i];
        }
    }

    TempDir dir;
    std::string whole;
    std::vector<Element> elements;
};

// Whole entries, and of the torn one what stands in front of the cut.
TEST_F(BentFiles, Cut) {
    const std::size_t places = rounds("VELLIX_TEST_CUTS", 0);
    RandomText random(2);
    std::vector<std::size_t> lengths;
    for (std::size_t i = 0; i < 50 + places; ++i) lengths.push_back(random.below(whole.size()));
    const std::size_t lastPages = (whole.size() / kPageSize - 1) * kPageSize;
    const std::size_t everyByte = places != 0 ? lastPages : whole.size() - 400;
    for (std::size_t i = everyByte; i <= whole.size(); ++i) lengths.push_back(i);
    for (std::size_t i = 0; i < 80; ++i) lengths.push_back(lastPages - 40 + i);
    std::sort(lengths.rbegin(), lengths.rend());
    for (const std::size_t length : lengths) expectCut(length);
}

// A byte of a record touches that record alone and the one behind it, which it may swallow. The values of both meet only
// where the byte makes the "<" between them part of a character.
TEST_F(BentFiles, OneByteIsAnother) {
    const std::string special("<>\"'&/=# \0\xC3\xE2\xF0", 13);
    const std::size_t flips = rounds("VELLIX_TEST_FLIPS", 300);
    RandomText random(3);
    for (std::size_t flip = 0; flip < flips; ++flip) {
        const std::size_t inMarkup = elements[random.below(elements.size())].end - random.below(15);
        const std::size_t at = random.below(2) != 0 ? inMarkup % whole.size() : random.below(whole.size());
        const char byte =
            random.below(2) != 0 ? special[random.below(special.size())] : static_cast<char>(random.below(256));
        SCOPED_TRACE("byte " + std::to_string(at) + " is " + std::to_string(static_cast<unsigned char>(byte)));
        putByte(at, byte);
        expectOneTouched(readFile(), at, byte);
        putByte(at, whole[at]);
    }
    EXPECT_EQ(bytesOf(dir.file("a.xml")), whole);
}

} // namespace
