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
#include "vellix/CatImageCmdXmlFileHelper.h"
#include "vellix/CatQueryCriteriaHelper.h"

using namespace filetest;

namespace {

// For its lifetime no file of this process grows past `bytes`. Nothing may be printed meanwhile.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::size_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit now = {bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before = {};
    void (*handler)(int);
};

// What becomes of the reads of pages: one fails, or each is interrupted and then gives little.
struct PageReads {
    long count = 0;
    long failing = -1;
    bool slow = false;
};
PageReads pageReads;

class PosixFaults : public testing::Test {
protected:
    std::vector<std::filesystem::path> filesIn(const std::string& path) const {
        std::vector<std::filesystem::path> files;
        for (const auto& file : std::filesystem::directory_iterator(path)) files.push_back(file.path());
        return files;
    }

    // All files below the directory, by path.
    std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> all;
        for (const auto& file : std::filesystem::recursive_directory_iterator(dir.path())) {
            if (file.is_regular_file()) all[file.path().string()] = bytesOf(file.path());
        }
        return all;
    }

    // The file holds whole tags and blanks alone, and of entries exactly the ones in `written`.
    void expectEntries(const std::string& file, const std::vector<std::string>& written) const {
        EXPECT_EQ(entriesIn(file), written);
        if (file.find("<CatResults ") == std::string::npos) return;
        OpenReader reader;
        ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        std::vector<std::string> values;
        for (const std::string& tag : written) values.push_back(valuesOf(tag));
        EXPECT_EQ(readToEnd(reader), values);
    }

    TempDir dir;
};

TEST_F(PosixFaults, DiskFullAtEveryByteOfASmallFile) {
    const std::string entries[2] = {R"(<ET NM="a.txt" SZ="12"/>)", R"(<ET NM="b.txt" SZ="7"/>)"};
    for (std::size_t limit = 0; limit <= kSample.size(); ++limit) {
        SCOPED_TRACE(limit);
        bool written[2];
        {
            const FileSizeLimit full(limit);
            VellixWriter writer;
            writer.create(dir.wide("a.xml").c_str());
            addSample(writer, written);
            writer.markComplete();
            writer.close();
            EXPECT_EQ(writer.isIntact(), limit == kSample.size());
            EXPECT_EQ(writer.getLastError(), writer.isIntact() ? VELLIX_SUCCESS : VELLIX_ERR_BAD_HANDLE);
        }
        const std::string file = bytesOf(dir.file("a.xml"));
        EXPECT_LE(file.size(), limit);
        EXPECT_EQ(written[0], limit >= 120);
        EXPECT_EQ(written[1], limit >= (written[0] ? 143U : 119U)); // it is shorter by a byte
        if (limit == kSample.size()) {
            EXPECT_EQ(file, marked(kSample));
        } else {
            EXPECT_NE(file.substr(0, kMarkAt + 1), marked(kSample).substr(0, kMarkAt + 1));
        }
        std::vector<std::string> expected;
        for (int i = 0; i < 2; ++i) {
            if (written[i]) expected.push_back(entries[i]);
        }
        expectEntries(file, expected);
    }
}

// Room is found again after one record: it alone is missing, and the file isn't marked.
TEST_F(PosixFaults, DiskFullForOneRecord) {
    const std::size_t before = kPageSize - 60;
    for (std::size_t limit = before; limit <= kPageSize + 40; ++limit) {
        SCOPED_TRACE(limit);
        std::vector<std::string> written;
        VellixWriter writer;
        ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
        VellixDoc files(VELLIX_DOC_FH);
        writer.addDoc(files);
        const auto add = [&](VellixEntry entry) {
            if (files.addEntry(entry)) written.push_back(entry.toString());
        };
        const std::size_t front = static_cast<std::size_t>(writer.size()) - 1 + 7; // the tag of `files` comes first
        add(fileEntry(std::string(before - front - 11, 'x')));
        ASSERT_EQ(writer.size(), static_cast<__int64>(before) + 1);
        {
            const FileSizeLimit full(limit);
            add(fileEntry("short", 1)); // 23 bytes, all on the first page
            add(fileEntry(std::string(40, 'y')));
        }
        add(fileEntry("after", 2));
        add(fileEntry("last", 3));
        files.close();
        writer.markComplete();
        writer.close();
        const std::string file = bytesOf(dir.file("a.xml"));
        const std::size_t lost = (limit < before + 23 ? 1U : 0U) + (limit < kPageSize + 51 ? 1U : 0U);
        EXPECT_GE(written.size(), 5 - lost);
        EXPECT_EQ(writer.size(), static_cast<__int64>(file.size()) + 1) << "no filling is lost either";
        EXPECT_EQ(written.size() == 5, file[kMarkAt] == '1');
        expectEntries(file, written);
    }
}

