#include "vellix/platform/Platform.h"

#include <climits>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "TempDir.h"

namespace {

using namespace platform;
using namespace std::string_literals;

TEST(DecimalReaders, StayAtTheNearestLimit) {
    const struct {
        const char* text;
        int narrow;
        long long wide;
    } rows[] = {{"", 0, 0},
                {"x1", 0, 0},
                {"-", 0, 0},
                {"+-1", 0, 0},
                {"- 1", 0, 0},
                {"-0", 0, 0},
                {"007", 7, 7},
                {"+12x3", 12, 12},
                {" \t\n\v\f\r-9", -9, -9},
                {"\xA0"
                 "5",
                 0, 0},
                {"2147483646", 2147483646, 2147483646},
                {"2147483647", INT_MAX, 2147483647},
                {"2147483648", INT_MAX, 2147483648},
                {"-2147483648", INT_MIN, -2147483648LL},
                {"-2147483649", INT_MIN, -2147483649LL},
                {"4294967296", INT_MAX, 4294967296},
                {"9223372036854775806", INT_MAX, 9223372036854775806},
                {"9223372036854775807", INT_MAX, LLONG_MAX},
                {"9223372036854775808", INT_MAX, LLONG_MAX},
                {"-9223372036854775807", INT_MIN, -9223372036854775807},
                {"-9223372036854775808", INT_MIN, LLONG_MIN},
                {"-9223372036854775809", INT_MIN, LLONG_MIN},
                {"18446744073709551617", INT_MAX, LLONG_MAX},
                {"-99999999999999999999999999", INT_MIN, LLONG_MIN},
                {"000000000000000000000000000005", 5, 5}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(platform::atoi(row.text), row.narrow);
        EXPECT_EQ(platform::atol(row.text), row.narrow);
        EXPECT_EQ(platform::_atoi64(row.text), row.wide);
    }
}

TEST(CaseBlindCompare, FoldsAsciiLettersAlone) {
    const struct {
        const char* left;
        const char* right;
        std::size_t count;
        int sign;
    } rows[] = {{"CatFH", "cATfh", 5, 0}, {"ab", "aB\0x", 9, 0},   {"ab", "ac", 1, 0},  {"", "", 1, 0},
                {"x", "y", 0, 0},         {"a", "B", 1, -1},       {"a", "", 1, 1},     {"@", "`", 1, -1},
                {"[", "{", 1, -1},        {"\xC4", "\xE4", 1, -1}, {"\xE4", "a", 1, 1}, {"ab", "abc", 3, -1}};
    for (const auto& row : rows) {
        const int result = platform::_strnicmp(row.left, row.right, row.count);
        EXPECT_EQ((result > 0) - (result < 0), row.sign) << row.left << " " << row.right;
    }
}

std::string utf8(const std::wstring& text) {
    char out[64];
    const int bytes =
        WideCharToMultiByte(kUtf8, 0, text.data(), static_cast<int>(text.size()), out, sizeof(out), nullptr, nullptr);
    return std::string(out, static_cast<std::size_t>(bytes));
}

TEST(Utf8, EveryUnitAndLoneSurrogates) {
    const struct {
        const char* name;
        std::wstring text;
        std::string bytes;
    } rows[] = {{"one byte", L"\x01\x7F", "\x01\x7F"},
                {"two bytes", L"\x80\x7FF", "\xC2\x80\xDF\xBF"},
                {"three bytes", L"\x800\xD7FF\xE000\xFFFF", "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
                {"first and last pair", L"\xD800\xDC00\xDBFF\xDFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
                {"high at the end", L"a\xD800", "a\xEF\xBF\xBD"},
                {"high before a letter", L"\xDBFFz", "\xEF\xBF\xBDz"},
                {"low alone", L"\xDC00z", "\xEF\xBF\xBDz"},
                {"high before a pair", L"\xD83D\xD83D\xDE00", "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
                {"NUL inside", L"a\0b"s, "a\0b"s}};
    for (const auto& row : rows) EXPECT_EQ(utf8(row.text), row.bytes) << row.name;
}

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
    EXPECT_FALSE(platform::CloseHandle(nullptr));
    EXPECT_FALSE(platform::CloseHandle(kInvalidHandle));
    EXPECT_TRUE(platform::CloseHandle(mapping));
    EXPECT_TRUE(platform::CloseHandle(file));
}

TEST_F(PlatformFiles, CreateFileRefuses) {
    writeFile(dir.file("f"), "text");
    EXPECT_EQ(open("none", kBoth), kInvalidHandle);
    EXPECT_EQ(platform::GetLastError(), 2U);
    EXPECT_EQ(open("f", kGenericWrite), kInvalidHandle);
    EXPECT_EQ(open("f", kGenericRead, 2), kInvalidHandle);
    EXPECT_EQ(open("", kGenericRead), kInvalidHandle);
    EXPECT_EQ(CreateFileW(nullptr, kGenericRead, 0, nullptr, kOpenAlways, 0, nullptr), kInvalidHandle);
    EXPECT_EQ(bytesOf(dir.file("f")), "text");
}

TEST_F(PlatformFiles, LastErrorBelongsToTheThread) {
    EXPECT_EQ(open("none", kGenericRead), kInvalidHandle);
    std::thread([] { EXPECT_FALSE(platform::CloseHandle(nullptr)); }).join();
    EXPECT_EQ(platform::GetLastError(), 2U);
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

TEST_F(PlatformFiles, EmptyFileHasNoMappingObject) {
    writeFile(dir.file("f"), "");
    void* const file = open("f", kBoth);
    EXPECT_EQ(mappingOf(file, kPageReadOnly), nullptr);
    EXPECT_EQ(mappingOf(file, kPageReadWrite), nullptr);
    EXPECT_EQ(platform::GetLastError(), 1006U);
    EXPECT_TRUE(platform::CloseHandle(file));
}

TEST_F(PlatformFiles, ReadOnlyObjectsTakeNoWriting) {
    writeFile(dir.file("f"), "text");
    void* const file = open("f", kGenericRead);
    EXPECT_EQ(mappingOf(file, kPageReadWrite), nullptr);
    void* const mapping = mappingOf(file, kPageReadOnly);
    EXPECT_EQ(MapViewOfFile(mapping, kMapWrite, 0, 0, 0), nullptr);
    char* const view = static_cast<char*>(MapViewOfFile(mapping, kMapCopy, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    view[0] = 'T';
    EXPECT_EQ(std::string(view, 4), "Text");
    EXPECT_EQ(bytesOf(dir.file("f")), "text");
    EXPECT_TRUE(platform::UnmapViewOfFile(view));
    EXPECT_TRUE(platform::CloseHandle(mapping));
    EXPECT_TRUE(platform::CloseHandle(file));
}

TEST_F(PlatformFiles, StreamModes) {
    const struct {
        const wchar_t* mode;
        const char* onOld; // what a file with "old text" holds after writing "new"
        const char* onNone;
    } rows[] = {{L"r", "old text", "-"},
                {L"rb", "old text", "-"},
                {L"r+", "new text", "-"},
                {L"r+t", "new text", "-"},
                {L"rb+", "new text", "-"},
                {L"w", "new", "new"},
                {L"wt+", "new", "new"},
                {L"w+b", "new", "new"},
                {L"a", "old textnew", "new"},
                {L"a+", "old textnew", "new"},
                {L"ab", "old textnew", "new"},
                {L"", "-", "-"},
                {L"x", "-", "-"},
                {L"+r", "-", "-"},
                {L"rw", "-", "-"},
                {L"r++", "-", "-"},
                {L"wbt", "-", "-"},
                {L"wb+x", "-", "-"},
                {L"w, ccs=UTF-8", "-", "-"},
                {nullptr, "-", "-"}};
    int number = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(number);
        const std::string name = "f" + std::to_string(number++);
        EXPECT_EQ(writtenWith(row.mode, name), row.onNone);
        writeFile(dir.file(name), "old text");
        const std::string left = writtenWith(row.mode, name);
        EXPECT_EQ(left, row.onOld);
        if (left == "-") {
            EXPECT_EQ(bytesOf(dir.file(name)), "old text");
        }
    }
    EXPECT_EQ(platform::_wfopen(nullptr, L"r"), nullptr);
    EXPECT_EQ(platform::_wfopen(dir.wide("").c_str(), L"r"), nullptr);
}

TEST_F(PlatformFiles, TextModeChangesNothing) {
    const std::string text = "a\nb\r\n\x1A z";
    std::FILE* stream = platform::_wfopen(dir.wide("f").c_str(), L"wt+");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), stream), text.size());
    std::fclose(stream);
    EXPECT_EQ(bytesOf(dir.file("f")), text);

    char read[16];
    stream = platform::openForReading(dir.file("f").c_str());
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::string(read, std::fread(read, 1, sizeof(read), stream)), text);
    std::fclose(stream);
    EXPECT_EQ(platform::openForReading(dir.path().c_str()), nullptr);
    EXPECT_EQ(platform::openForReading(dir.file("none").c_str()), nullptr);
    EXPECT_EQ(platform::openForReading(nullptr), nullptr);
}

TEST(TemporaryName, IsANewEmptyFile) {
    wchar_t first[260];
    wchar_t second[260];
    ASSERT_EQ(platform::_wtmpnam_s(first, 260), 0);
    ASSERT_EQ(platform::_wtmpnam_s(second, 260), 0);
    EXPECT_STRNE(first, second);
    EXPECT_EQ(bytesOf(first), "");
    EXPECT_EQ(bytesOf(second), "");
    EXPECT_EQ(platform::_wunlink(first), 0);
    EXPECT_EQ(platform::_wunlink(first), -1);
    EXPECT_EQ(platform::_wunlink(second), 0);
    EXPECT_EQ(platform::_wunlink(nullptr), -1);

    first[0] = L'x';
    EXPECT_NE(platform::_wtmpnam_s(first, 4), 0);
    EXPECT_STREQ(first, L"");
    EXPECT_NE(platform::_wtmpnam_s(first, 0), 0);
    EXPECT_NE(platform::_wtmpnam_s(nullptr, 260), 0);
}

} // namespace
