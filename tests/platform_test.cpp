// SPDX-License-Identifier: Apache-2.0
#include "vellix/platform/Platform.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "TestSupport.h"
#include "vellix/platform/Bytes.h"

namespace {

using namespace platform;
using namespace std::string_literals;

TEST(Utf8, SizesAndFailures) {
    char out[8] = "~~~~~~~";
    const wchar_t text[] = L"\x20AC!"; // 3 + 1 + NUL
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -1, nullptr, 0, nullptr, nullptr), 5);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, 2, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -1, out, 5, nullptr, nullptr), 5);
    EXPECT_EQ(std::string(out, 8), "\xE2\x82\xAC!\0~~\0"s);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -1, out, 4, nullptr, nullptr), 0);
    EXPECT_NE(platform::GetLastError(), 0U);
    EXPECT_EQ(out[4], '\0');

    // A pair that the length cuts is no pair.
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, L"\xD83D\xDE00", 1, out, 8, nullptr, nullptr), 3);
    EXPECT_EQ(std::string(out, 3), "\xEF\xBF\xBD");

    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, nullptr, -1, out, 8, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -1, nullptr, 8, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(1252, 0, text, -1, out, 8, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, 0, out, 8, nullptr, nullptr), 0);
    int replaced = 0;
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 1, text, -1, out, 8, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -1, out, 8, "?", nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -1, out, 8, nullptr, &replaced), 0);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -2, out, 8, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, text, -1, out, -1, nullptr, nullptr), 0);
}

// Each byte value at each place, among plain bytes and among special ones; a byte behind the counted ones doesn't tell.
template <std::size_t count> void compareBitsOfSpecial() {
    constexpr unsigned int all = (1U << count) - 1;
    for (const char around : {'n', '\xC3'}) {
        const unsigned int others = around == 'n' ? 0 : all;
        for (std::size_t place = 0; place < count; ++place) {
            for (int value = 0; value < 256; ++value) {
                std::array<char, kBlock + 1> text;
                text.fill(around);
                text[place] = static_cast<char>(value);
                text[count] = '<';
                const unsigned int bit = 1U << place;
                const bool special = value >= 0x80 || "\"&'<>\0"s.find(text[place]) != std::string::npos;
                ASSERT_EQ(bitsOfSpecial<count>(text.data()), special ? others | bit : others & ~bit)
                    << value << " at " << place << " of " << count;
            }
        }
    }
}

TEST(Bytes, BitsOfSpecial) {
    compareBitsOfSpecial<4>();
    compareBitsOfSpecial<8>();
    compareBitsOfSpecial<16>();
}

class PlatformFiles : public testing::Test {
protected:
    static constexpr unsigned long kPage = 65536;
    static constexpr unsigned long kBoth = kGenericRead | kGenericWrite;

    void* open(const std::string& name, unsigned long access, unsigned long disposition = kOpenExisting) {
        return CreateFileW(dir.wide(name).c_str(), access, kShareRead | kShareWrite, nullptr, disposition,
                           kAttributeNormal, nullptr);
    }

    static void* mappingOf(void* file, unsigned long protection) {
        return CreateFileMappingW(file, nullptr, protection, 0, 0, nullptr);
    }

    // The mode and what the file `name` holds after "new" was written through it, "-" if it can't be opened.
    std::string writtenWith(const wchar_t* mode, const std::string& name) {
        std::FILE* const stream = platform::_wfopen(dir.wide(name).c_str(), mode);
        if (stream == nullptr) return "-";
        std::fputs("new", stream);
        std::fclose(stream);
        return bytesOf(dir.file(name));
    }

    TempDir dir;
};

