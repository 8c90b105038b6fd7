// SPDX-License-Identifier: Apache-2.0
// Faults that only a POSIX system can be asked for: disks that fill up, rights, pipes, files that go while they are open.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Failing.h"
#include "FileSupport.h"
#include "PosixSupport.h"
#include "TempDir.h"
#include "WritingJob.h"
#include "vellix/CatQueryCriteriaHelper.h"
#include "vellix/VellixWalk.h"

using namespace filetest;

namespace {

// Limits what this process may have, or how large its files may become. Nothing may be printed while that is little.
void limitTo(rlim_t most, int resource = RLIMIT_FSIZE) {
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_cur = std::min(most, limit.rlim_max);
    setrlimit(resource, &limit);
}

// Counts reads of pages while every second one is interrupted and the others give little.
std::optional<long> slowReads;

// Takes the place of what a stream is opened on, unless negative.
int streamReplacement = -1;

class PosixFaults : public testing::Test {
protected:
    // What the files in a directory hold.
    static std::map<std::string, std::string> filesIn(const std::string& path) {
        std::map<std::string, std::string> files;
        for (const auto& file : std::filesystem::directory_iterator(path))
            files[file.path().string()] = bytesOf(file.path());
        return files;
    }

    // Writes a file with entries with names of these lengths. From step `first` on, and up to step `last`, the disk is full
    // behind `limit` bytes. The steps are to create the file, to add each of two documents and the entries, and to close the
    // documents and the file. Tells which entries were acknowledged.
    std::string writeOnFullDisk(const std::vector<std::size_t>& lengths, std::size_t limit, int first, int last) {
        WritingJob job(named(lengths));
        VellixWriter writer;
        int step = 0;
        const auto inTurn = [&](const auto& call) {
            if (step == first) limitTo(limit);
            if (step++ == last) limitTo(RLIM_INFINITY);
            call();
        };
        std::signal(SIGXFSZ, SIG_IGN);
        writer.getRootDoc().addAttribute(1, "17");
        inTurn([&] { writer.create(dir.wide("a.xml").c_str()); });
        job.run(writer, inTurn);
        writer.markComplete();
        inTurn([&] { writer.close(); });
        limitTo(RLIM_INFINITY);

        left = job.expectIn(dir.file("a.xml"));
        EXPECT_TRUE(step > last || left.size() <= limit);
        EXPECT_EQ(writer.isIntact(), isMarked(left));
        EXPECT_TRUE(!isMarked(left) || job.written.find('0') == std::string::npos);
        EXPECT_EQ(writer.getLastError(), isMarked(left) ? VELLIX_SUCCESS : VELLIX_ERR_BAD_HANDLE);
        // What was blanked out may stand behind the end of all that was written. It is no part of the text.
        const auto length = static_cast<std::size_t>(writer.size() - 1);
        const char* const text = writer.serialize();
        EXPECT_EQ(text == nullptr, length == 0 || length > left.size()) << "all of a filling or less was lost";
        EXPECT_TRUE(text == nullptr || left.compare(0, length, text, length) == 0);
        EXPECT_EQ(left.find_first_not_of(' ', length), std::string::npos);
        return job.written;
    }

