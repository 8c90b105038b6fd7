// SPDX-License-Identifier: Apache-2.0
// What the platform layer promises on POSIX systems alone.
#include "vellix/platform/Platform.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "PosixSupport.h"
#include "TempDir.h"
#include "vellix/VellixMMap.h"
#include "vellix/VellixPath.h"

namespace {

using namespace platform;
using namespace std::string_literals;

constexpr unsigned long kPage = 65536;

class PosixFiles : public testing::Test {
protected:
    ~PosixFiles() override {
        platform::CloseHandle(mapping);
        platform::CloseHandle(file);
    }

    static void* openPath(const std::wstring& path, unsigned long disposition = kOpenExisting) {
        return CreateFileW(path.c_str(), kGenericRead, kShareRead, nullptr, disposition, kAttributeNormal, nullptr);
    }

    // Makes a file with the bytes in it, and maps it.
    void mapFile(const std::string& bytes) {
        writeFile(dir.file("f"), bytes);
        file = openPath(dir.wide("f"));
        mapping = CreateFileMappingW(file, nullptr, kPageReadOnly, 0, 0, nullptr);
        ASSERT_NE(mapping, nullptr);
    }

    char* viewOf(unsigned long access, unsigned long offset, std::size_t length) const {
        return static_cast<char*>(MapViewOfFile(mapping, access, 0, offset, length));
    }

    TempDir dir;
    void* file = nullptr;
    void* mapping = nullptr;
};

// True if the system itself can read the byte; touching it here would end the test.
bool isReadable(const void* address) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    const bool readable = ::write(ends[1], address, 1) == 1;
    ::close(ends[0]);
    ::close(ends[1]);
    return readable;
}