// What was blanked out may stand behind the end of all that was written. It belongs to the file, but not to its text.
TEST_F(PosixFaults, DiskFullForTheLastRecord) {
    VellixWriter writer;
    ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
    addSample(writer);
    {
        const FileSizeLimit full(1000);
        EXPECT_FALSE(writer.write(fileEntry(std::string(2000, 'x'))));
    }
    const char* const text = writer.serialize();
    EXPECT_EQ(bytesOf(dir.file("a.xml")), kSample + std::string(1000 - kSample.size(), ' '));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(writer.size() - 1)), kSample);
}

// Among records of all sizes is one over three pages, of which the disk takes a part.
TEST_F(PosixFaults, DiskFullAtChosenBytesOfALargeFile) {
    for (std::size_t page = kPageSize; page <= 4 * kPageSize; page += kPageSize) {
        for (const std::size_t limit : {page - 1, page, page + 1, page + 30000}) {
            SCOPED_TRACE(limit);
            std::vector<std::string> written;
            {
                const FileSizeLimit full(limit);
                VellixWriter writer;
                VellixDoc files(VELLIX_DOC_FH);
                writer.create(dir.wide("a.xml").c_str());
                writer.addDoc(files);
                for (unsigned int i = 0; i < 60; ++i) {
                    VellixEntry entry = fileEntry(std::string(i == 30 ? 40000 : i * 97 % 900, '&'), 1);
                    if (files.addEntry(entry)) written.push_back(entry.toString());
                }
                files.close();
                writer.markComplete();
            }
            const std::string file = bytesOf(dir.file("a.xml"));
            EXPECT_LE(file.size(), limit);
            EXPECT_EQ(file[kMarkAt], '0');
            expectEntries(file, written);
        }
    }
}