    TempDir dir;
    std::string left; // by the last such call
};

constexpr int kToTheEnd = 1000;

TEST_F(PosixFaults, DiskFullAtEveryByteOfASmallFile) {
    const std::string whole = kHeader + R"(<CatResults IC="1" ID="17"><CatDoc ID="42"><CatFH><ET NM="xxxxx"/>)" +
                              R"(<ET NM="xxxx"/></CatFH></CatDoc></CatResults>)";
    for (std::size_t limit = 0; limit <= whole.size(); ++limit) {
        SCOPED_TRACE(limit);
        const bool first = limit >= 104;
        const bool second = limit >= (first ? 119 : 103); // it is shorter
        EXPECT_EQ(writeOnFullDisk({5, 4}, limit, 0, kToTheEnd), std::string(first ? "1" : "0") + (second ? "1" : "0"));
        EXPECT_EQ(left == whole, limit == whole.size());
    }
}

// Room is found again after two records: what is missing of them is all that is missing, and the file isn't marked.
TEST_F(PosixFaults, DiskFullForSomeRecords) {
    const std::size_t before = kPageSize - 60; // where the first of them begins; the second one is for the next page
    for (std::size_t limit = before; limit <= kPageSize + 51; ++limit) {
        SCOPED_TRACE(limit);
        const std::string first = limit >= before + 16 ? "1" : "0";
        const std::string second = limit >= kPageSize + 51 ? "1" : "0";
        EXPECT_EQ(writeOnFullDisk({before - 99, 5, 40, 5, 5}, limit, 4, 6), '1' + first + second + "11");
    }
    for (const std::size_t length : {std::size_t{2000}, std::size_t{200000}}) {
        EXPECT_EQ(writeOnFullDisk({5, length, 9}, length / 2, 4, 5), "101");
        EXPECT_EQ(writeOnFullDisk({5, length}, length / 2, 4, 5), "10");
        EXPECT_EQ(left.size(), length / 2) << "what the disk took of the last record";
    }
}

// A device and a pipe can be written to. They hold no file that could be marked or mapped.
TEST_F(PosixFaults, WritesToWhatIsNoFile) {
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    const int end = open(dir.file("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    for (const bool full : {true, false}) {
        VellixWriter writer;
        EXPECT_TRUE(writer.create(full ? L"/dev/full" : dir.wide("pipe").c_str()));
        addSample(writer);
        EXPECT_FALSE(writer.sync());
        writer.markComplete();
        EXPECT_EQ(writer.serialize(), nullptr);
        EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
        EXPECT_NE(writer.isIntact(), full);
    }
    char received[200];
    EXPECT_EQ(std::string(received, static_cast<std::size_t>(read(end, received, sizeof received))), kSample);
    close(end);
}

// What a writer keeps open behind its end may be the first descriptor.
TEST_F(PosixFaults, TheFirstDescriptorServesAsAnyOther) {
    VellixWriter writer;
    ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
    addSample(writer);
    writer.markComplete();
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    writer.close();
    dup2(input, STDIN_FILENO);
    close(input);
    EXPECT_NE(writer.serialize(), nullptr);
    EXPECT_EQ(bytesOf(dir.file("a.xml")), marked(kSample));
}

TEST_F(PosixFaults, AFileThatAnotherWriterTookStaysLost) {
    VellixWriter first;
    VellixWriter second;
    ASSERT_TRUE(first.create(dir.wide("a.xml").c_str()) && second.create(dir.wide("a.xml").c_str()));
    limitTo(0, RLIMIT_NOFILE);
    first.close();
    limitTo(RLIM_INFINITY, RLIMIT_NOFILE);
    EXPECT_TRUE(!first.isIntact() && second.isIntact());
}

// What may become of a path while its file is written, or behind its end. The mark goes into the file that was written, or
// nowhere, and no other text is handed out; whatever stands at the path stays as it is.
TEST_F(PosixFaults, FileReplacedOrGone) {
    namespace fs = std::filesystem;
    const std::string path = dir.file("a.xml");
    const std::string moved = dir.file("moved.xml");
    const std::string front = kSample.substr(0, 73);
    const auto put = [&](const std::string& bytes) { writeFile(path, bytes + std::string(173 - bytes.size(), ' ')); };
    const auto moveAway = [&] { fs::rename(path, moved); };
    constexpr int kLost = VELLIX_ERR_BAD_HANDLE;
    const struct {
        const char* name;
        std::function<void()> happens;
        int code; // if it happens while the file is written
        int lateCode;
    } cases[] = {
        {"another in its place", [&] { moveAway(), put(front); }, VELLIX_ERR_FILE_OPEN, VELLIX_ERR_FILE_OPEN},
        {"deleted", [&] { fs::remove(path); }, VELLIX_ERR_FILE_OPEN, VELLIX_ERR_FILE_OPEN},
        {"deleted and anew", [&] { fs::remove(path), put(front); }, VELLIX_ERR_FILE_OPEN, VELLIX_ERR_FILE_OPEN},
        {"anew", [&] { put(front); }, kLost, VELLIX_SUCCESS}, // as long: none can tell
        {"anew, no header", [&] { put("0"); }, kLost, VELLIX_ERR_SYNTAX},
        {"anew, no root", [&] { put(kHeader + std::string(135, '"')); }, kLost, VELLIX_ERR_SYNTAX},
        {"anew, no digit", [&] { put(std::string(front).replace(kMarkAt, 1, "x")); }, kLost, VELLIX_ERR_SYNTAX},
        {"anew, more digits", [&] { put(std::string(front).replace(kMarkAt, 2, "00")); }, kLost, VELLIX_ERR_SYNTAX},
        {"longer", [&] { fs::resize_file(path, 174); }, kLost, VELLIX_ERR_FILE_SIZE},
        {"shortened", [&] { fs::resize_file(path, 100); }, kLost, VELLIX_ERR_FILE_SIZE},
        {"a link to it", [&] { moveAway(), fs::create_symlink(moved, path); }, 0, 0},
    };
    for (const auto& c : cases) {
        for (const bool late : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (late ? ", behind its end" : ", while it is written"));
            for (const std::string& name : {path, moved}) fs::remove(name);
            VellixWriter writer;
            ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
            addSample(writer);
            if (late) writer.close();
            c.happens();
            const int code = late ? c.lateCode : c.code;
            std::map<std::string, std::string> expected = filesIn(dir.path());
            for (auto& [file, bytes] : expected) {
                if (!late && bytes.size() == 160) bytes += "</CatResults>";
                if (code == VELLIX_SUCCESS) bytes = marked(bytes);
            }
            writer.markComplete();
            writer.close();
            EXPECT_EQ(writer.getLastError(), code);
            EXPECT_EQ(writer.serialize() != nullptr, code == VELLIX_SUCCESS || code == VELLIX_ERR_SYNTAX);
            EXPECT_EQ(filesIn(dir.path()), expected);
        }
    }
}

// How many temporary files there are behind the last call, and when the writer has gone; and whether there is a lasting one
// then. c is create of a temporary file, n of one with a name, f fills the file, x is close, r is reset, s is serialize.
TEST_F(PosixFaults, TemporaryFiles) {
    const std::string place = dir.file("temporary");
    const std::string lasting = dir.file("a.xml");
    const TemporaryDirectory use(place);
    for (const auto& [calls, expected] :
         rowsOf("cf => 1 0 | cfn => 1 0 | cfxrf => 2 1 | cfsrf => 2 1 | cfxcf => 2 1 | cfxnf => 0 0 lasting | "
                "cfsnf => 0 0 lasting | nfc => 0 0 lasting | nfxcf => 1 0 lasting")) {
        SCOPED_TRACE(calls);
        std::filesystem::remove_all(place);
        std::filesystem::create_directory(place);
        std::filesystem::remove(lasting);
        std::optional<VellixWriter> writer(std::in_place);
        bool isOpen = false; // and create is refused, and changes nothing
        for (const char call : calls) {
            EXPECT_TRUE(call != 'c' || writer->create() != isOpen);
            EXPECT_TRUE(call != 'n' || writer->create(dir.wide("a.xml").c_str()) != isOpen);
            isOpen = call == 'f';
            if (call == 'f') addSample(*writer);
            if (call == 'x') writer->close();
            if (call == 'r') writer->reset();
            EXPECT_TRUE(call != 's' || std::string(writer->serialize(), 173) == kSample);
        }
        std::string found = std::to_string(filesIn(place).size());
        for (const auto& [file, bytes] : filesIn(place)) {
            EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
            EXPECT_EQ(bytes.substr(0, 160), kSample.substr(0, 160));
        }
        writer.reset();
        found += " " + std::to_string(filesIn(place).size());
        EXPECT_EQ(found + (std::filesystem::exists(lasting) && bytesOf(lasting) == kSample ? " lasting" : ""),
                  expected);
    }
    CatQueryCriteriaHelper query;
    ASSERT_TRUE(query.create(nullptr) && query.create(nullptr));
    EXPECT_EQ(filesIn(place).size(), 1U) << "that of the first one is gone";
    const TemporaryDirectory gone(dir.file("gone"));
    VellixWriter writer;
    EXPECT_FALSE(writer.create() || query.create(nullptr));
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
}

// The records before a page that can't be read are handed out whole, and the end isn't taken for that of the file. Reads that
// are interrupted and give little are repeated, and what the file has grown by isn't read.
TEST_F(PosixFaults, PagesThatCannotBeRead) {
    const std::string path = dir.file("a.xml");
    std::string bytes = kHeader + R"(<CatResults IC="1"><CatFH>)";
    std::vector<std::string> wanted;
    for (unsigned int i = 0; i < 40; ++i) {
        const VellixEntry entry = fileEntry(std::string(i == 20 ? 150000 : i * 700, '>'), static_cast<int>(i));
        bytes += entry.toString();
        wanted.push_back(slotsOf(entry));
    }
    writeFile(path, bytes);
    OpenReader reader;
    const auto readAll = [&](Failing& failing) {
        std::vector<std::string> read;
        failing.during([&] {
            EXPECT_EQ(reader.load(dir.wide("a.xml").c_str()), failing.first != 0);
            read = readToEnd(reader);
            EXPECT_TRUE(readToEnd(reader).empty());
        });
        EXPECT_EQ(reader.isComplete(), failing.first != 0);
        EXPECT_EQ(reader.getLastError(), failing.failed() ? VELLIX_ERR_NOT_MAPPED : VELLIX_SUCCESS);
        EXPECT_EQ(read.size() == wanted.size(), !failing.failed());
        EXPECT_EQ(read, std::vector<std::string>(wanted.begin(), wanted.begin() + static_cast<long>(read.size())));
    };
    failEachRequest(readAll, Failing::kReads);
    slowReads = 0;
    EXPECT_TRUE(reader.load(dir.wide("a.xml").c_str()));
    writeFile(path, bytes + bytes);
    EXPECT_TRUE(readToEnd(reader) == wanted);
    EXPECT_GT(*slowReads, 400);
    slowReads.reset();
}

// Some of the reads of a part look in front of it for where tags begin.
TEST_F(PosixFaults, PartsThatCannotBeRead) {
    std::string text = "<CatFH>";
    while (text.size() < 300000) text += "\xF0<ET NM=\"a\"/>";
    writeFile(dir.file("a.xml"), text);
    const vellix::Walk whole(dir.file("a.xml"));
    std::size_t steps = 0;
    const auto walk = [&](Failing& failing) {
        vellix::WalkError error;
        failing.during([&] {
            vellix::Walk part = whole.part(200000, 280000);
            for (steps = 0; part.next() != nullptr; ++steps) continue;
            error = part.error();
        });
        EXPECT_TRUE(failing.failed() || failing.first > 5);
        using vellix::WalkStatus;
        EXPECT_EQ(error.status, !failing.failed() ? WalkStatus::good
                                : failing.all     ? WalkStatus::shortened
                                                  : WalkStatus::notRead);
        EXPECT_EQ(error.system == std::errc::io_error, failing.failed() && !failing.all);
    };
    failEachRequest(walk, Failing::kReads);
    EXPECT_GT(steps, 5000U);
}

// Streams, writes and views are refused in turn too. The query is all of its tags or null, and its file goes.
TEST_F(PosixFaults, NoMemoryWhileQuerying) {
    const TemporaryDirectory use(dir.path());
    const std::string body = R"(><CatDoc ID="42"><CatFH><ET NM="xxxxx"/></CatFH></CatDoc></CatQuery>)";
    const std::string requester = "a name that needs memory of its own";
    failEachRequest([&](Failing& failing) {
        WritingJob job(named({5}));
        std::string text;
        text.reserve(1000);
        bool hasRequester = false;
        failing.during([&] {
            CatQueryCriteriaHelper query;
            attempt([&] { query.create(nullptr); });
            hasRequester = attempt([&] { query.setRequester(requester.c_str()); });
            job.run(query, attempt);
            attempt([&] {
                const char* const written = query.serialize();
                if (written != nullptr) text.assign(written, static_cast<std::size_t>(query.size() - 1));
            });
            const bool intact = query.isIntact();
            attempt([&] { query.close(); });
            EXPECT_TRUE(text.empty() || (intact && query.isIntact()));
        });
        EXPECT_TRUE(filesIn(dir.path()).empty());
        EXPECT_TRUE(!text.empty() || failing.failed());
        EXPECT_TRUE(text.empty() ||
                    text == kHeader + "<CatQuery" + (hasRequester ? " Requester=\"" + requester + '"' : "") + body);
    });
}

// A stream that has no length, and one that can't be read.
TEST_F(PosixFaults, DocumentsThatCannotBeLoaded) {
    const std::string path = dir.file("a.xml");
    writeFile(path, kSample);
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    for (const bool isPipe : {true, false}) {
        streamReplacement = open(dir.file(isPipe ? "pipe" : "a.xml").c_str(), isPipe ? O_RDWR : O_WRONLY);
        VellixDoc doc(VELLIX_DOC_RESULTS);
        EXPECT_FALSE(doc.load(path.c_str()));
        EXPECT_EQ(doc.getLastError(), isPipe ? VELLIX_ERR_FILE_SIZE : VELLIX_ERR_FILE_OPEN);
        EXPECT_EQ(doc.getNumberOfEntries(), 0U);
        close(streamReplacement);
    }
    streamReplacement = -1;
    VellixDoc doc(VELLIX_DOC_RESULTS);
    Failing second(Failing::kMemory, 1, false); // the first request is for the stream
    second.during([&] { EXPECT_FALSE(doc.load(path.c_str())); });
    EXPECT_EQ(doc.getLastError(), VELLIX_ERR_NO_MEMORY);
}

} // namespace