TEST_F(PlatformFiles, HandlesOfTheWrongKindFail) {
    writeFile(dir.file("f"), "text");
    void* const file = open("f", kGenericRead);
    ASSERT_NE(file, kInvalidHandle);
    void* const mapping = mappingOf(file, kPageReadOnly);
    ASSERT_NE(mapping, nullptr);
    unsigned long high = 7;
    for (void* const handle : {static_cast<void*>(nullptr), kInvalidHandle, mapping}) {
        EXPECT_EQ(mappingOf(handle, kPageReadOnly), nullptr);
        EXPECT_EQ(platform::GetFileSize(handle, &high), 0xFFFFFFFFU);
        EXPECT_NE(platform::GetLastError(), 0U);
        EXPECT_EQ(high, 7U);
    }
    for (void* const handle : {static_cast<void*>(nullptr), kInvalidHandle, file}) {
        EXPECT_EQ(MapViewOfFile(handle, kMapRead, 0, 0, 1), nullptr);
    }
    EXPECT_EQ(platform::GetFileSize(file, nullptr), 4U);
    EXPECT_EQ(platform::GetLastError(), 0U);
    EXPECT_FALSE(platform::CloseHandle(nullptr) || platform::CloseHandle(kInvalidHandle));
    EXPECT_TRUE(platform::CloseHandle(mapping));
    EXPECT_TRUE(platform::CloseHandle(file));
}

TEST_F(PlatformFiles, ReadsAtAnyPlace) {
    constexpr __int64 kFar = 5LL << 30;
    writeFile(dir.file("f"), "0123456789");
    std::filesystem::resize_file(dir.file("f"), kFar);
    void* const file = open("f", kGenericRead);
    void* const mapping = mappingOf(file, kPageReadOnly);
    const struct {
        void* handle;
        __int64 offset;
        std::size_t length;
        bool read;
        std::string bytes;
    } rows[] = {{file, 0, 4, true, "0123"},        {file, 9, 3, true, "9\0\0"s}, {file, kFar - 2, 6, true, "\0\0"s},
                {file, 2, 3, true, "234"},         {file, 4, 0, true, ""},       {file, kFar, 6, true, ""},
                {file, INT64_MAX, 6, true, ""},    {file, -1, 6, false, ""},     {mapping, 0, 6, false, ""},
                {kInvalidHandle, 0, 6, false, ""}, {nullptr, 0, 6, false, ""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.offset);
        std::string bytes(8, '~');
        std::size_t got = 99;
        EXPECT_EQ(readAt(row.handle, row.offset, bytes.data(), row.length, got), row.read);
        EXPECT_EQ(bytes.substr(0, got), row.bytes);
        EXPECT_EQ(bytes.substr(row.length), std::string(8 - row.length, '~'));
        EXPECT_TRUE(row.read || (platform::GetLastError() == (row.offset < 0 ? 87U : 6U) && systemError()));
    }
    platform::CloseHandle(mapping);
    platform::CloseHandle(file);
    EXPECT_EQ(open("none", kGenericRead), kInvalidHandle);
    EXPECT_EQ(systemError(), std::errc::no_such_file_or_directory);
}

TEST_F(PlatformFiles, CreateFileRefuses) {
    writeFile(dir.file("f"), "text");
    EXPECT_EQ(open("none", kBoth), kInvalidHandle);
    EXPECT_EQ(platform::GetLastError(), 2U);
    EXPECT_EQ(open("f", kGenericWrite), kInvalidHandle);
    EXPECT_EQ(open("f", kGenericRead, 2), kInvalidHandle);
    EXPECT_EQ(CreateFileW(nullptr, kGenericRead, 0, nullptr, kOpenAlways, 0, nullptr), kInvalidHandle);
    EXPECT_EQ(bytesOf(dir.file("f")), "text");
}

// Nothing of the system is called between a failure and the question for it, since on Windows that may change the answer.
TEST_F(PlatformFiles, LastErrorBelongsToTheThread) {
    std::atomic<int> step{0};
    unsigned long seen = 0;
    std::thread other([&] {
        EXPECT_EQ(open("none", kGenericRead), kInvalidHandle);
        step = 1;
        while (step != 2) {
        }
        seen = platform::GetLastError();
    });
    while (step != 1) std::this_thread::yield();
    EXPECT_FALSE(platform::CloseHandle(nullptr));
    step = 2;
    other.join();
    EXPECT_EQ(seen, 2U);
}

