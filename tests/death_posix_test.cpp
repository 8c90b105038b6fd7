// SPDX-License-Identifier: Apache-2.0
// Processes that are killed while they write: what was acknowledged is in the file, and nothing says more than that.

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
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

// Writes a file of so many entries, and counts what is acknowledged: each of them, and the mark.
void writeAndTell(std::atomic<unsigned int>& told, const std::wstring& path, unsigned int entries) {
    VellixWriter writer;
    VellixDoc files(VELLIX_DOC_FH);
    writer.markComplete();
    writer.create(path.c_str());
    writer.addDoc(files);
    for (unsigned int i = 0; i < entries; ++i) {
        VellixEntry entry = entryOf(i);
        if (files.addEntry(entry)) ++told;
    }
    files.close();
    writer.close();
    ++told;
}

// Starts that in a process of its own and kills it at some time behind `wanted` of these. Returns how many there were.
unsigned int writeAndKill(const std::wstring& path, unsigned int entries, unsigned int wanted) {
    static void* const shared = mmap(nullptr, 64, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& told = *new (shared) std::atomic<unsigned int>(0);
    const pid_t child = fork();
    if (child == 0) {
        writeAndTell(told, path, entries);
        _exit(0);
    }
    while (told < wanted && waitpid(child, nullptr, WNOHANG) == 0) std::this_thread::yield();
    if (told >= wanted) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    return told;
}

// Anywhere in a long file, and around the mark of short ones.
TEST(Death, WhileFilesAreWritten) {
    const std::size_t kills = rounds("VELLIX_TEST_KILLS", 20);
    RandomText random{5};
    for (std::size_t round = 0; round < kills; ++round) {
        SCOPED_TRACE(round);
        const TempDir dir;
        const unsigned int entries = round % 2 == 0 ? 700 : 3;
        const auto wanted = static_cast<unsigned int>(1 + random.below(entries + 1));
        const unsigned int told = writeAndKill(dir.wide("a.xml"), entries, wanted);
        ASSERT_GE(told, wanted);
        OpenReader reader;
        ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        const std::vector<std::string> read = readToEnd(reader);
        std::size_t whole = 0;
        while (whole < read.size() && read[whole] == slotsOf(entryOf(static_cast<unsigned int>(whole)))) ++whole;
        EXPECT_GE(whole, std::min(told, entries));
        EXPECT_LE(read.size(), whole + 1) << "only the last one may be torn";
        EXPECT_TRUE(reader.isComplete() ? whole == entries && read.size() == whole : told <= entries);
    }
}

} // namespace
