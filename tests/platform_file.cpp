// SPDX-License-Identifier: Apache-2.0
// Writes a fixed catalog of several pages, or reads one and compares every value. Whatever system a build is for, the
// bytes are the same, and each build reads what another wrote.
//     platform_file write|read FILE
// Exit status: 0 if all is as it should be, 1 if not; then a line tells what was wrong.

#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "TempDir.h"
#include "vellix/VellixReader.h"
#include "vellix/VellixWriter.h"

namespace {

// What the file is: its length, and its bytes as the 64-bit FNV-1a hash of them.
constexpr std::size_t kLength = 399067;
constexpr std::uint64_t kHash = 0x6EEE308686039BD0U;

constexpr unsigned int kEntries = 1500;

// Texts that a system might change on their way: line ends, the end-of-file byte, controls, bytes that are no UTF-8.
const char* const kNames[] = {"C:\\dir\\file.txt", "/home/a & b/<c>", "a\nb\r\nc\rd",
                              "ends\x1A here",     "caf\xE9",         "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
                              "\xE2\x82",          "tab\tbell\a"};

// The same for wide text: a pair of surrogates, which is one character on every system, and a lone one.
const wchar_t* const kOwners[] = {L"root", L"caf\xE9", L"\x20AC 5 \xD83D\xDE00", L"\xDE00 alone", L"\xFFFD\n"};
template <class Text, std::size_t N> Text rowOf(const Text (&rows)[N], unsigned int number) { return rows[number % N]; }

// Spreads a number over all 64 bits, so that small and large values of either sign occur.
std::uint64_t spread(unsigned int number) { return (0x9E3779B97F4A7C15U * (number + 1)) >> (number % 5 * 13); }

std::string nameOf(unsigned int number) {
    if (number == kEntries / 2) return std::string(150000, 'x'); // longer than two pages
    return rowOf(kNames, number) + std::string(number % 97, 'n');
}

VellixEntry entryOf(unsigned int number) {
    const std::uint64_t bits = spread(number);
    const auto low = static_cast<std::uint32_t>(bits);
    VellixEntry entry(VELLIX_DOC_FH); // an attribute for each type of number, in decimal and in radix-64
    entry.addAttribute(6, nameOf(number));
    entry.addAttribute(19, rowOf(kOwners, number));
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

int failed(const char* what) {
    std::fprintf(stderr, "platform_file: %s\n", what);
    return 1;
}

int writeTo(const std::wstring& path) {
    VellixWriter writer;
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    writer.getRootDoc().addAttribute(1, "1700000000"); // instead of the present time
    image.addAttribute(1, "42");
    writer.create(path.c_str());
    writer.addDoc(image);
    image.addChildDoc(files);
    for (unsigned int number = 0; number < kEntries; ++number) {
        VellixEntry entry = entryOf(number);
        if (!files.addEntry(entry)) return failed("an entry was not written");
    }
    files.close();
    image.close();
    writer.markComplete();
    writer.close();
    return 0;
}

std::uint64_t hashOf(const std::string& bytes) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    return hash;
}

int readFrom(const std::filesystem::path& path) {
    const std::string bytes = bytesOf(path);
    if (bytes.size() != kLength || hashOf(bytes) != kHash) return failed("other bytes than they should be");
    VellixReader reader;
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry;
    if (!reader.load(path.wstring().c_str()) || reader.getSessionID() != "1700000000" || !reader.isComplete())
        return failed("it can't be loaded");
    if (!reader.getFirstDoc(image) || image.getAttributeStr(1) != "42" || !image.getFirstChildDoc(files))
        return failed("the documents are not found");
    for (unsigned int number = 0; number < kEntries; ++number) {
        if (!files.getNextEntry(entry) || !(entry == entryOf(number))) return failed("an entry came back changed");
    }
    return files.getNextEntry(entry) ? failed("an entry too many") : 0;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3) return failed("usage: platform_file write|read FILE");
    const std::filesystem::path path = arguments[2];
    try {
        return arguments[1] == std::string("write") ? writeTo(path.wstring()) : readFrom(path);
    } catch (const std::exception& error) {
        return failed(error.what());
    }
}
