// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_FUZZ_FUZZ_H
#define VELLIX_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Guarded.h"
#include "tests/TestSupport.h"
#include "vellix/VellixEntry.h"

// What the fuzz targets share. Each of them is this one function: it is called with any bytes, and ends the program if what
// the library does with them is wrong.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the program with a word on what has failed.
inline void require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "failed: %s\n", property);
    std::abort();
}

/// A text as those see it that take a terminated one.
inline std::string upToNul(const std::string& text) { return text.substr(0, text.find('\0')); }

/// A text as an attribute with a limit takes it.
inline std::string cutFor(const VellixMapTag& attribute, const std::string& text) {
    return text.substr(0, attribute.maxLen < 0 ? std::string::npos : static_cast<std::size_t>(attribute.maxLen));
}

/// Takes decisions from the front of the bytes. When they have run out everything is 0.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : next(data), left(size) {}

    bool isEmpty() const { return left == 0; }

    unsigned int byte() {
        if (left == 0) return 0;
        --left;
        return *next++;
    }

    unsigned int word() {
        const unsigned int high = byte();
        return high << 8 | byte();
    }

    unsigned int below(unsigned int bound) { return byte() % bound; }

    /// Any type, and one number behind them.
    VELLIX_DOC_TYPE type() { return static_cast<VELLIX_DOC_TYPE>(below(VELLIX_DOC_ENTRY_CONSTR_AND + 2)); }

    /// Up to `most` bytes.
    std::string text(std::size_t most) {
        const std::size_t length = most < left ? most : left;
        const std::string taken(next, next + length);
        next += length;
        left -= length;
        return taken;
    }

    std::string rest() { return text(left); }

private:
    const std::uint8_t* next;
    std::size_t left;
};

/// The text of an entry, once all ways to it have given the same.
inline std::string textOf(const VellixEntry& entry) {
    const bool hasText = entry.getType() >= VELLIX_DOC_RESULTS && entry.getType() <= VELLIX_DOC_ENTRY_CONSTR_AND;
    const std::string text = entry.toString();
    require(text.empty() != hasText && entry.size() == text.size(), "the size of an entry is that of its text");
    std::string appended = "in front";
    require(entry.serialize(appended) == hasText && appended == "in front" + text, "an entry's text is appended");

    for (std::size_t room = text.size(), tries = 0; tries < 3; room /= 2, ++tries) {
        Guarded buffer(room + 1);
        const bool whole = entry.serialize(buffer.data(), static_cast<unsigned long>(room));
        require(whole == (hasText && room == text.size()), "an entry's text fits where there is room for it");
        require(!hasText || text.compare(0, std::strlen(buffer.data()), buffer.data()) == 0,
                "what fits of a text is its beginning");
        require(!whole || buffer.data() == text, "an entry's text in a buffer is the same");
    }
    return text;
}

#endif
