// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TEXT_H
#define VELLIX_TEXT_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "vellix/VellixUtils.h"
#include "vellix/platform/Bytes.h"

// The walks over plain and escaped text that escaping, scanner and entries share. Internal, not installed.
//
// All of them work on a known length and trust nothing that an earlier walk counted: a mapped page may change under the
// reader at any time.
//
// Escaping makes a text up to six times as long, so escaped lengths have 64 bits where an address has 32.

// A length as the interface tells it: the largest number stands for all that are out of its reach.
static inline unsigned long toldLength(std::uint64_t length) {
    return length < ULONG_MAX ? static_cast<unsigned long>(length) : ULONG_MAX;
}

static inline unsigned char byteAt(const char* text) { return static_cast<unsigned char>(*text); }

static inline bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

// Copies bytes without the cost of a call where they are few, and returns the end of the copy.
static inline char* copyBytes(char* out, const char* bytes, std::size_t length) {
    if (length > 32) {
        std::memcpy(out, bytes, length);
    } else if (length >= 16) { // in two halves that overlap
        std::memcpy(out, bytes, 16);
        std::memcpy(out + length - 16, bytes + length - 16, 16);
    } else if (length >= 8) {
        std::memcpy(out, bytes, 8);
        std::memcpy(out + length - 8, bytes + length - 8, 8);
    } else if (length >= 4) {
        std::memcpy(out, bytes, 4);
        std::memcpy(out + length - 4, bytes + length - 4, 4);
    } else {
        for (std::size_t i = 0; i < length; ++i) out[i] = bytes[i];
    }
    return out + length;
}

static inline bool beginsUnit(char c) { return static_cast<unsigned char>(c) >= 0x80; }

// Returns the length of a text that ends at a NUL or after `most` bytes. Nothing behind the NUL is read.
static inline std::size_t lengthWithin(const char* text, std::size_t most) {
    const void* nul = most != 0 ? std::memchr(text, '\0', most) : nullptr;
    return nul != nullptr ? static_cast<std::size_t>(static_cast<const char*>(nul) - text) : most;
}

// As bitsOfSpecial for a text of `count` to twice as many bytes.
template <std::size_t count> static inline unsigned int bitsOfShortText(const char* text, std::size_t length) {
    const std::size_t second = length - count;
    return platform::bitsOfSpecial<count>(text) | platform::bitsOfSpecial<count>(text + second) << second;
}

// Returns the first place from `at` on whose byte is NUL, escaped or no ASCII, or `length`. All `length` bytes must be
// there to be read, also behind a NUL.
static inline std::size_t plainEnd(const char* text, std::size_t at, std::size_t length) {
    using platform::kBlock;
    unsigned int stops = 0;
    for (; length - at >= kBlock; at += kBlock) {
        stops = platform::bitsOfSpecial<kBlock>(text + at);
        if (stops != 0) return at + platform::lowestBit(stops);
    }
    if (length >= kBlock) { // the rest, with bytes before it that are known
        const std::size_t last = length - kBlock;
        stops = platform::bitsOfSpecial<kBlock>(text + last) >> (at - last);
    } else if (length >= kBlock / 2) {
        stops = bitsOfShortText<kBlock / 2>(text, length) >> at;
    } else if (length >= kBlock / 4) {
        stops = bitsOfShortText<kBlock / 4>(text, length) >> at;
    } else {
        while (at < length && !platform::isSpecial(text[at])) ++at;
        return at;
    }
    return stops != 0 ? at + platform::lowestBit(stops) : length;
}

// Returns the bytes of the unit at `text`, which is not at its end: what the step table says, cut short by `left` or by a
// NUL. 0 at a NUL.
static inline std::size_t unitLength(const char* text, std::size_t left) {
    const auto step = static_cast<std::size_t>(xmlStepTable[byteAt(text)]);
    std::size_t unit = step < left ? step : left;
    for (std::size_t i = 1; i < unit; ++i) {
        if (text[i] == '\0') unit = i;
    }
    return unit;
}

// Returns the row of xmlEntityTable for an escaped character, or null. Three bits of a product tell the five apart.
static inline const VellixEntity* entityOf(char c) {
    constexpr unsigned char kRows[8] = {5, 2, 5, 4, 5, 0, 3, 1};
    const VellixEntity* const entity = xmlEntityTable + kRows[byteAt(&c) * 5 / 2 % 8];
    return entity->character == c && entity->text != nullptr ? entity : nullptr;
}

// Writes a byte as a decimal reference, such as "&#233;", and returns its length. Only measures with a null `out`.
static inline std::size_t putReference(unsigned char byte, char* out) {
    const std::size_t digits = byte >= 100 ? 3 : byte >= 10 ? 2 : 1;
    if (out != nullptr) {
        *out++ = '&';
        *out++ = '#';
        unsigned int rest = byte;
        for (std::size_t i = digits; i > 0; --i, rest /= 10) out[i - 1] = static_cast<char>('0' + rest % 10);
        out[digits] = ';';
    }
    return digits + 3;
}

// Writes the escaped form of the unit at `text` and returns its length; `unit` becomes the number of bytes that it covers.
// A NUL counts as any byte here. Only measures with a null `out`.
static inline std::size_t putUnit(const char* text, std::size_t left, char* out, std::size_t& unit) {
    unit = 1;
    if (beginsUnit(*text)) {
        unit = static_cast<std::size_t>(xmlStepTable[byteAt(text)]);
        if (unit <= left) {
            if (out != nullptr) copyBytes(out, text, unit);
            return unit;
        }
        unit = left; // cut short: as it stands it would swallow the quote behind it when it is read
        std::size_t length = 0;
        for (std::size_t i = 0; i < left; ++i)
            length += putReference(byteAt(text + i), out != nullptr ? out + length : nullptr);
        return length;
    }
    const VellixEntity* entity = entityOf(*text);
    if (entity == nullptr) {
        if (out != nullptr) *out = *text;
        return 1;
    }
    const auto length = static_cast<std::size_t>(entity->length);
    if (out != nullptr) copyBytes(out, entity->text, length);
    return length;
}

