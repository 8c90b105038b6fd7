// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixMMap.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "TempDir.h"

namespace {

enum Access { kToRead = 0, kToWrite = 2 };
enum Protection { kRead = 2, kWrite = 4 };
enum Flags { kPrivate = 1, kShared = 2 };
constexpr __int64 kPage = 65536;

void* const kNoHandle = reinterpret_cast<void*>(std::intptr_t{-1}); // NOLINT(performance-no-int-to-ptr)

static_assert(!std::is_copy_constructible_v<VellixMMap> && !std::is_copy_assignable_v<VellixMMap>);

class MappedFile : public testing::Test {
protected:
    // Two pages and ten bytes, a letter for each page.
    void SetUp() override {
        writeFile(dir.file("f"), std::string(kPage, 'a') + std::string(kPage, 'b') + "0123456789");
    }

    char* mapFrom(__int64 offset, __int64 length, int prot = kRead, int flags = kShared) {
        EXPECT_EQ(file.map(file.handle(), static_cast<int>(length), prot, flags, nullptr, offset), VELLIX_SUCCESS);
        return static_cast<char*>(file.addr());
    }

    TempDir dir;
    VellixMMap file;
};

TEST_F(MappedFile, OpenTellsWhatItMetAndLetsGoOfTheLastFile) {
    EXPECT_EQ(file.fileSize(), 0);
    EXPECT_EQ(file.open(dir.wide("none").c_str(), kToRead), VELLIX_ERR_FILE_OPEN);
    EXPECT_FALSE(std::filesystem::exists(dir.file("none")));
    EXPECT_EQ(file.open(dir.wide("new").c_str(), kToWrite), VELLIX_SUCCESS);
    EXPECT_EQ(file.fileSize(), 0);
    EXPECT_EQ(bytesOf(dir.file("new")), "");
    EXPECT_EQ(file.open(dir.wide("f").c_str(), kToWrite), VELLIX_SUCCESS);
    EXPECT_EQ(file.open(nullptr, kToRead), VELLIX_ERR_NULL_ARGUMENT);
    EXPECT_EQ(file.handle(), kNoHandle);
    EXPECT_EQ(file.fileSize(), 2 * kPage + 10); // stays
    writeFile(dir.file("g"), "second");
    for (const char* name : {"f", "g"}) { // without a close in between
        ASSERT_EQ(file.open(dir.wide(name).c_str(), kToRead), VELLIX_SUCCESS);
        EXPECT_EQ(file.addr(), nullptr);
        EXPECT_EQ(std::string(mapFrom(0, 6), 6), *name == 'f' ? "aaaaaa" : "second");
    }
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(file.close(), VELLIX_SUCCESS);
        EXPECT_EQ(file.addr(), nullptr);
        EXPECT_EQ(file.handle(), kNoHandle);
        EXPECT_EQ(mapFrom(0, 1), nullptr);
    }
}

// All bits of the low half set is also how a failed size query looks.
TEST_F(MappedFile, SizesAndOffsetsHave64Bits) {
    std::filesystem::resize_file(dir.file("f"), std::uintmax_t{0x1FFFFFFFF});
    std::fstream(dir.file("f"), std::ios::in | std::ios::out | std::ios::binary).seekp(0x100000000).put('4');
    ASSERT_EQ(file.open(dir.wide("f").c_str(), kToRead), VELLIX_SUCCESS);
    EXPECT_EQ(file.fileSize(), 0x1FFFFFFFF);
    const char* const view = mapFrom(0x100000000, kPage);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view[0], '4'); // not the 'a' of the first page, nor the NUL at 2 GiB
}

