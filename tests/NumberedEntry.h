// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_NUMBERED_ENTRY_H
#define VELLIX_TESTS_NUMBERED_ENTRY_H

#include "vellix/VellixEntry.h"
#include <cstddef>
#include <cstdlib>
#include <string>

// What the tests share that go on for as long as they are told to.

/// How many rounds to go: what the environment says, otherwise as many as are usual.
inline std::size_t rounds(const char* variable, std::size_t usual) {
    const char* const value = std::getenv(variable);
    return value != nullptr ? std::strtoul(value, nullptr, 10) : usual;
}

/// The number of an entry between two marks. No byte more or less makes it that of a neighbor.
inline std::string numberText(unsigned int number) { return '#' + std::to_string(100003 + number * 7919) + '#'; }

/// An entry that has its number in every value, so that it shows if two are mixed. One of them has `length` bytes or some
/// more.
inline VellixEntry numberedEntry(unsigned int number, std::size_t length) {
    const std::string text = numberText(number);
    std::string name = text;
    while (name.size() < length) name += text;
    VellixEntry entry(VELLIX_DOC_FH);
    entry.addAttribute(6, name);
    for (unsigned short id = 37; id < 42; ++id) entry.addAttribute(id, text);
    return entry;
}

#endif