TEST_F(PlatformFiles, MappingOutlivesTheFileHandle) {
    writeFile(dir.file("f"), std::string(kPage, 'x') + "end");
    void* const file = open("f", kBoth);
    void* const mapping = mappingOf(file, kPageReadWrite | kSecCommit);
    ASSERT_NE(mapping, nullptr);
    EXPECT_EQ(CreateFileMappingW(file, nullptr, kPageReadWrite, 0, 8 * kPage, nullptr), nullptr);
    EXPECT_TRUE(platform::CloseHandle(file));

    EXPECT_EQ(MapViewOfFile(mapping, kMapRead, 0, kPage, 4), nullptr);
    EXPECT_EQ(MapViewOfFile(mapping, kMapRead, 1, 0, 0), nullptr);
    EXPECT_EQ(MapViewOfFile(mapping, kMapCopy | kMapRead, 0, 0, 0), nullptr);
    char* const view = static_cast<char*>(MapViewOfFile(mapping, kMapWrite | kMapRead, 0, kPage, 0));
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(platform::CloseHandle(mapping));
    EXPECT_EQ(std::string(view, 3), "end");
    view[0] = 'E';
    EXPECT_FALSE(platform::UnmapViewOfFile(view + 1));
    EXPECT_TRUE(platform::UnmapViewOfFile(view));
    EXPECT_FALSE(platform::UnmapViewOfFile(view));
    EXPECT_NE(platform::GetLastError(), 0U);
    EXPECT_EQ(bytesOf(dir.file("f")).substr(kPage), "End");
}

TEST_F(PlatformFiles, StreamsStandBehind32Bits) {
    std::FILE* const stream = platform::_wfopen(dir.wide("file").c_str(), L"wb+");
    ASSERT_NE(stream, nullptr);
    constexpr __int64 kFar = 5LL << 30;
    EXPECT_EQ(platform::_fseeki64(stream, kFar, SEEK_SET), 0);
    EXPECT_EQ(platform::_fseeki64(stream, 1 - kFar, SEEK_CUR), 0);
    EXPECT_EQ(platform::_fseeki64(stream, kFar, SEEK_CUR), 0);
    EXPECT_EQ(platform::_ftelli64(stream), kFar + 1);
    EXPECT_NE(platform::_fseeki64(stream, -1, SEEK_SET), 0);
    std::fclose(stream);
}

TEST_F(PlatformFiles, StatesTellFilesApart) {
    std::FILE* const stream = platform::_wfopen(dir.wide("a").c_str(), L"wb+");
    ASSERT_NE(stream, nullptr);
    std::setvbuf(stream, nullptr, _IONBF, 0);
    writeFile(dir.file("b"), "12345");
    void* const same = open("a", kBoth);
    void* const other = open("b", kGenericRead);
    FileState first;
    EXPECT_TRUE(stateOf(stream, first));
    EXPECT_EQ(first.size, 0U);
    EXPECT_EQ(platform::writeThrough(stream, "123", 3), 3U);
    EXPECT_TRUE(syncFile(stream) && syncFile(same));
    void* const mapping = mappingOf(same, kPageReadWrite);
    void* const view = MapViewOfFile(mapping, kMapWrite, 0, 0, 3);
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(syncView(same, view, 3));
    FileState state;
    EXPECT_TRUE(stateOf(same, state));
    EXPECT_TRUE(state.volume == first.volume && state.number == first.number && state.size == 3);
    EXPECT_TRUE(stateOf(other, state));
    EXPECT_TRUE(state.volume == first.volume && state.number != first.number && state.size == 5);
    for (void* const handle : {static_cast<void*>(nullptr), kInvalidHandle, mapping}) {
        EXPECT_FALSE(stateOf(handle, state) || syncFile(handle));
        EXPECT_EQ(platform::GetLastError(), 6U);
    }
    EXPECT_TRUE(platform::UnmapViewOfFile(view));
    EXPECT_FALSE(syncView(same, view, 3));
    for (void* const handle : {same, other, mapping}) platform::CloseHandle(handle);
    std::fclose(stream);
}

