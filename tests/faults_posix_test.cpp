// Faults that only a POSIX system can be asked for: disks that fill up, rights, pipes, files that go while they are open.

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FileSupport.h"
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

// Sets the directory of temporary files.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(const std::string& path) {
        const char* value = std::getenv("TMPDIR");
        if (value != nullptr) before = value;
        wasSet = value != nullptr;
        setenv("TMPDIR", path.c_str(), 1);
    }
    ~TemporaryDirectory() { wasSet ? setenv("TMPDIR", before.c_str(), 1) : unsetenv("TMPDIR"); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

private:
    std::string before;
    bool wasSet;
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
        std::vector<Tag> tags;
        EXPECT_TRUE(cutIntoTags(file, tags)) << file.substr(0, 200);
        std::vector<std::string> found;
        bool hasRoot = false;
        for (const Tag& tag : tags) {
            if (tag.text.compare(0, 3, "<ET") == 0) found.push_back(tag.text);
            hasRoot = hasRoot || tag.text.compare(0, 12, "<CatResults ") == 0;
        }
        EXPECT_EQ(found, written);
        if (!hasRoot) return;
        OpenReader reader;
        ASSERT_TRUE(reader.load(dir.wide("a.xml").c_str()));
        std::vector<std::string> read;
        for (const std::string& values : readToEnd(reader)) read.push_back(values);
        ASSERT_EQ(read.size(), written.size());
        for (std::size_t i = 0; i < read.size(); ++i) {
            VellixEntry entry(VELLIX_DOC_FH, written[i].data(), static_cast<unsigned long>(written[i].size()), true);
            EXPECT_EQ(read[i], slotsOf(entry));
        }
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

TEST_F(PosixFaults, FullDevice) {
    VellixWriter writer;
    bool written[2];
    ASSERT_TRUE(writer.create(L"/dev/full"));
    addSample(writer, written);
    EXPECT_FALSE(written[0] || written[1]);
    EXPECT_FALSE(writer.write("a", kPageSize + 1)); // nor its filling
    writer.markComplete();
    writer.close();
    EXPECT_EQ(writer.serialize(), nullptr);
    ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str())); // a new file is a new start
    addSample(writer, written);
    EXPECT_TRUE(written[0] && written[1]);
    writer.close();
    EXPECT_EQ(bytesOf(dir.file("a.xml")), marked(kSample));
}

TEST_F(PosixFaults, PathsThatCannotServe) {
    writeFile(dir.file("file"), kSample);
    writeFile(dir.file("locked"), kSample);
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    ASSERT_EQ(chmod(dir.file("locked").c_str(), 0), 0);
    struct Case {
        std::string path;
        bool toWrite;
        bool toRead;
    };
    const Case cases[] = {
        {dir.file("file/below"), true, true},
        {dir.path(), true, true},
        {dir.file("locked"), true, true},
        {dir.file("pipe"), false, true},
        {"/dev/null", false, true},
        {dir.file(std::string(300, 'n')), true, true},
        {"", true, true},
    };
    const uid_t user = geteuid();
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    ASSERT_TRUE(user != 0 || seteuid(65534) == 0); // nothing is locked for the superuser
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        const std::wstring path = std::filesystem::path(c.path).wstring();
        VellixReader reader;
        EXPECT_NE(reader.load(path.c_str()), c.toRead);
        if (!c.toWrite) continue;
        VellixWriter writer;
        EXPECT_FALSE(writer.create(path.c_str()));
        EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
    }
    ASSERT_EQ(seteuid(user), 0);
}

TEST_F(PosixFaults, FileGoneOrReplacedWhileItIsOpen) {
    const std::string other(300, '0');
    for (const bool replaced : {false, true}) {
        VellixWriter writer;
        ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
        addSample(writer);
        std::filesystem::rename(dir.file("a.xml"), dir.file("moved.xml"));
        if (replaced) writeFile(dir.file("a.xml"), other);
        writer.markComplete();
        writer.close();
        EXPECT_EQ(bytesOf(dir.file("moved.xml")), kSample);
        if (replaced) {
            EXPECT_EQ(bytesOf(dir.file("a.xml")), other);
        } else {
            EXPECT_EQ(writer.serialize(), nullptr);
        }
    }
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
    std::vector<std::filesystem::path> left = filesIn(temporary.path());
    EXPECT_EQ(left.size(), 1U); // the one from before the reset stays
    for (const std::filesystem::path& file : left) std::filesystem::remove(file);
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
    EXPECT_TRUE(filesIn(temporary.path()).empty());

    CatQueryCriteriaHelper query;
    ASSERT_TRUE(query.create(nullptr));
    EXPECT_EQ(filesIn(temporary.path()).size(), 1U);
    ASSERT_TRUE(query.create(nullptr));
    EXPECT_EQ(filesIn(temporary.path()).size(), 1U);
    query.close();
    EXPECT_TRUE(filesIn(temporary.path()).empty());
}

TEST_F(PosixFaults, TemporaryDirectoryThatIsGone) {
    const TemporaryDirectory use(dir.file("gone"));
    VellixWriter writer;
    EXPECT_FALSE(writer.create());
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
    CatQueryCriteriaHelper query;
    VellixDoc doc(VELLIX_DOC_QUERY_CONSTRAINTS);
    EXPECT_FALSE(query.create(nullptr));
    EXPECT_TRUE(query.addDoc(doc));
    doc.close();
    EXPECT_EQ(query.serialize(), nullptr);
    EXPECT_EQ(query.size(), 1);
}

} // namespace