// A device and a pipe can be written to. They hold no file that could be marked or mapped.
TEST_F(PosixFaults, WritesToWhatIsNoFile) {
    const auto writeTo = [](const std::string& path, bool(&written)[2]) {
        VellixWriter writer;
        EXPECT_TRUE(writer.create(std::filesystem::path(path).wstring().c_str()));
        addSample(writer, written);
        EXPECT_FALSE(writer.sync());
        writer.markComplete();
        EXPECT_EQ(writer.serialize(), nullptr);
        EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
        EXPECT_EQ(writer.isIntact(), written[0]);
    };
    bool written[2];
    writeTo("/dev/full", written);
    EXPECT_FALSE(written[0] || written[1]);
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    const int end = open(dir.file("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    writeTo(dir.file("pipe"), written);
    EXPECT_TRUE(written[0] && written[1]);
    char received[200];
    EXPECT_EQ(std::string(received, static_cast<std::size_t>(read(end, received, sizeof received))), kSample);
    close(end);
}

TEST_F(PosixFaults, PathsThatCannotServe) {
    writeFile(dir.file("locked"), kSample);
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    ASSERT_EQ(chmod(dir.file("locked").c_str(), 0), 0);
    ASSERT_EQ(mkdir(dir.file("sealed").c_str(), 0555), 0);
    const struct {
        std::string path;
        bool toWrite; // shall that fail as well
    } cases[] = {{dir.path(), true},
                 {dir.file("locked"), true},
                 {dir.file("locked/below"), true},
                 {dir.file("sealed/new"), true},
                 {dir.file("missing/new"), true},
                 {dir.file("pipe"), false},
                 {dir.file(std::string(300, 'n')), true}};
    const uid_t user = geteuid();
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    ASSERT_TRUE(user != 0 || seteuid(65534) == 0); // nothing is locked for the superuser
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        const std::wstring path = std::filesystem::path(c.path).wstring();
        EXPECT_FALSE(VellixReader().load(path.c_str()));
        if (!c.toWrite) continue;
        VellixWriter writer;
        EXPECT_FALSE(writer.create(path.c_str()));
        EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
    }
    ASSERT_EQ(seteuid(user), 0);
}

// What may become of a path while its file is written, or behind its end. The mark goes into the file that was written, or
// nowhere, and no other text is handed out; nothing else changes, and nothing comes to be.
TEST_F(PosixFaults, FileReplacedOrGone) {
    namespace fs = std::filesystem;
    const std::string other =
        kSample.substr(0, 96) + R"(<ET NM="of another" SZ="1"/>)" + std::string(37, ' ') + "</CatFH>";
    ASSERT_EQ(other.size(), 169U);
    const auto moveAway = [this] { fs::rename(dir.file("a.xml"), dir.file("moved.xml")); };
    const auto put = [&, this](std::size_t size) {
        writeFile(dir.file("a.xml"), other + std::string(size - 169, ' '));
    };
    constexpr int kLost = VELLIX_ERR_BAD_HANDLE;
    constexpr int kGone = VELLIX_ERR_FILE_OPEN;
    const struct {
        const char* name;
        std::function<void()> happens;
        int code; // if it happens while the file is written
        int lateCode;
    } cases[] = {
        {"moved away", moveAway, kGone, kGone},
        {"another in its place", [&] { moveAway(), put(173); }, kGone, kGone},
        {"written anew", [&] { put(173); }, kLost, VELLIX_SUCCESS}, // the same file, as long: no one can tell
        {"written anew, no header", [&] { writeFile(dir.file("a.xml"), std::string(173, '0')); }, kLost,
         VELLIX_ERR_SYNTAX},
        {"written anew, no root", [&] { writeFile(dir.file("a.xml"), kHeader + std::string(135, '"')); }, kLost,
         VELLIX_ERR_SYNTAX},
        {"written anew, no digit", [&] { writeFile(dir.file("a.xml"), std::string(kSample).replace(kMarkAt, 1, "x")); },
         kLost, VELLIX_ERR_SYNTAX},
        {"written anew, more digits",
         [&] { writeFile(dir.file("a.xml"), std::string(kSample).replace(kMarkAt, 2, "00")); }, kLost,
         VELLIX_ERR_SYNTAX},
        {"written anew, longer", [&] { put(174); }, kLost, VELLIX_ERR_FILE_SIZE},
        {"replaced", [&] { writeFile(dir.file("b"), other), fs::rename(dir.file("b"), dir.file("a.xml")); }, kGone,
         kGone},
        {"deleted", [&] { fs::remove(dir.file("a.xml")); }, kGone, kGone},
        {"deleted and written anew", [&] { fs::remove(dir.file("a.xml")), put(173); }, kGone, kGone},
        {"a directory", [&] { moveAway(), fs::create_directory(dir.file("a.xml")); }, kGone, kGone},
        {"a link to another", [&] { moveAway(), fs::create_symlink(dir.file("old.xml"), dir.file("a.xml")); }, kGone,
         kGone},
        {"a link to it", [&] { moveAway(), fs::create_symlink(dir.file("moved.xml"), dir.file("a.xml")); }, 0, 0},
        {"moved and back", [&] { moveAway(), fs::rename(dir.file("moved.xml"), dir.file("a.xml")); }, 0, 0},
        {"shortened", [&] { fs::resize_file(dir.file("a.xml"), 100); }, kLost, VELLIX_ERR_FILE_SIZE},
        {"cut to nothing", [&] { fs::resize_file(dir.file("a.xml"), 0); }, kLost, VELLIX_ERR_FILE_SIZE},
        {"lengthened", [&] { fs::resize_file(dir.file("a.xml"), 200); }, kLost, VELLIX_ERR_FILE_SIZE},
        {"closed to writers", [&] { fs::permissions(dir.file("a.xml"), fs::perms(0444)); }, kGone, kGone},
        {"a relative path elsewhere", [&] { fs::current_path(dir.file("elsewhere")); }, kGone, kGone},
    };
    const fs::path before = fs::current_path();
    const uid_t user = geteuid();
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    ASSERT_TRUE(user != 0 || seteuid(65534) == 0); // no file is closed to the superuser
    for (const auto& c : cases) {
        for (const bool late : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (late ? ", behind its end" : ", while it is written"));
            for (const char* name : {"a.xml", "moved.xml", "elsewhere"}) fs::remove_all(dir.file(name));
            fs::create_directory(dir.file("elsewhere"));
            writeFile(dir.file("elsewhere/a.xml"), kSample);
            writeFile(dir.file("old.xml"), kSample);
            fs::current_path(dir.path());
            VellixWriter writer;
            ASSERT_TRUE(writer.create(L"a.xml"));
            addSample(writer);
            if (late) writer.close();
            c.happens();
            const auto filesBefore = contents();
            writer.markComplete();
            writer.close();
            const int code = writer.getLastError();
            EXPECT_EQ(code, late ? c.lateCode : c.code);
            const char* const view = writer.serialize();
            EXPECT_EQ(view != nullptr, code == 0 || code == VELLIX_ERR_SYNTAX);
            for (const auto& [file, bytes] : contents()) {
                SCOPED_TRACE(file);
                ASSERT_EQ(filesBefore.count(file), 1U) << "a file has come to be";
                const std::string& was = filesBefore.at(file);
                const bool ended = !late && bytes.size() == 173 && was.size() == 160;
                std::string expected = ended ? was + "</CatResults>" : was;
                if (code == 0 && file.find("old") == std::string::npos && file.find("elsewhere") == std::string::npos)
                    expected = marked(expected);
                EXPECT_EQ(bytes, expected);
            }
        }
    }
    ASSERT_EQ(seteuid(user), 0);
    fs::current_path(before); // which may be closed to that user
}

