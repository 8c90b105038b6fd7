// SPDX-License-Identifier: Apache-2.0
// Processes that are killed while they write: what was acknowledged is in the file, and nothing says more than that.

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <filesystem>
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

class Death : public testing::Test {
protected:
    // The entry of that number, of any size up to more than a page.
    static VellixEntry entryOf(unsigned int number) {
        const bool isLong = number % 150 == 149;
        return numberedEntry(number, number * 7919U % (isLong ? 100000U : 400U));
    }

    // Lets `work` run in a process of its own, which it tells of each thing done, kills that at some time after `wanted`
    // of them, and returns how many there were.
    template <class Work> static std::size_t runAndKill(std::size_t wanted, const Work& work) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            work([&ends] {
                if (write(ends[1], "", 1) != 1) _exit(1);
            });
            _exit(0);
        }
        close(ends[1]);
        std::size_t done = 0;
        char byte = 0;
        while (done < wanted && read(ends[0], &byte, 1) == 1) ++done;
        kill(child, SIGKILL);
        while (read(ends[0], &byte, 1) == 1) ++done;
        close(ends[0]);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status));
        return done;
    }

    // How many entries the file with that number has: one that is long, and then some short ones.
    static unsigned int sizeOf(std::size_t file) { return file % 20 == 0 ? 700 : 3; }

    // Looks at the file, and returns how many entries can be read, the torn one at its end not counted. They are the first
    // ones, in order, and if the file says that it is complete they are all.
    std::size_t entriesRead(std::size_t file) {
        OpenReader reader;
        EXPECT_TRUE(reader.load(dir.wide(std::to_string(file)).c_str()));
        const std::vector<std::string> read = readToEnd(reader);
        std::size_t whole = 0;
        while (whole < read.size() && read[whole] == slotsOf(entryOf(static_cast<unsigned int>(whole)))) ++whole;
        EXPECT_LE(read.size(), whole + 1) << "only the last one may be torn";
        EXPECT_TRUE(!reader.isComplete() || (whole == sizeOf(file) && read.size() == whole));
        return whole + (reader.isComplete() ? 1 : 0);
    }

    TempDir dir;
    const std::size_t kills = rounds("VELLIX_TEST_KILLS", 20);
    RandomText random{5};
};

// Each entry is acknowledged, and then the mark of each file. What is acknowledged is there.
TEST_F(Death, WhileFilesAreWritten) {
    for (std::size_t round = 0; round < kills; ++round) {
        SCOPED_TRACE(round);
        std::size_t acknowledged = runAndKill(random.below(2000), [&](const auto& acknowledge) {
            for (std::size_t file = 0;; ++file) {
                VellixWriter writer;
                VellixDoc files(VELLIX_DOC_FH);
                writer.markComplete();
                if (!writer.create(dir.wide(std::to_string(file)).c_str())) return;
                writer.addDoc(files);
                for (unsigned int i = 0; i < sizeOf(file); ++i) {
                    VellixEntry entry = entryOf(i);
                    if (!files.addEntry(entry)) return;
                    acknowledge();
                }
                files.close();
                writer.close();
                acknowledge();
            }
        });
        for (std::size_t file = 0; std::filesystem::exists(dir.file(std::to_string(file))); ++file) {
            const std::size_t steps = std::min<std::size_t>(acknowledged, sizeOf(file) + 1);
            EXPECT_GE(entriesRead(file), steps) << "file " << file;
            acknowledged -= steps;
            std::filesystem::remove(dir.file(std::to_string(file)));
        }
        EXPECT_EQ(acknowledged, 0U) << "a file is missing";
    }
}

} // namespace
