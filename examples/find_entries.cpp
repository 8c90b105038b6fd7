// SPDX-License-Identifier: Apache-2.0
// Prints the entries of a catalog whose name holds a word: a file of any length, or a stream, in constant memory.
//
//     find_entries WORD CATALOG
//     find_entries WORD - < CATALOG
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <system_error>

#include "vellix/VellixAttributes.h"
#include "vellix/VellixWalk.h"

namespace {

// [stream]
std::size_t readInput(char* out, std::size_t room, std::error_code& error) {
    const std::size_t length = std::fread(out, 1, room, stdin);
    if (length == 0 && std::ferror(stdin) != 0) error = {errno, std::generic_category()};
    return length;
}
// [stream]

// [find]
bool find(vellix::Walk walk, const std::string& word) {
    for (const VellixEntry& file : walk.entries(VELLIX_DOC_FH)) {
        const std::string& name = file.getAttributeStr(vellix::fh::NM.number);
        if (name.find(word) != std::string::npos) std::puts(name.c_str());
    }
    if (!walk) std::fprintf(stderr, "find_entries: %s\n", walk.error().message().c_str());
    return static_cast<bool>(walk);
}
// [find]

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fputs("usage: find_entries WORD CATALOG\n", stderr);
        return 2;
    }
    try {
        const bool isStream = std::strcmp(arguments[2], "-") == 0;
        return find(isStream ? vellix::Walk::overPieces(readInput) : vellix::Walk(arguments[2]), arguments[1]) ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "find_entries: %s\n", problem.what());
        return 1;
    }
}
