// SPDX-License-Identifier: Apache-2.0
// What the platform layer promises on POSIX systems alone.
#include "vellix/platform/Platform.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "PosixSupport.h"
#include "TempDir.h"
#include "vellix/CatImageCmdXmlFileHelper.h"
#include "vellix/CatQueryCriteriaHelper.h"
#include "vellix/VellixMMap.h"
#include "vellix/VellixPath.h"
#include "vellix/VellixReader.h"
#include "vellix/VellixWriter.h"

namespace {

using namespace platform;
using namespace std::string_literals;

constexpr unsigned long kPage = 65536;

class PosixFiles : public testing::Test {
protected:
    static void* openPath(const std::wstring& path, unsigned long access = kGenericRead,
                          unsigned long disposition = kOpenExisting) {
        return CreateFileW(path.c_str(), access, kShareRead, nullptr, disposition, kAttributeNormal, nullptr);
    }

    static void* mappingOf(void* file) { return CreateFileMappingW(file, nullptr, kPageReadOnly, 0, 0, nullptr); }

    TempDir dir;
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

// The open descriptors, each with whether it is closed on exec.
std::map<int, bool> descriptors() {
    std::map<int, bool> result;
    for (int number = 0; number < 256; ++number) {
        const int flags = ::fcntl(number, F_GETFD);
        if (flags != -1) result[number] = (flags & FD_CLOEXEC) != 0;
    }
    return result;
}

TEST_F(PosixFiles, EveryDescriptorIsClosedOnExecAndInTheEnd) {
    const std::map<int, bool> before = descriptors();
    writeFile(dir.file("f"), "text");
    void* const file = openPath(dir.wide("f"));
    void* const mapping = mappingOf(file);
    std::FILE* const stream = platform::_wfopen(dir.wide("g").c_str(), L"wt+");
    std::FILE* const input = platform::openForReading(dir.file("f").c_str());

    std::map<int, bool> opened = descriptors();
    for (const auto& [number, closedOnExec] : before) opened.erase(number);
    EXPECT_EQ(opened.size(), 3U) << "a mapping object has none of its own";
    for (const auto& [number, closedOnExec] : opened) EXPECT_TRUE(closedOnExec) << number;

    platform::CloseHandle(file);
    platform::CloseHandle(mapping);
    std::fclose(stream);
    std::fclose(input);
    EXPECT_EQ(descriptors(), before);
}

TEST_F(PosixFiles, NewFilesHaveTheRightsOfTheProcess) {
    const mode_t before = ::umask(027);
    platform::CloseHandle(openPath(dir.wide("f"), kGenericRead | kGenericWrite, kOpenAlways));
    std::fclose(platform::_wfopen(dir.wide("g").c_str(), L"w"));
    ::umask(before);
    for (const char* const name : {"f", "g"}) {
        struct stat status = {};
        ASSERT_EQ(::stat(dir.file(name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0640U) << name;
    }
}

TEST_F(PosixFiles, PathsAreUtf8) {
    platform::CloseHandle(openPath(dir.wide("") + L"\xE9\xD83D\xDE00", kGenericRead, kOpenAlways));
    EXPECT_EQ(bytesOf(dir.file("\xC3\xA9\xF0\x9F\x98\x80")), "");
}

TEST_F(PosixFiles, NoViewPastThePresentEnd) {
    writeFile(dir.file("f"), std::string(3 * kPage, 'x'));
    void* const file = openPath(dir.wide("f"));
    void* const mapping = mappingOf(file);
    std::filesystem::resize_file(dir.file("f"), kPage + 1);
    const struct {
        unsigned long offset;
        std::size_t length;
        bool mapped;
    } rows[] = {{0, kPage, true},      {kPage, 1, true},      {kPage, 2, false},
                {kPage, kPage, false}, {2 * kPage, 1, false}, {0, 0, false}};
    for (const auto& row : rows) {
        void* const view = MapViewOfFile(mapping, kMapRead, 0, row.offset, row.length);
        EXPECT_EQ(view != nullptr, row.mapped) << row.offset << " " << row.length;
        if (view != nullptr) {
            EXPECT_TRUE(platform::UnmapViewOfFile(view));
        }
    }
    platform::CloseHandle(mapping);
    platform::CloseHandle(file);
}

// More views at once than memory is kept for. Each is a page of its own, whatever becomes of the file.
TEST_F(PosixFiles, PrivatePagesStayWhenTheFileIsCut) {
    writeFile(dir.file("f"), std::string(kPage, 'a') + std::string(kPage, 'b') + "end");
    void* const file = openPath(dir.wide("f"));
    void* const mapping = mappingOf(file);
    for (int round = 0; round < 2; ++round) {
        std::vector<char*> views;
        for (unsigned long number = 0; number < 9; ++number) {
            const unsigned long offset = number % 3 * kPage;
            views.push_back(
                static_cast<char*>(MapViewOfFile(mapping, kMapCopy, 0, offset, offset < 2 * kPage ? kPage : 0)));
            ASSERT_NE(views.back(), nullptr);
            EXPECT_EQ(views.back()[2], "abd"[number % 3]);
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
    EXPECT_EQ(MapViewOfFile(mapping, kMapCopy, 0, 0, kPage), nullptr);
    EXPECT_EQ(platform::GetLastError(), 5U);
    platform::CloseHandle(mapping);
    platform::CloseHandle(file);
}

TEST_F(PosixFiles, AccessZeroCannotBeTouchedAndUnmapEndsTheWholeView) {
    writeFile(dir.file("f"), std::string(3 * kPage, 'x'));
    void* const file = openPath(dir.wide("f"));
    void* const mapping = mappingOf(file);
    void* const closed = MapViewOfFile(mapping, 0, 0, 0, 0);
    ASSERT_NE(closed, nullptr);
    EXPECT_FALSE(isReadable(closed));
    EXPECT_TRUE(platform::UnmapViewOfFile(closed));

    char* const view = static_cast<char*>(MapViewOfFile(mapping, kMapRead, 0, 0, 3 * kPage));
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(isReadable(view + 3 * kPage - 1));
    EXPECT_TRUE(platform::UnmapViewOfFile(view));
    EXPECT_FALSE(isReadable(view) || isReadable(view + 3 * kPage - 1));
    platform::CloseHandle(mapping);
    platform::CloseHandle(file);
}

TEST_F(PosixFiles, ViewsThatAskForNoAccess) {
    writeFile(dir.file("a"), std::string(100, 'x'));
    VellixMMap file;
    ASSERT_EQ(file.open(dir.wide("a").c_str(), 0), VELLIX_SUCCESS);
    for (const auto& [protection, flags] : {std::pair(2, 0), std::pair(0, 2)}) {
        file.map(file.handle(), 0, protection, flags, nullptr, 0);
        EXPECT_NE(file.addr(), nullptr);
        EXPECT_EQ(file.unmap(file.addr()), VELLIX_SUCCESS);
    }
    EXPECT_EQ(file.open((dir.wide("a") + std::wstring(1100, L'/') + L"b").c_str(), 0), VELLIX_ERR_FILE_OPEN);
}

TEST_F(PosixFiles, TemporaryNameWithoutRoomLeavesNoFile) {
    wchar_t name[260];
    const TemporaryDirectory here(dir.path());
    const std::size_t needed = dir.path().size() + sizeof("/vellixXXXXXX");
    EXPECT_NE(platform::_wtmpnam_s(name, needed - 1), 0);
    EXPECT_STREQ(name, L"");
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    EXPECT_EQ(platform::_wtmpnam_s(name, needed), 0);
    EXPECT_EQ(platform::_wunlink(name), 0);
}

// Names of up to 255 bytes that hold each text of one and two bytes, and longer ones that are nearly UTF-8. An "x" parts
// them, so none of them changes what its neighbour is.
std::vector<std::string> hostileNames() {
    std::vector<std::string> pieces = {"caf\xE9",
                                       "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
                                       "\xE0\x9F\xBF",
                                       "\xE0\xA0\x80",
                                       "\xE2\x82",
                                       "\xED\x9F\xBF",
                                       "\xED\xA0\x80",
                                       "\xED\xB2\x80",
                                       "\xED\xA0\xBD\xED\xB2\x80",
                                       "\xED\xA0\xBD\x80",
                                       "\xEE\x80\x80",
                                       "\xEF\xBF\xBD",
                                       "\xF0\x8F\xBF\xBF",
                                       "\xF0\x90\x80\x80",
                                       "\xF0\x9F\x98",
                                       "\xF0\x9F\x98\xC3\xA9",
                                       "\xF4\x8F\xBF\xBF",
                                       "\xF4\x90\x80\x80",
                                       "\xF5\x80\x80\x80",
                                       "\xF8\x88\x80\x80\x80"};
    for (int first = 1; first < 256; ++first) {
        for (int second = 1; second < 256; ++second)
            if (first != '/' && second != '/') pieces.push_back({static_cast<char>(first), static_cast<char>(second)});
    }
    std::vector<std::string> names(1);
    for (const std::string& piece : pieces) {
        if (names.back().size() + 1 + piece.size() > 255) names.emplace_back();
        names.back() += "x" + piece;
    }
    return names;
}

TEST_F(PosixFiles, EachNameHasAWidePathThatNamesIt) {
    for (const std::string& name : hostileNames()) {
        std::FILE* const file = platform::_wfopen(vellix::widePath(dir.file(name)).c_str(), L"w");
        ASSERT_NE(file, nullptr) << testing::PrintToString(name);
        std::fclose(file);
        ASSERT_EQ(::unlink(dir.file(name).c_str()), 0) << testing::PrintToString(name);
    }
    EXPECT_EQ(vellix::widePath("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x80z"), L"a\xE9\x20AC\x1F600\xDC80z");
    EXPECT_EQ(vellix::widePath(std::string("a\0b", 3)), L"");
    EXPECT_EQ(vellix::widePath(""), L"");
    EXPECT_EQ(platform::_wfopen(L"", L"w"), nullptr);
    const wchar_t text[] = L"\xDC80"; // no byte outside a path
    EXPECT_EQ(platform::WideCharToMultiByte(platform::kUtf8, 0, text, -1, nullptr, 0, nullptr, nullptr), 4);
    std::fclose(platform::_wfopen(vellix::widePath(dir.file("x\xF0\x9F\x98\x80")).c_str(),
                                  L"w")); // a pair is one character in a path too
    EXPECT_EQ(platform::_wunlink((dir.wide("x") + L"\xD83D\xDC80").c_str()), -1);
    EXPECT_EQ(platform::_wunlink((dir.wide("x") + L"\xD83D\xDE00").c_str()), 0);
}

TEST_F(PosixFiles, EachOperationTakesANameOfAnyBytes) {
    for (const std::string& name : {"caf\xE9"s, "\xED\xA0\x80"s}) {
        ASSERT_TRUE(std::filesystem::create_directory(dir.file(name)));
        const TemporaryDirectory here(dir.file(name));
        const std::string path = dir.file(name + "/" + name);
        const std::wstring wide = vellix::widePath(path);
        CatImageCmdXmlFileHelper helper;
        ASSERT_TRUE(helper.create(wide.c_str()));
        VellixEntry entry(VELLIX_DOC_FH, 5);
        EXPECT_TRUE(helper.addImageCmd(entry));
        helper.close();
        EXPECT_TRUE(helper.load(wide.c_str()));
        EXPECT_TRUE(VellixReader().load(wide.c_str()));
        EXPECT_TRUE(VellixDoc(VELLIX_DOC_RESULTS).load(path.c_str()));
        VellixMMap map;
        EXPECT_EQ(map.open(wide.c_str(), 0), VELLIX_SUCCESS);
        VellixWriter writer;
        ASSERT_TRUE(writer.create(wide.c_str()));
        writer.getRootDoc().addAttribute(1, "1");
        VellixDoc doc(VELLIX_DOC_DOC);
        writer.addDoc(doc);
        doc.close();
        writer.markComplete();
        writer.close();
        EXPECT_EQ(bytesOf(path),
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?><CatResults IC=\"1\" ID=\"1\"><CatDoc/></CatResults>");
        std::filesystem::remove(path);
        {
            CatQueryCriteriaHelper query;
            ASSERT_TRUE(query.create(nullptr)); // a temporary file, in that directory
            EXPECT_FALSE(std::filesystem::is_empty(dir.file(name)));
        }
        EXPECT_TRUE(std::filesystem::is_empty(dir.file(name)));
    }
}

TEST_F(PosixFiles, ThreadsMapAtOnce) {
    std::atomic<int> wrong{0};
    const auto work = [&](int thread) {
        const std::string name = "f" + std::to_string(thread);
        const char letter = static_cast<char>('a' + thread);
        writeFile(dir.file(name), std::string(4 * kPage, letter));
        void* const file = openPath(dir.wide(name));
        void* const mapping = mappingOf(file);
        for (unsigned long round = 0; round < 300; ++round) {
            const std::size_t length = (round % 4 + 1) * kPage;
            char* const view = static_cast<char*>(MapViewOfFile(mapping, kMapRead, 0, 0, length));
            if (view == nullptr || view[length - 1] != letter || !platform::UnmapViewOfFile(view)) ++wrong;
        }
        platform::CloseHandle(mapping);
        platform::CloseHandle(file);
    };
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) threads.emplace_back(work, thread);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