// Returns the length of the escaped form of `length` bytes.
static inline std::uint64_t escapedLength(const char* text, std::size_t length) {
    std::uint64_t sum = length;
    for (std::size_t at = plainEnd(text, 0, length); at < length; at = plainEnd(text, at, length)) {
        do { // they often come in a row
            std::size_t unit = 0;
            sum += putUnit(text + at, length - at, nullptr, unit) - unit;
            at += unit;
        } while (at < length && platform::isSpecial(text[at]));
    }
    return sum;
}

// Copies a text of `size` bytes and more, block by block. The last block overlaps the one before it. True if nothing in the
// copy would be escaped, is NUL or no ASCII.
template <std::size_t size> static inline bool copyBlocks(char* out, const char* text, std::size_t length) {
    const std::size_t last = length - size;
    unsigned int stops = platform::copyAndFindSpecial<size>(text + last, out + last);
    for (std::size_t at = 0; at < last; at += size) stops |= platform::copyAndFindSpecial<size>(text + at, out + at);
    return stops == 0;
}

// Copies a text and returns the length of its escaped form, as the copy stands.
static inline std::uint64_t copyAndMeasure(char* out, const char* text, std::size_t length) {
    using platform::kBlock;
    bool plain = true;
    if (length >= kBlock) {
        plain = copyBlocks<kBlock>(out, text, length);
    } else if (length >= kBlock / 2) {
        plain = copyBlocks<kBlock / 2>(out, text, length);
    } else if (length >= kBlock / 4) {
        plain = copyBlocks<kBlock / 4>(out, text, length);
    } else {
        for (std::size_t at = 0; at < length; ++at) {
            out[at] = text[at];
            plain = plain && !platform::isSpecial(out[at]);
        }
    }
    return plain ? length : escapedLength(out, length);
}

// Writes the escaped form of `length` bytes, for which there is room, and returns its end.
static inline char* putEscaped(const char* text, std::size_t length, char* out) {
    for (std::size_t at = 0; at < length;) {
        const std::size_t end = plainEnd(text, at, length);
        out = copyBytes(out, text + at, end - at);
        at = end;
        while (at < length && platform::isSpecial(text[at])) {
            std::size_t unit = 0;
            out += putUnit(text + at, length - at, out, unit);
            at += unit;
        }
    }
    return out;
}

// Returns the value of a digit in base 10 or 16, or -1.
static inline int digitValue(char c, bool hexadecimal) {
    if (c >= '0' && c <= '9') return c - '0';
    if (hexadecimal && c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (hexadecimal && c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// Reads the numeric reference at `text`, which begins with "&#", and returns its length, or 0 if it is bad. `value`
// becomes the low byte of the number.
static inline std::size_t readNumericReference(const char* text, std::size_t left, char& value) {
    std::size_t at = 2;
    const bool hexadecimal = at < left && (text[at] == 'x' || text[at] == 'X');
    if (hexadecimal) ++at;
    unsigned int number = 0;
    for (; at < left && text[at] != ';'; ++at) {
        const int digit = digitValue(text[at], hexadecimal);
        if (digit < 0) return 0;
        number = number * (hexadecimal ? 16U : 10U) + static_cast<unsigned int>(digit);
    }
    if (at == left) return 0;
    value = static_cast<char>(number & 0xFFU);
    return at + 1;
}

static inline char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

static inline bool startsWithReference(const char* text, std::size_t left, const VellixEntity& entity) {
    const auto length = static_cast<std::size_t>(entity.length);
    if (left < length) return false;
    for (std::size_t i = 0; i < length; ++i) {
        if (lowerCase(text[i]) != entity.text[i]) return false;
    }
    return true;
}

// Reads the reference at `text`, which begins with "&", and returns its length, or 0 if it is bad. `value` becomes the
// byte that it stands for.
static inline std::size_t readReference(const char* text, std::size_t left, char& value) {
    if (left >= 3 && text[1] == '#') return readNumericReference(text, left, value);
    for (const VellixEntity* entity = xmlEntityTable; entity->text != nullptr; ++entity) {
        if (startsWithReference(text, left, *entity)) {
            value = entity->character;
            return static_cast<std::size_t>(entity->length);
        }
    }
    return 0;
}

constexpr std::size_t kBadReference = static_cast<std::size_t>(-1);

// Writes the plain form of `text`, up to `length` bytes or a NUL, but no more than `room` bytes, and returns its length,
// or kBadReference. Only measures with a null `out`.
static inline std::size_t putDecoded(const char* text, std::size_t length, char* out, std::size_t room) {
    std::size_t written = 0;
    for (std::size_t at = 0; at < length && text[at] != '\0' && written < room;) {
        char value = 0;
        std::size_t unit = plainEnd(text, at, length) - at;
        std::size_t bytes = unit;
        const char* from = text + at;
        if (unit == 0 && *from == '&') {
            unit = readReference(from, length - at, value);
            if (unit == 0) return kBadReference;
            from = &value;
            bytes = 1;
        } else if (unit == 0) {
            unit = unitLength(from, length - at);
            if (unit == 0) break; // a NUL that was not there a moment ago
            bytes = unit;
        }
        if (bytes > room - written) bytes = room - written;
        if (out != nullptr) copyBytes(out + written, from, bytes);
        written += bytes;
        at += unit;
    }
    return written;
}

#endif