TEST_F(PosixFaults, TemporaryFiles) {
    const TempDir temporary;
    const TemporaryDirectory use(temporary.path());
    {
        VellixWriter writer;
        ASSERT_TRUE(writer.create());
        addSample(writer);
        ASSERT_EQ(filesIn(temporary.path()).size(), 1U);
        const std::filesystem::path file = filesIn(temporary.path())[0];
        EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
        EXPECT_EQ(bytesOf(file), kSample.substr(0, 160));
        EXPECT_FALSE(writer.create(dir.wide("a.xml").c_str())) << "it is still under way";
        writer.markComplete();
        EXPECT_EQ(std::string(writer.serialize(), 173), marked(kSample));
        writer.reset(); // a new name
        addSample(writer);
        writer.close();
        EXPECT_EQ(filesIn(temporary.path()).size(), 2U);
    }
    ASSERT_EQ(filesIn(temporary.path()).size(), 1U); // the one from before the reset stays
    std::filesystem::remove(filesIn(temporary.path())[0]);
    {
        VellixWriter writer;
        ASSERT_TRUE(writer.create());
        addSample(writer);
        writer.close();
        ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str())); // lasts, and takes the temporary one away
        EXPECT_TRUE(filesIn(temporary.path()).empty());
        EXPECT_FALSE(writer.create()); // refused, and so changes nothing
        addSample(writer);
    }
    EXPECT_EQ(bytesOf(dir.file("a.xml")), kSample);

    CatQueryCriteriaHelper query;
    ASSERT_TRUE(query.create(nullptr));
    ASSERT_TRUE(query.create(nullptr));
    EXPECT_EQ(filesIn(temporary.path()).size(), 1U);
    query.close();
    EXPECT_TRUE(filesIn(temporary.path()).empty());
    const TemporaryDirectory gone(dir.file("gone"));
    VellixWriter writer;
    EXPECT_FALSE(writer.create() || query.create(nullptr));
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
}