TEST_F(MappedFile, ViewsLieInsideTheFile) {
    const __int64 end = 2 * kPage + 10;
    const struct {
        __int64 offset;
        __int64 length; // 0 for all that follows
        bool isThere;
    } rows[] = {{0, kPage + 1, true},  {2 * kPage, 10, true},   {2 * kPage, 0, true},
                {0, 0, true},          {2 * kPage, 11, false},  {3 * kPage, 1, false},
                {3 * kPage, 0, false}, {4096, 1, false},        {-kPage, kPage, false},
                {0, -1, false},        {0, -0x7FFFFFFF, false}, {INT64_MAX - kPage + 1, kPage, false}};
    const std::string content = bytesOf(dir.file("f"));
    ASSERT_EQ(file.open(dir.wide("f").c_str(), kToRead), VELLIX_SUCCESS);
    for (const auto& [offset, length, isThere] : rows) {
        const char* const view = mapFrom(offset, length);
        ASSERT_EQ(view != nullptr, isThere) << offset << ' ' << length;
        if (!isThere) continue;
        const auto size = static_cast<std::size_t>(length != 0 ? length : end - offset);
        EXPECT_TRUE(std::string(view, size) == content.substr(static_cast<std::size_t>(offset), size));
        EXPECT_EQ(file.unmap(nullptr), VELLIX_ERR_NOT_MAPPED);
        EXPECT_EQ(file.unmap(static_cast<char*>(file.addr()) + 1), VELLIX_ERR_NOT_MAPPED);
        EXPECT_EQ(file.unmap(file.addr()), VELLIX_SUCCESS);
        EXPECT_EQ(file.addr(), nullptr);
        EXPECT_EQ(file.unmap(nullptr), VELLIX_SUCCESS);
    }
}

TEST_F(MappedFile, WhatReachesTheFile) {
    const struct {
        const char* name;
        int mode;
        int prot;
        int flags;
        bool mapped;
        bool stored;
    } rows[] = {{"shared write", kToWrite, kWrite, kShared, true, true},
                {"shared write on a file to read", kToRead, kWrite, kShared, false, false},
                {"shared write on an object to read", kToWrite, kRead | kWrite, kShared, false, false},
                {"copy, object to write", kToWrite, kWrite, kPrivate, true, false},
                {"copy, object to read", kToWrite, kRead, kPrivate, true, false},
                {"copy on a file to read", kToRead, kRead, kPrivate, true, false},
                {"both flags are a copy", kToWrite, kWrite, kPrivate | kShared, true, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        writeFile(dir.file("f"), "plain");
        ASSERT_EQ(file.open(dir.wide("f").c_str(), row.mode), VELLIX_SUCCESS);
        char* const view = mapFrom(0, 5, row.prot, row.flags);
        ASSERT_EQ(view != nullptr, row.mapped);
        if (view != nullptr) view[1] = 'L';
        EXPECT_EQ(file.close(), VELLIX_SUCCESS);
        EXPECT_EQ(bytesOf(dir.file("f")), row.stored ? "pLain" : "plain");
    }
}

// The first view makes the mapping object, of the size that the file has then, or fails to; and so it stays up to `close`.
TEST_F(MappedFile, OneMappingObjectServesAllViews) {
    for (const bool wasEmpty : {false, true}) {
        writeFile(dir.file("f"), std::string(wasEmpty ? 0 : kPage + 10, 'x'));
        ASSERT_EQ(file.open(dir.wide("f").c_str(), kToWrite), VELLIX_SUCCESS);
        EXPECT_EQ(mapFrom(0, 0) == nullptr, wasEmpty);
        EXPECT_EQ(file.unmap(file.addr()), VELLIX_SUCCESS);
        std::filesystem::resize_file(dir.file("f"), 3 * kPage);
        EXPECT_EQ(mapFrom(2 * kPage, 1), nullptr);
        EXPECT_EQ(mapFrom(kPage, 11), nullptr);
        EXPECT_EQ(mapFrom(kPage, 10) == nullptr, wasEmpty);
        EXPECT_EQ(file.close(), VELLIX_SUCCESS);
    }
    ASSERT_EQ(file.open(dir.wide("f").c_str(), kToWrite), VELLIX_SUCCESS);
    EXPECT_NE(mapFrom(2 * kPage, 0), nullptr);
}

} // namespace