TEST_F(PosixFiles, NewFilesHaveTheRightsOfTheProcessAndUtf8Names) {
    const mode_t before = ::umask(027);
    platform::CloseHandle(openPath(dir.wide("") + L"\xE9\xD83D\xDE00", kOpenAlways));
    std::fclose(platform::_wfopen(dir.wide("g").c_str(), L"w"));
    ::umask(before);
    for (const char* const name : {"\xC3\xA9\xF0\x9F\x98\x80", "g"}) {
        struct stat status = {};
        ASSERT_EQ(::stat(dir.file(name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0640U) << name;
    }
}

// Each with the number of the layer and of the system; those of a thread stay when another one fails.
TEST_F(PosixFiles, PathsThatCannotServe) {
    writeFile(dir.file("locked"), "text");
    ASSERT_EQ(::chmod(dir.file("locked").c_str(), 0), 0);
    ASSERT_EQ(::mkfifo(dir.file("pipe").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("loop", dir.file("loop").c_str()), 0);
    ASSERT_EQ(::mkdir(dir.file("sealed").c_str(), 0555), 0);
    ASSERT_EQ(::chmod(dir.path().c_str(), 0777), 0);
    const struct {
        std::string name;
        unsigned long number;
        int systemNumber; // to be read
        int writeNumber;  // to be written; 0 for what would wait
    } rows[] = {{"", 5, EACCES, EISDIR},
                {"locked", 5, EACCES, EACCES},
                {"locked/below", 3, ENOTDIR, ENOTDIR},
                {"sealed/new", 2, ENOENT, EACCES},
                {"missing/new", 2, ENOENT, ENOENT},
                {"pipe", 5, EACCES, 0},
                {"socket", 5, ENXIO, ENXIO},
                {"loop", 31, ELOOP, ELOOP},
                {std::string(300, 'n'), 206, ENAMETOOLONG, ENAMETOOLONG}};
    const uid_t user = ::geteuid();
    ASSERT_TRUE(user != 0 || ::seteuid(65534) == 0); // nothing is locked for the superuser
    ASSERT_EQ(::mknod(dir.file("socket").c_str(), S_IFSOCK | 0600, 0), 0);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::wstring path = dir.wide(row.name);
        EXPECT_EQ(openPath(path), kInvalidHandle);
        std::thread([] { EXPECT_FALSE(platform::CloseHandle(nullptr)); }).join();
        EXPECT_EQ(platform::GetLastError(), row.number);
        EXPECT_EQ(systemError(), std::error_code(row.systemNumber, std::system_category()));
        EXPECT_EQ(openForReading(dir.file(row.name).c_str()), nullptr);
        EXPECT_FALSE(VellixReader().load(path.c_str()));
        if (row.writeNumber == 0) continue;
        VellixWriter writer;
        EXPECT_FALSE(writer.create(path.c_str()));
        EXPECT_EQ(systemError().value(), row.writeNumber);
        EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
    }
    EXPECT_EQ(platform::_wunlink(dir.wide("missing").c_str()), -1);
    EXPECT_EQ(systemError().value(), ENOENT);
    EXPECT_EQ(platform::_wfopen(dir.wide("").c_str(), L"r"), nullptr); // which the system would open
    EXPECT_EQ(platform::GetLastError(), 5U);
    rlimit before = {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(openPath(dir.wide("sealed")), kInvalidHandle);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(platform::GetLastError(), 4U);
    ASSERT_EQ(::seteuid(user), 0);
}

// More views at once than memory is kept for, ended by another thread. Each is a page of its own.
TEST_F(PosixFiles, PrivatePagesStayWhenTheFileIsCut) {
    mapFile(std::string(kPage, 'a') + "bbb");
    for (int round = 0; round < 2; ++round) {
        std::vector<char*> views;
        for (unsigned long number = 0; number < 9; ++number) {
            views.push_back(viewOf(kMapCopy, number % 2 * kPage, number % 2 == 0 ? kPage : 0));
            ASSERT_NE(views.back(), nullptr);
            EXPECT_EQ(std::string(views.back(), 3), number % 2 == 0 ? "aaa" : "bbb");
            views.back()[0] = static_cast<char>('0' + number);
        }
        if (round == 1) std::filesystem::resize_file(dir.file("f"), kPage - 1);
        std::thread([&] {
            for (std::size_t number = 0; number < views.size(); ++number) {
                EXPECT_EQ(views[number][0], static_cast<char>('0' + number));
                EXPECT_FALSE(platform::UnmapViewOfFile(views[number] + 1));
                EXPECT_TRUE(platform::UnmapViewOfFile(views[number]));
                EXPECT_FALSE(platform::UnmapViewOfFile(views[number]));
            }
        }).join();
    }
    for (const unsigned long access : {kMapCopy, kMapRead}) { // nor is there a new view past the present end
        EXPECT_FALSE(platform::CloseHandle(nullptr));         // which has another number
        EXPECT_EQ(viewOf(access, 0, kPage), nullptr);
        EXPECT_EQ(platform::GetLastError(), 5U);
        EXPECT_EQ(viewOf(access, kPage, 1), nullptr);
    }
    EXPECT_TRUE(platform::UnmapViewOfFile(viewOf(kMapRead, 0, kPage - 1)));
}

// Nor can a view be touched that asks for neither reading nor writing, nor one that has ended.
TEST_F(PosixFiles, AccessZeroCannotBeTouchedAndUnmapEndsTheWholeView) {
    mapFile(std::string(3 * kPage, 'x'));
    VellixMMap map;
    ASSERT_EQ(map.open(dir.wide("f").c_str(), 0), VELLIX_SUCCESS);
    for (const int flags : {0, 2}) {
        map.map(map.handle(), 0, 2 - flags, flags, nullptr, 0);
        ASSERT_NE(map.addr(), nullptr);
        EXPECT_FALSE(isReadable(map.addr()));
        EXPECT_EQ(map.unmap(map.addr()), VELLIX_SUCCESS);
    }
    char* const view = viewOf(kMapRead, 0, 3 * kPage);
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(isReadable(view + 3 * kPage - 1));
    EXPECT_TRUE(platform::UnmapViewOfFile(view));
    EXPECT_FALSE(isReadable(view) || isReadable(view + 3 * kPage - 1));
}

TEST_F(PosixFiles, TemporaryNameWithoutRoomLeavesNoFile) {
    wchar_t name[260];
    const TemporaryDirectory here(dir.path());
    const std::size_t needed = dir.path().size() + sizeof("/vellixXXXXXX");
    EXPECT_EQ(platform::_wtmpnam_s(name, needed - 1), ERANGE);
    EXPECT_STREQ(name, L"");
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    EXPECT_EQ(platform::_wtmpnam_s(name, needed), 0);
    EXPECT_EQ(platform::_wunlink(name), 0);
    const TemporaryDirectory none("");
    EXPECT_EQ(platform::_wtmpnam_s(name, 260), 0);
    EXPECT_EQ(std::wstring(name).substr(0, 11), L"/tmp/vellix");
    EXPECT_EQ(platform::_wunlink(name), 0);
    const TemporaryDirectory gone(dir.file("gone"));
    EXPECT_EQ(platform::_wtmpnam_s(name, 260), ENOENT);
    EXPECT_STREQ(name, L"");
    EXPECT_EQ(platform::GetLastError(), 2U);
}

// Any characters, and what is nearly one: the bytes begin and end what UTF-8 can hold. Some paths are longer than
// what has room without memory of its own.
TEST_F(PosixFiles, EachOperationTakesANameOfAnyBytesAndLength) {
    const std::string pieces =
        "x\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE\xEF\xF0\xF1\xF3\xF4\xF5\xF8\xFF";
    RandomText random(3);
    for (int round = 0; round < 150; ++round) {
        const bool marks = round % 50 == 0;
        std::string name;
        while (name.size() < 100) name += pieces[random.below(pieces.size())];
        SCOPED_TRACE(testing::PrintToString(name));
        ASSERT_TRUE(std::filesystem::create_directory(dir.file(name)));
        const TemporaryDirectory here(dir.file(name));
        const std::string path = dir.file(name) + std::string(marks ? 2000 : 1, '/') + name;
        const std::wstring wide = vellix::widePath(path);
        std::optional<VellixWriter> writer(std::in_place);
        ASSERT_TRUE(writer->create(wide.c_str()));
        filetest::addSample(*writer);
        if (marks) writer->markComplete();
        writer->close();
        EXPECT_EQ(bytesOf(path), marks ? filetest::marked(filetest::kSample) : filetest::kSample);
        EXPECT_TRUE(VellixReader().load(wide.c_str()));
        EXPECT_TRUE(VellixDoc(VELLIX_DOC_RESULTS).load(path.c_str()));
        EXPECT_EQ(platform::_wunlink(wide.c_str()), 0);
        EXPECT_TRUE(writer->create()); // a temporary file, in that directory
        EXPECT_FALSE(std::filesystem::is_empty(dir.file(name)));
        writer.reset();
        EXPECT_TRUE(std::filesystem::is_empty(dir.file(name)));
    }
}

TEST_F(PosixFiles, WidePathsAsTheyStand) {
    EXPECT_EQ(vellix::widePath("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x80z"), L"a\xE9\x20AC\x1F600\xDC80z");
    EXPECT_EQ(vellix::widePath(std::string("a\0b", 3)), L"");
    EXPECT_EQ(vellix::widePath(""), L"");
    EXPECT_EQ(platform::_wfopen(L"", L"w"), nullptr);
    const wchar_t text[] = L"\xDC80"; // no byte outside a path
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -1, nullptr, 0, nullptr, nullptr), 4);
    writeFile(dir.file("x\xF0\x9F\x98\x80"), ""); // a pair is one character in a path too
    EXPECT_EQ(platform::_wunlink((dir.wide("x") + L"\xD83D\xDC80").c_str()), -1);
    EXPECT_EQ(platform::_wunlink((dir.wide("x") + L"\xD83D\xDE00").c_str()), 0);
}

} // namespace