// The library's calls end up here, see CMakeLists.txt.
extern "C" {
void* __real_malloc(std::size_t size);
char* __real_strdup(const char* text);
std::FILE* __real_fdopen(int descriptor, const char* mode);
void* __real_mmap64(void* start, std::size_t length, int protection, int flags, int descriptor, off_t offset);
ssize_t __real_pread64(int descriptor, void* out, std::size_t length, off_t offset);

void* __wrap_malloc(std::size_t size) { return Failing::failing() != nullptr ? nullptr : __real_malloc(size); }

char* __wrap_strdup(const char* text) { return Failing::failing() != nullptr ? nullptr : __real_strdup(text); }

std::FILE* __wrap_fdopen(int descriptor, const char* mode) {
    std::FILE* const stream = Failing::failing() != nullptr ? nullptr : __real_fdopen(descriptor, mode);
    if (streamReplacement >= 0) dup3(streamReplacement, descriptor, O_CLOEXEC);
    return stream;
}

void* __wrap_mmap64(void* start, std::size_t length, int protection, int flags, int descriptor, off_t offset) {
    return Failing::failing() != nullptr ? MAP_FAILED
                                         : __real_mmap64(start, length, protection, flags, descriptor, offset);
}

ssize_t __wrap_pread64(int descriptor, void* out, std::size_t length, off_t offset) {
    const bool isInterrupted = slowReads && ++*slowReads % 2 != 0;
    errno = isInterrupted ? EINTR : EIO;
    if (isInterrupted) return -1;
    const Failing* const failing = Failing::failing(Failing::kReads);
    if (failing != nullptr) return failing->all ? 0 : -1; // where all fail the file was cut
    return __real_pread64(descriptor, out, slowReads ? std::min<std::size_t>(length, 1000) : length, offset);
}
}
