// SPDX-License-Identifier: Apache-2.0
#include "vellix/platform/Platform.h"

#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "TestSupport.h"

namespace {

using namespace platform;
using namespace std::string_literals;

class PlatformFiles : public testing::Test {
protected:
    static constexpr unsigned long kPage = 65536;
    static constexpr unsigned long kBoth = kGenericRead | kGenericWrite;

    void* open(const std::string& name, unsigned long access, unsigned long disposition = kOpenExisting) {
        return CreateFileW(dir.wide(name).c_str(), access, kShareRead | kShareWrite, nullptr, disposition,
                           kAttributeNormal, nullptr);
    }

    void SetUp() override {
        writeFile(dir.file("f"), "text");
        file = open("f", kGenericRead);
        ASSERT_NE(file, kInvalidHandle);
    }

    void TearDown() override { EXPECT_TRUE(platform::CloseHandle(file)); }

    static void* mappingOf(void* handle, unsigned long protection = kPageReadOnly) {
        return CreateFileMappingW(handle, nullptr, protection, 0, 0, nullptr);
    }

    // The number of a call that was refused, 0 if it wasn't. Nothing of it is left for the next one.
    unsigned long refusal(bool refused) const {
        const unsigned long number = platform::GetLastError();
        EXPECT_EQ(!systemError(), number == 0);
        EXPECT_EQ(platform::GetFileSize(file, nullptr), 4U);
        EXPECT_EQ(platform::GetLastError(), 0U);
        return refused ? number : 0;
    }

    // What the file `name` holds after "new" was written through a stream of the mode, "-" if it can't be opened.
    std::string writtenWith(const wchar_t* mode, const std::string& name) {
        std::FILE* const stream = platform::_wfopen(dir.wide(name).c_str(), mode);
        if (stream == nullptr) return "-";
        std::fputs("new", stream);
        std::fclose(stream);
        return bytesOf(dir.file(name));
    }

