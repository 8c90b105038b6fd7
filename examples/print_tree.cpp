// SPDX-License-Identifier: Apache-2.0
// Prints any catalog file as an indented tree: each tag with its attributes and their plain values.
//
//     print_tree FILE
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>

#include "vellix/VellixWalk.h"

namespace {

constexpr std::size_t kDeepest = 40; // deeper tags aren't indented further: the file chooses the depth

// The text with each byte outside printable ASCII, each backslash and each double quote as \xNN.
std::string shown(std::string_view text) {
    std::string out;
    for (const char c : text) {
        char escape[5] = {c, '\0'};
        if (c < ' ' || c > '~' || c == '\\' || c == '"')
            std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned int>(static_cast<unsigned char>(c)));
        out += escape;
    }
    return out;
}

// [tag]
void printAttributes(const VellixEntry& tag) {
    for (int id = 0; tag.getAttributeTag(id) != nullptr; ++id) {
        const char* value = tag.getAttribute(static_cast<unsigned short>(id));
        if (value != nullptr) std::printf(" %s=\"%s\"", tag.getAttributeTag(id), shown(value).c_str());
    }
}
// [tag]

// [walk]
void printTree(vellix::Walk& walk) {
    for (const vellix::Step& step : walk) {
        if (step.kind() == vellix::StepKind::documentEnd) continue;
        std::printf("%*s%s", static_cast<int>(2 * std::min(step.depth(), kDeepest)), "", shown(step.name()).c_str());
        printAttributes(step.attributes());
        if (step.kind() == vellix::StepKind::unknown) std::printf(" (unknown)");
        if (step.kind() == vellix::StepKind::unreadable)
            std::printf(" (at byte %llu: %s)", static_cast<unsigned long long>(step.offset()),
                        vellix::tagErrorText(step.error()));
        std::printf("\n");
    }
}
// [walk]

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fputs("usage: print_tree FILE\n", stderr);
        return 2;
    }
    try {
        vellix::Walk walk(arguments[1]);
        printTree(walk);
        if (walk) return 0;
        std::fprintf(stderr, "print_tree: %s\n", walk.error().message().c_str());
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "print_tree: %s\n", shown(problem.what()).c_str());
    }
    return 1;
}
