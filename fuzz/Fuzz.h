// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_FUZZ_FUZZ_H
#define VELLIX_FUZZ_FUZZ_H

#include <algorithm>
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

/// Goes on with a text: a byte 1 stands for a run of up to 65535 bytes, a byte 2 for a run that ends a given way in
/// front of the next page of a file. The length or that way, and the byte itself, follow.
inline std::string blownUp(std::string text, Input& input, std::size_t most) {
    constexpr std::size_t kPage = 65536;
    while (!input.isEmpty() && text.size() < most) {
        const unsigned int byte = input.byte();
        if (byte != 1 && byte != 2) {
            text += static_cast<char>(byte);
            continue;
        }
        const std::size_t number = input.byte();
        const std::size_t toBoundary = kPage - text.size() % kPage;
        const std::size_t run = byte == 1 ? 257 * number : toBoundary - std::min(toBoundary, number);
        text.append(run, static_cast<char>(input.byte()));
    }
    return text;
}

/// The text of an entry, once all ways to it have given the same.
inline std::string entryText(const VellixEntry& entry) {
    const bool hasText = entry.getType() >= VELLIX_DOC_RESULTS && entry.getType() <= VELLIX_DOC_ENTRY_CONSTR_AND;
    const std::string text = entry.toString();
    require(text.empty() != hasText && entry.size() == text.size(), "the size of an entry is that of its text");
    std::string appended = "in front";
    require(entry.serialize(appended) == hasText && appended == "in front" + text, "an entry's text is appended");

    Guarded buffer(text.size() + 1);
    require(entry.serialize(buffer.data(), static_cast<unsigned long>(text.size())) == hasText &&
                (!hasText || buffer.data() == text),
            "an entry's text in a buffer is the same");
    return text;
}

#endif
