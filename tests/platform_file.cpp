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

// Ids of a file entry; one for each type of number, in decimal and in radix-64.
constexpr unsigned short kName = 6;      // string
constexpr unsigned short kSize = 9;      // unsigned 64 bits
constexpr unsigned short kMode = 18;     // unsigned 32 bits
constexpr unsigned short kOwner = 19;    // string
constexpr unsigned short kImage = 57;    // signed 32 bits
constexpr unsigned short kInode = 58;    // signed 64 bits
constexpr unsigned short kRelative = 76; // unsigned 32 bits in radix-64

// Texts that a system might change on their way: line ends, the end-of-file byte, controls, bytes that are no UTF-8.
const char* const kNames[] = {"C:\\dir\\file.txt", "/home/a & b/<c>", "a\nb\r\nc\rd",
                              "ends\x1A here",     "caf\xE9",         "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
                              "\xE2\x82",          "tab\tbell\a"};

// The same for wide text: a pair of surrogates, which is one character on every system, and a lone one.
const wchar_t* const kOwners[] = {L"root", L"caf\xE9", L"\x20AC 5 \xD83D\xDE00", L"\xDE00 alone", L"\xFFFD\n"};
const char* const kOwnersRead[] = {"root", "caf\xC3\xA9", "\xE2\x82\xAC 5 \xF0\x9F\x98\x80", "\xEF\xBF\xBD alone",
                                   "\xEF\xBF\xBD\n"};

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
    VellixEntry entry(VELLIX_DOC_FH);
    entry.addAttribute(kName, nameOf(number));
    entry.addAttribute(kOwner, rowOf(kOwners, number));
    entry.addAttribute(kSize, static_cast<unsigned __int64>(bits), false);
    entry.addAttribute(kInode, static_cast<__int64>(bits), false);
    entry.addAttribute(kImage, static_cast<std::int32_t>(low), false);
    if (number % 2 == 0) {
        entry.addAttribute(kMode, static_cast<unsigned int>(low % 0x80000000U), false);
        entry.addAttribute(kRelative, static_cast<unsigned long>(low), number % 3 == 0);
    } else {
        entry.addAttribute(kMode, static_cast<short>(low % 32768), false);
        entry.addAttribute(kRelative, static_cast<unsigned short>(low % 65536), number % 3 == 0);
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
    if (!writer.create(path.c_str()) || !writer.addDoc(image) || !image.addChildDoc(files)) return failed("not begun");
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

bool isEntry(unsigned int number, VellixEntry& entry) {
    const std::uint64_t bits = spread(number);
    const auto low = static_cast<std::uint32_t>(bits);
    const bool even = number % 2 == 0;
    unsigned __int64 size = 0;
    __int64 inode = 0;
    int image = 0;
    unsigned int mode = 0;
    unsigned long relative = 0;
    return entry.getAttributeStr(kName) == nameOf(number) &&
           entry.getAttributeStr(kOwner) == rowOf(kOwnersRead, number) && entry.getAttribute(kSize, size) &&
           size == static_cast<std::uint64_t>(bits) && entry.getAttribute(kInode, inode) &&
           inode == static_cast<__int64>(bits) && entry.getAttribute(kImage, image) &&
           image == static_cast<std::int32_t>(low) && entry.getAttribute(kMode, mode) &&
           mode == low % (even ? 0x80000000U : 32768U) && entry.getAttribute(kRelative, relative) &&
           relative == (even ? low : low % 65536) && entry.getNumberOfAttributes() == 7;
}

std::uint64_t hashOf(const std::string& bytes) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    return hash;
}

int readFrom(const std::filesystem::path& path) {
    const std::string bytes = bytesOf(path);
    if (bytes.size() != kLength || hashOf(bytes) != kHash) {
        std::fprintf(stderr, "%zu bytes, hash 0x%08lX%08lX\n", bytes.size(),
                     static_cast<unsigned long>(hashOf(bytes) >> 32),
                     static_cast<unsigned long>(hashOf(bytes) & 0xFFFFFFFFU));
        return failed("other bytes than they should be");
    }
    VellixReader reader;
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry;
    if (!reader.load(path.wstring().c_str()) || reader.getSessionID() != "1700000000" || !reader.isComplete() ||
        !reader.getFirstDoc(image) || image.getAttributeStr(1) != "42" || !image.getFirstChildDoc(files)) {
        return failed("the documents are not found");
    }
    for (unsigned int number = 0; number < kEntries; ++number) {
        if (!files.getNextEntry(entry) || !isEntry(number, entry)) return failed("an entry came back changed");
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