// Windows refuses to cut a file that is being read. Here the page on which the walk stands stays, and one that has gone when
// the walk gets there ends it.
TEST_F(PosixFaults, FileShortenedWhileItIsRead) {
    const std::string front = kHeader + R"(<CatResults IC="1" ID="1"><CatDoc ID="1"><CatFH>)";
    const std::string tag = R"(<ET NM="last of page"/>)";
    std::string file =
        front + "<ET NM=\"" + std::string(kPageSize - front.size() - tag.size() - 11, 'x') + "\"/>" + tag;
    file += file.substr(front.size()) + tag;
    for (const std::size_t left : {std::size_t{0}, kPageSize, kPageSize + 10, 2 * kPageSize - front.size() - 1}) {
        SCOPED_TRACE(left);
        writeFile(dir.file("a.xml"), file);
        OpenReader reader;
        VellixDoc files(VELLIX_DOC_FH);
        VellixEntry entry;
        ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        ASSERT_TRUE(reader.getFirstDoc(files));
        std::filesystem::resize_file(dir.file("a.xml"), left);
        EXPECT_TRUE(files.getNextEntry(entry));
        EXPECT_TRUE(files.getNextEntry(entry));
        EXPECT_EQ(slotsOf(entry), "6=last of page");
        for (int i = 0; i < 2; ++i) {
            EXPECT_FALSE(files.getNextEntry(entry));
            EXPECT_FALSE(reader.getNextDoc(files));
        }
        EXPECT_EQ(reader.getLastError(), VELLIX_ERR_NOT_MAPPED);
    }
    CatImageCmdXmlFileHelper helper;
    ASSERT_TRUE(helper.load(dir.wide("a.xml").c_str()));
    ASSERT_TRUE(helper.create(dir.wide("a.xml").c_str())); // which empties it
    VellixEntry entry;
    EXPECT_TRUE(helper.getNextImageCmd(entry));
    EXPECT_TRUE(helper.getNextImageCmd(entry));
    EXPECT_EQ(slotsOf(entry), "6=last of page");
    EXPECT_EQ(helper.getReadError(), VELLIX_SUCCESS);
    EXPECT_FALSE(helper.getNextImageCmd(entry));
    EXPECT_EQ(helper.getReadError(), VELLIX_ERR_NOT_MAPPED);
}

// Each read of a page fails in turn. The records in front of it are handed out whole, and the end is not taken for that of
// the file.
TEST_F(PosixFaults, PagesThatCannotBeRead) {
    std::string file = kHeader + R"(<CatResults IC="1"><CatFH>)";
    std::vector<std::string> wanted;
    for (unsigned int i = 0; i < 40; ++i) {
        const VellixEntry entry = fileEntry(std::string(i == 20 ? 150000 : i * 700, '>'), static_cast<int>(i));
        file += entry.toString();
        wanted.push_back(slotsOf(entry));
    }
    writeFile(dir.file("a.xml"), file);
    const std::wstring path = dir.wide("a.xml");
    OpenReader reader;
    for (long failing = 0; failing == 0 || pageReads.count >= failing; ++failing) {
        SCOPED_TRACE(failing);
        pageReads = {0, failing, false};
        EXPECT_EQ(reader.load(path.c_str()), failing != 0);
        std::vector<std::string> read = readToEnd(reader);
        const bool failed = pageReads.count > failing;
        EXPECT_EQ(reader.getLastError(), failed ? VELLIX_ERR_NOT_MAPPED : VELLIX_SUCCESS);
        EXPECT_EQ(reader.isComplete(), failing != 0);
        EXPECT_EQ(read.size() == wanted.size(), !failed);
        ASSERT_LE(read.size(), wanted.size());
        EXPECT_TRUE(std::equal(read.begin(), read.end(), wanted.begin()));
        EXPECT_TRUE(readToEnd(reader).empty());
    }
    pageReads = {0, -1, true};
    EXPECT_TRUE(reader.load(path.c_str()) && readToEnd(reader) == wanted);
    EXPECT_GT(pageReads.count, 400) << "the reads don't come through here";
    pageReads = {};
}

