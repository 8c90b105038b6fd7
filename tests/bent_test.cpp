// SPDX-License-Identifier: Apache-2.0
// Files that were cut, and files with a byte that is another: what is read is what the bytes say.

#include <algorithm>
#include <cstddef>
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
        starts = {whole.find("<CatFH")};
        while (whole[starts.back() + 1] != '/') starts.push_back(whole.find('<', starts.back() + 1));
        for (std::size_t i = 0; i + 1 < starts.size(); ++i)
            values.push_back(valuesOf(whole.substr(starts[i], starts[i + 1] - starts[i])));
        ASSERT_EQ(values.size(), 401U);
        ASSERT_GT(whole.size(), 4 * kPageSize);
    }

    std::vector<std::string> readFrom(const std::string& bent) {
        writeFile(dir.file("a.xml"), bent);
        OpenReader reader;
        EXPECT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        return readToEnd(reader);
    }

    // How many of the tags start in front of that byte.
    std::size_t tagsBefore(std::size_t at) const {
        return static_cast<std::size_t>(std::lower_bound(starts.begin(), starts.end() - 1, at) - starts.begin());
    }

    std::vector<std::string> lastValues(std::size_t count) const {
        return {values.end() - static_cast<std::ptrdiff_t>(count), values.end()};
    }

    // What was read of the file with another byte at `at`: all in front of its record, and all behind the next one.
    void expectOneTouched(std::vector<std::string> read, std::size_t at, char byte) {
        const std::size_t begun = tagsBefore(at + 1);
        if (begun == 0 && read == lastValues(values.size() - tagsBefore(kPageSize)))
            return; // without a root, no first page
        const std::size_t touched = begun == 0 ? 0 : begun - 1;
        const std::size_t behind = values.size() - std::min(begun + 1, values.size());
        ASSERT_GE(read.size(), touched + behind);
        const auto firstBehind = read.end() - static_cast<std::ptrdiff_t>(behind);
        EXPECT_TRUE(std::vector<std::string>(firstBehind, read.end()) == lastValues(behind));
        read.erase(firstBehind, read.end());
        for (std::size_t i = 0; i < touched; ++i) EXPECT_EQ(read[i], values[i]);

        const bool swallows = static_cast<unsigned char>(byte) >= 0xC2 && whole.find('<', at) < at + 4;
        const std::string own = numberText(static_cast<unsigned int>(touched - 1)); // none is that of a document
        const std::string next = numberText(static_cast<unsigned int>(touched));
        for (std::size_t i = touched; i < read.size() && !swallows; ++i)
            EXPECT_TRUE(read[i].find(own) == std::string::npos || read[i].find(next) == std::string::npos) << read[i];
    }

    TempDir dir;
    std::string whole;
    std::vector<std::size_t> starts; // of the tags, and of the close tag behind them
    std::vector<std::string> values; // of each tag
};

// Whole entries, and of the torn one what stands in front of the cut.
TEST_F(BentFiles, Cut) {
    RandomText random(2);
    for (std::size_t tag = random.below(30); tag < values.size(); tag += 1 + random.below(30)) {
        const std::size_t cut = starts[tag] + random.below(starts[tag + 1] - starts[tag]);
        std::vector<std::string> expected(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(tag));
        expected.push_back(valuesOf(whole.substr(starts[tag], cut - starts[tag])));
        if (expected.back().empty()) expected.pop_back();
        EXPECT_TRUE(readFrom(whole.substr(0, cut)) == expected) << cut;
    }
}

// A byte of a record touches that record alone and the one behind it, which it may swallow. The values of both meet only
// where the byte makes the "<" between them part of a character.
TEST_F(BentFiles, OneByteIsAnother) {
    const std::string special("<>\"'&/=# \0\xC3\xE2\xF0", 13);
    const std::size_t flips = rounds("VELLIX_TEST_FLIPS", 300);
    RandomText random(3);
    for (std::size_t flip = 0; flip < flips; ++flip) {
        const std::size_t inMarkup = starts[1 + random.below(values.size())] - random.below(15);
        const std::size_t at = random.below(2) != 0 ? inMarkup % whole.size() : random.below(whole.size());
        const char byte =
            random.below(2) != 0 ? special[random.below(special.size())] : static_cast<char>(random.below(256));
        SCOPED_TRACE("byte " + std::to_string(at) + " is " + std::to_string(static_cast<unsigned char>(byte)));
        std::string bent = whole;
        bent[at] = byte;
        expectOneTouched(readFrom(bent), at, byte);
    }
}

} // namespace
