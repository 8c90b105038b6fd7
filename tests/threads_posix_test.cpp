// SPDX-License-Identifier: Apache-2.0
// Objects of their own on several threads at once: they share the schema and the table of views, and nothing shows.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "PosixSupport.h"
#include "TempDir.h"
#include "vellix/CatImageCmdXmlFileHelper.h"
#include "vellix/CatQueryCriteriaHelper.h"
#include "vellix/VellixMMap.h"

using namespace filetest;

namespace {

class Threads : public testing::Test {
protected:
    static constexpr int kThreads = 8;
    static constexpr int kRounds = 12;

    // Everything that works on files, with an entry of its own for each thread. False if anything is not as it would be
    // on one thread.
    bool workOnFiles(int thread) {
        const std::string name = std::to_string(thread) + ".xml";
        const std::string path = dir.file(name);
        VellixWriter writer;
        VellixDoc files(VELLIX_DOC_FH);
        files.addAttribute(0, 1, false);
        VellixEntry entry = fileEntry("a & " + std::string(1000, static_cast<char>('a' + thread)), thread);
        bool right = writer.create(dir.wide(name).c_str()) && writer.addDoc(files);
        for (int i = 0; i < 150; ++i) right = files.addEntry(entry) && right; // more than two pages
        files.close();
        writer.markComplete();
        const std::string written(writer.serialize(), static_cast<std::size_t>(writer.size() - 1));

        OpenReader reader;
        right = reader.load(dir.wide(name).c_str()) && reader.isComplete() && right;
        const std::vector<std::string> read = readToEnd(reader);
        right = read.size() == 151 && read.back() == slotsOf(entry) && right;

        VellixMMap file;
        file.open(dir.wide(name).c_str(), 0);
        file.map(file.handle(), 0, 2, 2, nullptr, 0);
        right = std::string(static_cast<const char*>(file.addr()), written.size()) == written && right;

        VellixDoc held(VELLIX_DOC_RESULTS);
        std::string text;
        right = held.load(path.c_str()) && held.getNumberOfEntries() == 151 && held.serialize(text) && right;
        const MallocText size(
            VellixEntry::parseAttribute(VELLIX_DOC_FH, 9, entry.toString().c_str(), entry.size(), true));
        return shown(size) == std::to_string(thread) && right;
    }

    // The helpers, by way of temporary files.
    bool workWithHelpers(int thread) {
        const std::wstring path = dir.wide(std::to_string(thread) + ".cmd");
        const std::string id = std::to_string(thread);
        CatQueryCriteriaHelper query;
        VellixDoc format(VELLIX_DOC_RETURN_RESULT_FORMAT);
        bool right = query.create(nullptr);
        query.setRequester(id.c_str());
        query.addDoc(format);
        format.close();
        const char* const text = query.serialize();
        right =
            text != nullptr && std::string(text, 80).find("<CatQuery Requester=\"" + id) != std::string::npos && right;

        CatImageCmdXmlFileHelper commands;
        VellixEntry command = fileEntry(id);
        commands.setImageId(id.c_str());
        right = commands.create(path.c_str()) && commands.addImageCmd(command) && right;
        commands.close();
        right = commands.load(path.c_str()) && commands.getNextImageCmd(command) && right;
        return command.getAttributeStr(6) == id && commands.getImageId() == id && right;
    }

    // How many open descriptors of the process that has this directory of them lead to our files.
    std::size_t leadsToOurs(const std::string& listing) const { return split(listing, dir.path()).size() - 1; }

    TempDir dir;
    const TemporaryDirectory temporary{dir.path()};
};

TEST_F(Threads, EachWithItsOwnAndChildrenWithNothing) {
    VellixWriter writer;
    ASSERT_TRUE(writer.create());
    addSample(writer);
    writeFile(dir.file("a.xml"), kSample);
    OpenReader reader;
    ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
    VellixMMap file;
    ASSERT_EQ(file.open(dir.wide("a.xml").c_str(), 2), VELLIX_SUCCESS);
    file.map(file.handle(), 0, 4, 2, nullptr, 0);

    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int round = 0; round < kRounds; ++round)
                wrong += workOnFiles(thread) && workWithHelpers(thread) ? 0 : 1;
        });
    }
    for (int child = 0; child < 5; ++child) {
        std::string listing;
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(popen("ls -l /proc/self/fd", "r"), pclose);
        ASSERT_NE(output, nullptr);
        for (int c = std::fgetc(output.get()); c != EOF; c = std::fgetc(output.get())) listing += static_cast<char>(c);
        EXPECT_NE(listing.find("pipe:"), std::string::npos);
        EXPECT_EQ(leadsToOurs(listing), 0U) << listing;
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);

    std::string listing;
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // that of the iterator
        listing += std::filesystem::read_symlink(descriptor, gone).string() + '\n';
    }
    EXPECT_EQ(leadsToOurs(listing), 3U) << listing;
}

} // namespace