TEST_F(PosixFaults, FileGrowsWhileItIsRead) {
    std::string file = kHeader + R"(<CatResults IC="0"><CatFH OP="1">)";
    for (int i = 0; i < 4000; ++i) file += fileEntry("n", i).toString();
    ASSERT_GT(file.size(), kPageSize);
    writeFile(dir.file("a.xml"), file);
    OpenReader reader;
    ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
    writeFile(dir.file("a.xml"), file + file);
    EXPECT_EQ(readToEnd(reader).size(), 4001U);
    ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
    EXPECT_GT(readToEnd(reader).size(), 8001U);
}

// Streams, writes and views are refused in turn too. The query is all of its tags or null, and its file goes.
TEST_F(PosixFaults, NoMemoryWhileQuerying) {
    const TempDir temporary;
    const TemporaryDirectory use(temporary.path());
    const std::string requester = R"( Requester="a name that needs memory of its own")";
    const std::string body = R"(><ReturnResultFormat><ImageAttributes><requestReturnAtt name="Name"/>)"
                             "</ImageAttributes></ReturnResultFormat></CatQuery>";
    const std::string whole = kHeader + "<CatQuery" + requester + body;
    failEachAllocation([&](Failing& failing) {
        std::string text;
        bool named = false;
        bool intact = false;
        {
            CatQueryCriteriaHelper query;
            VellixDoc format(VELLIX_DOC_RETURN_RESULT_FORMAT);
            VellixDoc wanted(VELLIX_DOC_IMAGE_ATTRIBUTES);
            VellixEntry name(VELLIX_DOC_IMAGE_ATTRIBUTES);
            name.addAttribute(4, "Name");
            text.reserve(2 * whole.size());
            failing.arm();
            attempt([&] { query.create(nullptr); });
            named = attempt([&] { query.setRequester("a name that needs memory of its own"); });
            attempt([&] { query.addDoc(format); });
            attempt([&] { format.addChildDoc(wanted); });
            attempt([&] { wanted.addEntry(name); });
            attempt([&] { wanted.close(); });
            attempt([&] { format.close(); });
            attempt([&] {
                const char* const written = query.serialize();
                if (written != nullptr) text.assign(written, static_cast<std::size_t>(query.size() - 1));
                intact = query.isIntact() && written != nullptr;
            });
            attempt([&] { query.close(); });
            EXPECT_TRUE(query.isIntact() || !intact);
        }
        failing.disarm();
        EXPECT_TRUE(filesIn(temporary.path()).empty());
        EXPECT_EQ(intact, !text.empty());
        EXPECT_TRUE(intact || failing.failures() != 0);
        EXPECT_EQ(text, !intact ? "" : named ? whole : kHeader + "<CatQuery" + body);
    });
}

} // namespace

// The library's calls end up here, see CMakeLists.txt.
extern "C" {
void* __real_malloc(std::size_t size);
char* __real_strdup(const char* text);
std::FILE* __real_fdopen(int descriptor, const char* mode);
void* __real_mmap64(void* start, std::size_t length, int protection, int flags, int descriptor, off_t offset);
ssize_t __real_pread64(int descriptor, void* out, std::size_t length, off_t offset);

void* __wrap_malloc(std::size_t size) { return Failing::failsNow() ? nullptr : __real_malloc(size); }

char* __wrap_strdup(const char* text) { return Failing::failsNow() ? nullptr : __real_strdup(text); }

std::FILE* __wrap_fdopen(int descriptor, const char* mode) {
    return Failing::failsNow() ? nullptr : __real_fdopen(descriptor, mode);
}

void* __wrap_mmap64(void* start, std::size_t length, int protection, int flags, int descriptor, off_t offset) {
    return Failing::failsNow() ? MAP_FAILED : __real_mmap64(start, length, protection, flags, descriptor, offset);
}

ssize_t __wrap_pread64(int descriptor, void* out, std::size_t length, off_t offset) {
    const bool interrupted = pageReads.slow && pageReads.count % 2 == 0;
    const bool fails = pageReads.count++ == pageReads.failing;
    if (interrupted || fails) {
        errno = fails ? EIO : EINTR;
        return -1;
    }
    return __real_pread64(descriptor, out, pageReads.slow ? std::min<std::size_t>(length, 1000) : length, offset);
}
}