// The kind of a refusal is the same on every system, and so is which one comes first.
TEST_F(PlatformFiles, RefusalsHaveNumbers) {
    writeFile(dir.file("f"), "text");
    void* const file = open("f", kGenericRead);
    EXPECT_EQ(mappingOf(file, kPageReadWrite), nullptr);
    EXPECT_EQ(platform::GetLastError(), 5U);
    EXPECT_EQ(mappingOf(file, 0x40), nullptr);
    EXPECT_EQ(CreateFileMappingW(file, nullptr, kPageReadOnly, 1, 0, nullptr), nullptr);
    EXPECT_EQ(CreateFileMappingW(file, nullptr, kPageReadOnly, 0, 1, nullptr), nullptr);
    EXPECT_EQ(CreateFileMappingW(file, nullptr, kPageReadOnly, 0, 0, L"name"), nullptr);
    EXPECT_EQ(platform::GetLastError(), 87U);
    void* const mapping = mappingOf(file, kPageReadOnly);
    const struct {
        unsigned long access;
        unsigned long offset;
        std::size_t length;
        unsigned long error;
    } rows[] = {{kMapWrite, 0, 4, 5},    {kMapWrite, 0, 5, 87},           {kMapWrite, 1, 1, 87}, {kMapRead, 0, 5, 87},
                {kMapCopy, 4096, 0, 87}, {kMapCopy | kMapRead, 0, 0, 87}, {0, kPage, 1, 87}};
    for (const auto& row : rows) {
        EXPECT_EQ(MapViewOfFile(mapping, row.access, 0, row.offset, row.length), nullptr);
        EXPECT_EQ(platform::GetLastError(), row.error) << row.access << " " << row.offset << " " << row.length;
    }
    EXPECT_FALSE(platform::UnmapViewOfFile(nullptr));
    EXPECT_EQ(platform::GetLastError(), 487U);
    platform::CloseHandle(mapping);
    platform::CloseHandle(file);

    void* const empty = open("empty", kBoth, kOpenAlways);
    EXPECT_EQ(mappingOf(empty, kPageReadOnly), nullptr);
    EXPECT_EQ(platform::GetLastError(), 1006U);
    platform::CloseHandle(empty);
}

TEST_F(PlatformFiles, NullArguments) {
    EXPECT_EQ(openForReading(nullptr), nullptr);
    EXPECT_EQ(platform::_wfopen(nullptr, L"r"), nullptr);
    EXPECT_EQ(platform::_wfopen(L"f", nullptr), nullptr);
    EXPECT_EQ(platform::_wunlink(nullptr), -1);
    EXPECT_EQ(platform::_strdup(nullptr), nullptr);
    wchar_t name = L'x';
    EXPECT_NE(platform::_wtmpnam_s(nullptr, 1), 0);
    EXPECT_NE(platform::_wtmpnam_s(&name, 0), 0);
    __int64 now = -1;
    const __int64 told = platform::_time64(&now);
    EXPECT_EQ(told, now);
}

// What a file holds after writing "new": one with "old text" in it, and one that wasn't there.
TEST_F(PlatformFiles, StreamModes) {
    const auto rows = rowsOf(
        "r => old text,- | rb+ => new text,- | r+t => new text,- | w => new,new | wt+ => new,new | w+b => new,new | "
        "a => old textnew,new | ab => old textnew,new | a+ => old textnew,new |  => -,- | x => -,- | +r => -,- | "
        "rw => -,- | r++ => -,- | wbt => -,- | wb+x => -,- | w, ccs=UTF-8 => -,-");
    for (const auto& [mode, results] : rows) {
        SCOPED_TRACE(mode);
        const std::wstring wide(mode.begin(), mode.end());
        const std::string name = "f" + mode.substr(0, 4);
        EXPECT_EQ(writtenWith(wide.c_str(), name), split(results, ",")[1]);
        writeFile(dir.file(name), "old text");
        const std::string onOld = split(results, ",")[0];
        EXPECT_EQ(writtenWith(wide.c_str(), name), onOld);
        EXPECT_EQ(bytesOf(dir.file(name)), onOld == "-" ? "old text" : onOld);
    }
}

} // namespace
