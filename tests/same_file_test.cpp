// SPDX-License-Identifier: Apache-2.0
// A fixed catalog of several pages. Whatever system a build is for, it writes these bytes, and so each reads what another
// wrote.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "WritingJob.h"

namespace {

constexpr unsigned int kEntries = 1500;

// Texts that a system might change on their way: line ends, the end-of-file byte, controls, bytes that are no UTF-8.
const char* const kNames[] = {"C:\\dir\\file.txt", "/home/a & b/<c>", "a\nb\r\nc\rd",
                              "ends\x1A here",     "caf\xE9",         "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
                              "\xE2\x82",          "tab\tbell\a"};

// The same for wide text: a pair of surrogates, which is one character on every system, and a lone one.
const wchar_t* const kOwners[] = {L"root", L"caf\xE9", L"\x20AC 5 \xD83D\xDE00", L"\xDE00 alone", L"\xFFFD\n"};

// With an attribute for each type of number, in decimal and in radix-64; one of the entries is longer than two pages.
VellixEntry entryOf(unsigned int number) {
    const std::uint64_t bits = (0x9E3779B97F4A7C15U * (number + 1)) >> (number % 5 * 13);
    const auto low = static_cast<std::uint32_t>(bits);
    const bool isLong = number == kEntries / 2;
    VellixEntry entry(VELLIX_DOC_FH);
    entry.addAttribute(6, isLong ? std::string(150000, 'x') : kNames[number % 8] + std::string(number % 97, 'n'));
    entry.addAttribute(19, kOwners[number % 5]);
    entry.addAttribute(9, static_cast<unsigned __int64>(bits), false);
    entry.addAttribute(58, static_cast<__int64>(bits), false);
    entry.addAttribute(57, static_cast<std::int32_t>(low), false);
    if (number % 2 == 0) {
        entry.addAttribute(18, static_cast<unsigned int>(low % 0x80000000U), false);
        entry.addAttribute(76, static_cast<unsigned long>(low), number % 3 == 0);
    } else {
        entry.addAttribute(18, static_cast<short>(low % 32768), false);
        entry.addAttribute(76, static_cast<unsigned short>(low % 65536), number % 3 == 0);
    }
    return entry;
}

std::uint64_t fnv1a(const std::string& bytes) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    return hash;
}

TEST(SameFile, OnEverySystem) {
    const TempDir dir;
    std::vector<VellixEntry> entries;
    for (unsigned int number = 0; number < kEntries; ++number) entries.push_back(entryOf(number));
    filetest::WritingJob job(entries);
    {
        VellixWriter writer;
        writer.getRootDoc().addAttribute(1, "1700000000"); // instead of the present time
        ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
        job.run(writer);
        writer.markComplete();
        writer.close();
    } // as long as it has the file open, Windows lets nobody else read it
    EXPECT_EQ(job.written, std::string(kEntries, '1'));
    EXPECT_EQ(fnv1a(job.expectIn(dir.file("a.xml"))), 0x6EEE308686039BD0U);
}

} // namespace
