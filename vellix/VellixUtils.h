// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_UTILS_H
#define VELLIX_UTILS_H

#include <string>

#include "vellix/VellixTypes.h"

// Text without any knowledge of the schema: the passage between plain and escaped text, and the scanner that cuts a run
// of document text into tokens.
//
// Text is bytes that hold UTF-8, and it is never validated. A walk treats a byte in 0xC2 to 0xF4 and the one to three
// bytes that belong to it as one unit, so that what stands behind a lead byte is never taken for markup. A unit that the
// end of the text cuts short is the bytes that are there.
//
// The free operations keep no state and may be called from any thread. An XmlStr belongs to one thread at a time.

/// For each byte value, how many bytes the unit that begins with it occupies: 0 for the terminator, 2 to 4 for the lead
/// bytes of UTF-8, 1 for all others, continuation bytes on their own among them.
extern VELLIX_API const signed char xmlStepTable[256];

/// A character that stands in escaped text as a reference. Also the row type of `xmlEntityTable`.
struct VellixEntity {
    char character;
    const char* text; ///< the reference, such as "&lt;"; null in the end row
    int length;       ///< bytes of `text`
};

/// The five escaped characters, in the order in which they are tried, and an end row.
extern VELLIX_API const VellixEntity xmlEntityTable[6];

/// Returns the number of bytes of the escaped form of `text`, its terminator not counted; ULONG_MAX if that is more than an
/// `unsigned long` holds. A null `text` counts 0.
/// Five characters become references: double quote, ampersand, apostrophe, less-than and greater-than sign. So does each
/// byte of a multi-byte unit that the terminator cuts short ("&#233;"), since it would swallow the quote behind it.
///     xmlLen("<a>")                      // 9
VELLIX_API unsigned long xmlLen(const char* text);

/// Writes the escaped form of `text` and a terminator, and returns the buffer that holds them.
/// With a null `destination` the buffer comes from `malloc`, is as large as what is written, and the caller releases it
/// with `free`; null then means that memory ran out. With a `destination` given that is the result, and it must have room
/// for xmlLen(text) + 1 bytes.
/// `size` is the escaped length if the caller knows it, or negative. With a smaller one the text comes out shorter: with a
/// null `destination` after `size` + 1 units of `text`, otherwise before the unit whose escaped form would end past `size`
/// bytes of it. It is terminated all the same, behind those bytes.
/// A null `text` gives null.
///     xmlEncode("a<b", nullptr, -1)      // "a&lt;b"
///     xmlEncode("abcdef", buffer, 3)     // "abc"
VELLIX_API char* xmlEncode(const char* text, char* destination, int size);

/// Appends the escaped form of `text` to `out`. `size` is the escaped length, or negative to have it measured. Appends
/// nothing if `text` is null or memory for the escaped form ran out.
VELLIX_API void xmlEncode(std::string& out, const char* text, int size);

/// Returns the plain form of `text`, terminated, or null. Reads at most `length` bytes and ends earlier at a NUL. The
/// result comes from `malloc`; the caller releases it with `free`.
/// The names of the five references count in any case of letters. A numeric reference gives the one byte that the low 8
/// bits of its number name, and is not turned into UTF-8. One without digits ("&#;") has the number 0; a byte 0 in the
/// result ends it for whoever reads up to a NUL.
/// Null means: `text` is null, an ampersand starts no known reference, a numeric reference has no ";" or a digit that is
/// none, or memory ran out.
///     xmlDecode("a&amp;b", 7)            // "a&b"
///     xmlDecode("a&b", 3)                // null
VELLIX_API char* xmlDecode(const char* text, unsigned long length);

/// The cursor over a text. The text is not owned and need not be terminated. Whoever makes one sets `buffer` and
/// `length`; the rest starts at zero.
struct VELLIX_API XmlStr {
    const char* buffer = nullptr;
    unsigned long position = 0; ///< index of the next byte to read; callers may move it
    unsigned long length = 0;   ///< bytes of the text, all of them there to be read, also behind a NUL
    bool stopAtTagEnd = false;  ///< `atEnd` also holds at a ">"; nothing else looks at it
    int syntaxError = 0;        ///< set to 1 by a parse that met a token it does not allow; nothing resets it

    /// True if `position` is at the end of the text, or at a ">" where `stopAtTagEnd` asks for that.
    bool atEnd() const;

    /// Moves `position` forward, byte by byte, to the next "<" or to where `atEnd` holds.
    void skipToTag();
};

/// What a token is.
enum VellixTokenKind : int {
    VELLIX_TOKEN_WORD = 0,       ///< a bare word, up to a delimiter
    VELLIX_TOKEN_QUOTED = 1,     ///< a quoted string, both quotes included
    VELLIX_TOKEN_OPEN = 2,       ///< "<" alone
    VELLIX_TOKEN_CLOSE_OPEN = 3, ///< "</"
    VELLIX_TOKEN_END = 4,        ///< ">"
    VELLIX_TOKEN_EQUALS = 5,     ///< "="
    VELLIX_TOKEN_PI_OPEN = 6,    ///< "<?"
    VELLIX_TOKEN_EMPTY_END = 7,  ///< "/>"
    VELLIX_TOKEN_PI_END = 8,     ///< never returned
    VELLIX_TOKEN_EOF = 9,        ///< no more text
    VELLIX_TOKEN_ERROR = 10      ///< never returned
};

/// One token. It points into the text and is valid as long as the text is.
struct VellixToken {
    const char* start; ///< the first byte; null at VELLIX_TOKEN_EOF
    VellixTokenKind kind;
    unsigned long length; ///< bytes, surrounding quotes included; 0 at VELLIX_TOKEN_EOF
};

/// Returns the byte at `position` and moves `position` by the unit that begins there. At the end of the text, and at a
/// NUL byte, which ends the text for the scanner, it returns 0 and does not move.
VELLIX_API char xmlNextChar(XmlStr* text);

/// Returns the next token and leaves `position` behind it. Every input gives tokens: a quote without its partner before
/// the next "<" or the end of the text begins a word. White space is line feed, blank, tab and carriage return.
/// Behind the end every further call gives VELLIX_TOKEN_EOF.
///     A="x"                              // WORD of 1, EQUALS, QUOTED of 3
VELLIX_API VellixToken xmlNextToken(XmlStr* text);

#endif
