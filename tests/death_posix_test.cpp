// SPDX-License-Identifier: Apache-2.0
// Processes that are killed while they write: what was acknowledged is in the file, and nothing says more than that.

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "FileSupport.h"
#include "NumberedEntry.h"
#include "TempDir.h"

using namespace filetest;

namespace {

// The entry of that number, of any size up to more than a page.
VellixEntry entryOf(unsigned int number) {
    const bool isLong = number % 150 == 149;
    return numberedEntry(number, number * 7919U % (isLong ? 100000U : 400U));
}

// Writes a file of so many entries. Sends a byte for each that is acknowledged, and one for the mark.
void writeAndTell(int descriptor, const std::wstring& path, unsigned int entries) {
    const auto acknowledge = [descriptor] {
        if (write(descriptor, "", 1) != 1) _exit(1);
    };
    VellixWriter writer;
    VellixDoc files(VELLIX_DOC_FH);
    writer.markComplete();
    writer.create(path.c_str());
    writer.addDoc(files);
    for (unsigned int i = 0; i < entries; ++i) {
        VellixEntry entry = entryOf(i);
        if (files.addEntry(entry)) acknowledge();
    }
    files.close();
    writer.close();
    acknowledge();
}

// Starts that in a process of its own and kills it at some time behind `wanted` bytes. Returns how many it has sent.
std::size_t writeAndKill(const std::wstring& path, unsigned int entries, std::size_t wanted) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        writeAndTell(ends[1], path, entries);
        _exit(0);
    }
    close(ends[1]);
    std::size_t sent = 0;
    char byte = 0;
    while (sent < wanted && read(ends[0], &byte, 1) == 1) ++sent;
    kill(child, SIGKILL);
    while (read(ends[0], &byte, 1) == 1) ++sent;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    EXPECT_GE(sent, wanted);
    return sent;
}

// Anywhere in a long file, and around the mark of short ones.
TEST(Death, WhileFilesAreWritten) {
    const std::size_t kills = rounds("VELLIX_TEST_KILLS", 20);
    RandomText random{5};
    for (std::size_t round = 0; round < kills; ++round) {
        SCOPED_TRACE(round);
        const TempDir dir;
        const unsigned int entries = round % 2 == 0 ? 700 : 3;
        const std::size_t told = writeAndKill(dir.wide("a.xml"), entries, 1 + random.below(entries + 1));
        OpenReader reader;
        ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        const std::vector<std::string> read = readToEnd(reader);
        std::size_t whole = 0;
        while (whole < read.size() && read[whole] == slotsOf(entryOf(static_cast<unsigned int>(whole)))) ++whole;
        EXPECT_GE(whole, std::min<std::size_t>(told, entries));
        EXPECT_LE(read.size(), whole + 1) << "only the last one may be torn";
        EXPECT_TRUE(reader.isComplete() ? whole == entries && read.size() == whole : told <= entries);
    }
}

} // namespace
