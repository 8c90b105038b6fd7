// SPDX-License-Identifier: Apache-2.0
// Processes that are killed while they write: what was acknowledged is in the file, and nothing says more than that.

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

    // How many entries are in the file, the torn one at its end not counted. They are the first ones, in order.
    std::size_t entriesRead(const std::string& name, bool& complete) {
        OpenReader reader;
        EXPECT_TRUE(reader.load(dir.wide(name).c_str()));
        complete = reader.isComplete();
        const std::vector<std::string> read = readToEnd(reader);
        for (unsigned int i = 0; i < read.size(); ++i) {
            if (read[i] == slotsOf(entryOf(i))) continue;
            EXPECT_EQ(i + 1, read.size()) << "only the last one may be torn";
            EXPECT_FALSE(complete);
            return i;
        }
        return read.size();
    }

    TempDir dir;
    const std::size_t kills = rounds("VELLIX_TEST_KILLS", 20);
    RandomText random{5};
};

// Killed anywhere in a long file whose writer was asked for the mark.
TEST_F(Death, WhileEntriesAreWritten) {
    for (std::size_t round = 0; round < kills; ++round) {
        std::filesystem::remove(dir.file("a.xml"));
        const std::size_t acknowledged = runAndKill(random.below(3000), [&](const auto& acknowledge) {
            VellixWriter writer;
            VellixDoc files(VELLIX_DOC_FH);
            writer.markComplete();
            if (!writer.create(dir.wide("a.xml").c_str())) return;
            writer.addDoc(files);
            for (unsigned int i = 0;; ++i) {
                VellixEntry entry = entryOf(i);
                if (!files.addEntry(entry)) return;
                acknowledge();
            }
        });
        if (acknowledged == 0) continue; // there may be no file
        bool complete = true;
        EXPECT_GE(entriesRead("a.xml", complete), acknowledged) << "round " << round;
        EXPECT_FALSE(complete);
    }
}

// Killed anywhere in the life of small files, the moment of the mark among others. A marked one is whole.
TEST_F(Death, WhileFilesAreFinished) {
    constexpr std::size_t kEntries = 3;
    for (std::size_t round = 0; round < kills; ++round) {
        const std::size_t acknowledged = runAndKill(random.below(100), [&](const auto& acknowledge) {
            for (std::size_t file = 0;; ++file) {
                VellixWriter writer;
                VellixDoc files(VELLIX_DOC_FH);
                if (!writer.create(dir.wide(std::to_string(file)).c_str())) return;
                writer.addDoc(files);
                for (unsigned int i = 0; i < kEntries; ++i) {
                    VellixEntry entry = entryOf(i);
                    files.addEntry(entry);
                }
                files.close();
                writer.markComplete();
                writer.close();
                acknowledge();
            }
        });
        for (std::size_t file = 0; std::filesystem::exists(dir.file(std::to_string(file))); ++file) {
            const std::string name = std::to_string(file);
            bool complete = false;
            const std::size_t entries = entriesRead(name, complete);
            EXPECT_TRUE(complete || file >= acknowledged);
            EXPECT_TRUE(!complete || entries == kEntries);
            std::filesystem::remove(dir.file(name));
        }
    }
}

} // namespace