    TempDir dir;
    void* file = kInvalidHandle;
};

// The kind of a refusal is the same on every system, and so is which one comes first.
TEST_F(PlatformFiles, RefusalsHaveNumbers) {
    void* const mapping = mappingOf(file);
    void* const empty = open("empty", kBoth, kOpenAlways);
    unsigned long high = 7;
    FileState state;
    char bytes[8] = {};
    std::size_t got = 99;
    for (void* const handle : {static_cast<void*>(nullptr), kInvalidHandle, mapping}) {
        EXPECT_EQ(refusal(platform::GetFileSize(handle, &high) == 0xFFFFFFFFU && high == 7), 6U);
        EXPECT_EQ(refusal(mappingOf(handle) == nullptr), 6U);
        EXPECT_EQ(refusal(!readAt(handle, 0, bytes, 6, got) && got == 0), 6U);
        EXPECT_EQ(refusal(!stateOf(handle, state)), 6U);
        EXPECT_EQ(refusal(!syncFile(handle)), 6U);
        EXPECT_EQ(refusal(MapViewOfFile(handle == mapping ? file : handle, kMapRead, 0, 0, 1) == nullptr), 6U);
        EXPECT_EQ(refusal(handle != mapping && !platform::CloseHandle(handle)), handle != mapping ? 6U : 0U);
    }
    EXPECT_EQ(refusal(open("none", kBoth) == kInvalidHandle), 2U);
    EXPECT_EQ(refusal(open("f", kGenericWrite) == kInvalidHandle), 87U);
    EXPECT_EQ(refusal(open("f", kGenericRead, 2) == kInvalidHandle), 87U);
    EXPECT_EQ(refusal(CreateFileW(nullptr, kBoth, 0, nullptr, kOpenAlways, 0, nullptr) == kInvalidHandle), 87U);
    EXPECT_EQ(refusal(!readAt(file, -1, bytes, 6, got)), 87U);
    EXPECT_EQ(refusal(mappingOf(file, kPageReadWrite) == nullptr), 5U);
    EXPECT_EQ(refusal(mappingOf(file, 0x40) == nullptr), 87U);
    EXPECT_EQ(refusal(CreateFileMappingW(file, nullptr, kPageReadOnly, 1, 0, nullptr) == nullptr), 87U);
    EXPECT_EQ(refusal(CreateFileMappingW(file, nullptr, kPageReadOnly, 0, 1, nullptr) == nullptr), 87U);
    EXPECT_EQ(refusal(CreateFileMappingW(file, nullptr, kPageReadOnly, 0, 0, L"name") == nullptr), 87U);
    EXPECT_EQ(refusal(mappingOf(empty) == nullptr), 1006U);
    EXPECT_EQ(refusal(!platform::UnmapViewOfFile(nullptr)), 487U);
    EXPECT_EQ(refusal(openForReading(nullptr) == nullptr), 87U);
    EXPECT_EQ(refusal(platform::_wfopen(nullptr, L"r") == nullptr), 87U);
    EXPECT_EQ(refusal(platform::_wfopen(L"f", nullptr) == nullptr), 87U);
    EXPECT_EQ(refusal(platform::_wunlink(nullptr) == -1), 87U);
    const struct {
        unsigned long access;
        unsigned long offset;
        std::size_t length;
        unsigned long error;
    } views[] = {
        {kMapWrite, 0, 4, 5}, {kMapWrite, 0, 5, 87},   {kMapWrite, 1, 1, 87},    {kMapRead, 0, 5, 87},
        {kMapRead, 1, 0, 87}, {kMapCopy, 4096, 0, 87}, {kMapCopy, kPage, 0, 87}, {kMapCopy | kMapRead, 0, 0, 87},
        {0, kPage, 1, 87}};
    for (const auto& view : views) {
        EXPECT_EQ(refusal(MapViewOfFile(mapping, view.access, 0, view.offset, view.length) == nullptr), view.error)
            << view.access << " " << view.offset << " " << view.length;
    }
    for (void* const handle : {mapping, empty}) EXPECT_TRUE(platform::CloseHandle(handle));
    EXPECT_EQ(bytesOf(dir.file("f")), "text");
    wchar_t name = L'x';
    EXPECT_NE(platform::_wtmpnam_s(nullptr, 1), 0);
    EXPECT_NE(platform::_wtmpnam_s(&name, 0), 0);
    EXPECT_EQ(platform::_strdup(nullptr), nullptr);
    __int64 now = -1;
    const __int64 told = platform::_time64(&now);
    EXPECT_EQ(told, now);
}

// All that a call doesn't know by itself is refused, and then what doesn't fit.
TEST_F(PlatformFiles, Utf8SizesAndRefusals) {
    const std::string bytes = "\xE2\x82\xAC!\0"s;
    int replaced = 0;
    for (unsigned int call = 0; call < 32 * 5 * 5; ++call) {
        const int length = static_cast<int>(call / 32 % 5) - 2; // -1 is up to and with the NUL
        const int size = static_cast<int>(call / 160) * 2 - 2;
        char room[8] = "~~~~~~~";
        char* const out = (call & 1U) != 0 ? nullptr : room;
        const int result =
            WideCharToMultiByte((call & 2U) != 0 ? 1252 : kUtf8, call >> 2 & 1U, L"\x20AC!", length, out, size,
                                (call & 8U) != 0 ? "?" : nullptr, (call & 16U) != 0 ? &replaced : nullptr);
        const bool known =
            (call & 30U) == 0 && length >= -1 && length != 0 && size >= 0 && (out != nullptr || size == 0);
        const int needed = length == -1 ? 5 : length + 2;
        const bool fits = known && (size == 0 || size >= needed);
        const auto written = static_cast<std::size_t>(fits && size != 0 ? needed : 0);
        EXPECT_EQ(refusal(result == 0), !known ? 87U : fits ? 0U : 122U) << call;
        EXPECT_EQ(result, fits ? needed : 0) << call;
        EXPECT_EQ(std::string(room, written), bytes.substr(0, written)) << call;
        EXPECT_EQ(std::string(room + (size > 0 ? size : 0)).find_first_not_of('~', 0), std::string::npos) << call;
    }
    EXPECT_EQ(refusal(WideCharToMultiByte(kUtf8, 0, nullptr, -1, nullptr, 0, nullptr, nullptr) == 0), 87U);
    // A pair that the length cuts is no pair.
    EXPECT_EQ(WideCharToMultiByte(kUtf8, 0, L"\xD83D\xDE00", 1, nullptr, 0, nullptr, nullptr), 3);
}

TEST_F(PlatformFiles, ReadsBehind32Bits) {
    constexpr __int64 kFar = 5LL << 30;
    std::filesystem::resize_file(dir.file("f"), kFar);
    const struct {
        __int64 offset;
        std::size_t length;
        std::string bytes;
    } rows[] = {{0, 4, "text"}, {3, 3, "t\0\0"s}, {kFar - 2, 6, "\0\0"s}, {2, 1, "x"},
                {4, 0, ""},     {kFar, 6, ""},    {INT64_MAX, 6, ""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.offset);
        std::string bytes(8, '~');
        std::size_t got = 99;
        EXPECT_TRUE(readAt(file, row.offset, bytes.data(), row.length, got));
        EXPECT_EQ(bytes.substr(0, got), row.bytes);
        EXPECT_EQ(bytes.substr(row.length), std::string(8 - row.length, '~'));
    }
    EXPECT_EQ(open("none", kGenericRead), kInvalidHandle);
    EXPECT_EQ(systemError(), std::errc::no_such_file_or_directory);
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
