// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_TEST_SUPPORT_H
#define VELLIX_TESTS_TEST_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vellix/VellixEntry.h"

// What several test files share: owners for memory that the interface hands out, an entry whose protected side shows,
// and texts from a fixed seed.

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
using MallocText = std::unique_ptr<char, Free>;

/// The text in a MallocText, or "(null)".
inline std::string shown(const MallocText& text) { return text ? text.get() : "(null)"; }

/// A block of the heap that holds exactly the bytes of a text and nothing behind them, so that the sanitizer sees every
/// byte read too far.
class ExactBytes {
public:
    explicit ExactBytes(const std::string& text) : bytes(new char[text.size()]), length(text.size()) {
        if (length != 0) std::memcpy(bytes.get(), text.data(), length);
    }
    const char* data() const { return bytes.get(); }
    unsigned long size() const { return static_cast<unsigned long>(length); }

private:
    std::unique_ptr<char[]> bytes;
    std::size_t length;
};

/// A cursor at the start of a text that has `data` and `size`.
template <class Bytes> XmlStr cursorOver(const Bytes& bytes) {
    XmlStr cursor;
    cursor.buffer = bytes.data();
    cursor.length = bytes.size();
    return cursor;
}

/// The pieces of `text` between the separators.
inline std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> pieces(1);
    for (std::size_t at = 0; at < text.size();) {
        if (text.compare(at, separator.size(), separator) == 0) {
            pieces.emplace_back();
            at += separator.size();
        } else {
            pieces.back() += text[at++];
        }
    }
    return pieces;
}

/// A table of two columns: "a => b | c => d".
inline std::vector<std::pair<std::string, std::string>> rowsOf(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> rows;
    for (const std::string& row : split(text, " | ")) {
        const std::size_t arrow = row.find(" => ");
        rows.emplace_back(row.substr(0, arrow), row.substr(arrow + 4));
    }
    return rows;
}

/// True if the words differ in nothing but the case of ASCII letters.
inline bool sameInAnyCase(std::string_view left, std::string_view right) {
    const auto same = [](char a, char b) {
        return a == b || ((a ^ b) == 0x20 && (a | 0x20) >= 'a' && (a | 0x20) <= 'z');
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), same);
}

/// An entry that shows what derived classes see.
struct OpenEntry : VellixEntry {
    using VellixEntry::addAttribute_s;
    using VellixEntry::getDefaultDataType;
    using VellixEntry::getEncoding;
    using VellixEntry::isLeaf;
    using VellixEntry::VellixEntry;
};

/// All values that can be seen of an entry, as "slot=value" with "; " between them.
inline std::string slotsOf(const VellixEntry& entry) {
    std::string all;
    for (unsigned short slot = 0; slot < 78; ++slot) {
        if (entry.getAttribute(slot) == nullptr) continue;
        all += (all.empty() ? "" : "; ") + std::to_string(slot) + "=" + entry.getAttributeStr(slot);
    }
    return all;
}

/// The limits of each width and each number of decimal digits, with their neighbours, as far as `Number` can hold them.
template <class Number> std::vector<Number> numberProbes() {
    std::vector<std::uint64_t> limits;
    for (const int bits : {0, 7, 8, 15, 16, 31, 32, 63}) limits.push_back(std::uint64_t{1} << bits);
    std::uint64_t power = 1;
    for (int digits = 1; digits < 20; ++digits) limits.push_back(power *= 10);
    std::vector<Number> values;
    for (const std::uint64_t limit : limits) {
        for (const std::uint64_t magnitude : {limit - 1, limit, limit + 1}) {
            for (const std::uint64_t pattern : {magnitude, std::uint64_t{0} - magnitude}) {
                const auto value = static_cast<Number>(pattern);
                if (static_cast<std::uint64_t>(value) == pattern) values.push_back(value);
            }
        }
    }
    return values;
}

/// Texts of random pieces, the same in every run. The pieces are what the walks over a text decide by: markup, quotes,
/// references whole and cut, lead bytes with and without their tails, control bytes and words of the vocabulary.
class RandomText {
public:
    explicit RandomText(unsigned int seed) : engine(seed) {}

    /// A text of up to `pieces` pieces. It holds NUL bytes only if `withNul`.
    std::string next(std::size_t pieces, bool withNul = false) {
        static const std::vector<std::string> kPieces = split(
            "<|>|/|=|\"|'|&|;|?|</|/>|<?| |\n|\t\r|&amp;|&LT;|&#65;|&#x4|&#|&quo|ET|NM|OP|=\"|\" |<ET | NM=\"a\"|RI|"
            "CatFH|5|-1|\x7f|\x01\x1f|\x80|\xbf\xbf|\xc1|\xff\xfe|\xc3|\xe2|\xf0|\xf4<|\xe2\"|\xc3\xa9|\xe2\x82\xac|"
            "\xf0\x9f\x98\x80|\xe2\x82| ET=\"1\"| PT='x'| OP=\"a&lt;b\"|abcdefghijklmnopq",
            "|");
        std::string text;
        for (std::size_t left = below(pieces + 1); left != 0; --left) {
            const std::size_t choice = below(kPieces.size() + 3);
            if (choice < kPieces.size()) {
                text += kPieces[choice];
            } else if (choice > kPieces.size() || withNul) {
                text += static_cast<char>(withNul ? below(2) * below(256) : 1 + below(255));
            }
        }
        return text;
    }

    std::size_t below(std::size_t bound) { return engine() % bound; }

private:
    std::mt19937 engine;
};

#endif
