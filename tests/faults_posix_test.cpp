// Faults that only a POSIX system can be asked for: disks that fill up, rights, pipes, files that go while they are open.

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FileSupport.h"
#include "PosixSupport.h"
#include "TempDir.h"
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

class PosixFaults : public testing::Test {
protected:
    std::vector<std::filesystem::path> filesIn(const std::string& path) const {
        std::vector<std::filesystem::path> files;
        for (const auto& file : std::filesystem::directory_iterator(path)) files.push_back(file.path());
        return files;
    }

    // The file holds whole tags and blanks alone, and of entries exactly the ones in `written`.
    void expectEntries(const std::string& file, const std::vector<std::string>& written) const {
        EXPECT_EQ(entriesIn(file), written);
        if (file.find("<CatResults ") == std::string::npos) return;
        OpenReader reader;
        ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        std::vector<std::string> values;
        for (const std::string& tag : written) {
            values.push_back(
                slotsOf(VellixEntry(VELLIX_DOC_FH, tag.data(), static_cast<unsigned long>(tag.size()), true)));
        }
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
        EXPECT_EQ(written.size() == 5, file[kMarkAt] == '1');
        expectEntries(file, written);
    }
}

TEST_F(PosixFaults, PathsThatCannotServe) {
    writeFile(dir.file("locked"), kSample);
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    ASSERT_EQ(chmod(dir.file("locked").c_str(), 0), 0);
    const struct {
        std::string path;
        bool toWrite; // shall that fail as well
    } cases[] = {{dir.path(), true},
                 {dir.file("locked"), true},
                 {dir.file("locked/below"), true},
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

TEST_F(PosixFaults, FileReplacedOrGoneWhileItIsOpen) {
    const std::string other(300, '0');
    VellixWriter writer;
    ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
    addSample(writer);
    std::filesystem::rename(dir.file("a.xml"), dir.file("moved.xml"));
    writeFile(dir.file("a.xml"), other);
    writer.markComplete();
    writer.close();
    EXPECT_EQ(bytesOf(dir.file("moved.xml")), kSample);
    EXPECT_EQ(bytesOf(dir.file("a.xml")), other);
    OpenReader reader;
    ASSERT_TRUE(reader.load(dir.wide("moved.xml").c_str()));
    std::filesystem::remove(dir.file("moved.xml"));
    EXPECT_EQ(readToEnd(reader).size(), 2U);
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

// Windows refuses to cut a file that is being read. Here, a page that has gone when the walk gets there ends the walk.
TEST_F(PosixFaults, FileShortenedWhileItIsRead) {
    const std::string front = kHeader + R"(<CatResults IC="1" ID="1"><CatFH>)";
    const std::string tag = R"(<ET NM="last of page"/>)";
    std::string file =
        front + "<ET NM=\"" + std::string(kPageSize - front.size() - tag.size() - 11, 'x') + "\"/>" + tag;
    file += file.substr(front.size()) + tag;
    for (const std::size_t left : {kPageSize, kPageSize + 10, 2 * kPageSize - front.size() - 1}) {
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
    }
}

} // namespace
