// SPDX-License-Identifier: Apache-2.0
// Objects of their own on several threads at once: they share the schema and the table of views, and nothing shows. The
// parts of a walk share its file as well.

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "FileSupport.h"
#include "PosixSupport.h"
#include "TempDir.h"
#include "WritingJob.h"
#include "vellix/CatQueryCriteriaHelper.h"
#include "vellix/VellixWalk.h"

using namespace filetest;

namespace {

class Threads : public testing::Test {
protected:
    // What works on files, with entries of its own for each thread. The helpers stand on the same.
    void work(std::size_t thread) {
        const std::string name = std::to_string(thread) + ".xml";
        WritingJob job(named(std::vector<std::size_t>(120, 1000 + thread))); // about two pages
        VellixWriter writer;
        EXPECT_TRUE(writer.create(dir.wide(name).c_str()));
        job.run(writer);
        writer.markComplete();
        writer.close();
        expectIn(job, dir.file(name));
        EXPECT_EQ(job.written, std::string(120, '1'));
        OpenReader reader;
        EXPECT_TRUE(reader.load(dir.wide(name).c_str()));
        EXPECT_EQ(readToEnd(reader).size(), 120U);

        CatQueryCriteriaHelper query; // by way of a temporary file
        EXPECT_TRUE(query.create(nullptr));
        query.setRequester(name.c_str());
        WritingJob empty({});
        empty.run(query);
        const char* const written = query.serialize();
        ASSERT_NE(written, nullptr);
        EXPECT_NE(std::string(written, 80).find("<CatQuery Requester=\"" + name), std::string::npos);
    }

    // What a stream of the test has open is inherited.
    void expectIn(const WritingJob& job, const std::string& path) {
        const std::lock_guard<std::mutex> lock(noChild);
        job.expectIn(path);
    }

    // What a process has open, as a child of ours lists it: the child itself, unless another one is meant.
    std::string descriptorsOf(const std::string& process) {
        const std::string listing = elsewhere.file("listing");
        const std::lock_guard<std::mutex> lock(noChild);
        EXPECT_EQ(std::system(("ls -l /proc/" + process + "/fd > " + listing).c_str()), 0); // NOLINT(cert-env33-c)
        return bytesOf(listing);
    }

    // How many of the listed descriptors lead to our files.
    std::size_t leadsToOurs(const std::string& listing) const { return split(listing, dir.path()).size() - 1; }

    const TempDir elsewhere;
    TempDir dir;
    const TemporaryDirectory temporary{dir.path()};
    std::mutex noChild; // is made while another thread has this
};

TEST_F(Threads, EachWithItsOwnAndChildrenWithNothing) {
    VellixWriter writer;
    VellixWriter finished; // which keeps its file in another way
    ASSERT_TRUE(writer.create() && finished.create());
    finished.close();
    writeFile(dir.file("a.xml"), kSample);
    OpenReader reader;
    ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));

    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
            for (int round = 0; round < 12; ++round) work(thread);
        });
    }
    for (int child = 0; child < 5; ++child) {
        const std::string listing = descriptorsOf("self");
        EXPECT_NE(listing.find("listing"), std::string::npos);
        EXPECT_EQ(leadsToOurs(listing), 0U) << listing;
    }
    for (std::thread& thread : threads) thread.join();

    const std::string listing = descriptorsOf(std::to_string(getpid()));
    EXPECT_EQ(leadsToOurs(listing), 3U) << listing;
}

// Each thread takes the next part that nobody has taken, while another one goes on with the walk itself.
TEST_F(Threads, PartsOfOneFile) {
    std::string text = kHeader + "<CatResults ID=\"s\"><CatDoc ID=\"1\"><CatFH>";
    for (int i = 0; i < 20000; ++i) text += "<ET NM=\"\xE9<" + std::to_string(i) + "\" SZ=\"1\"/>";
    writeFile(dir.file("a.xml"), text);
    vellix::Walk whole(dir.file("a.xml"));
    const std::vector<std::string> expected = entriesFound(whole.part(0, whole.size()));
    ASSERT_EQ(expected.size(), 20000U);

    std::vector<std::vector<std::string>> found(100);
    std::atomic<std::size_t> nextPart{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            const std::uint64_t length = whole.size() / found.size() + 1;
            for (std::size_t part = nextPart++; part < found.size(); part = nextPart++)
                found[part] = entriesFound(whole.part(part * length, (part + 1) * length, VELLIX_DOC_FH));
        });
    }
    std::size_t steps = 0;
    while (whole.next() != nullptr) ++steps;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(steps, 20006U);
    std::vector<std::string> all;
    for (const auto& part : found) all.insert(all.end(), part.begin(), part.end());
    EXPECT_TRUE(all == expected);
}

} // namespace
