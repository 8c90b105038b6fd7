// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixScanner.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "vellix/VellixText.h"

namespace {

constexpr std::size_t kBlockLength = 64;
constexpr std::size_t kPlaces = 4; // where the first unit of a block can begin
constexpr unsigned int kOutcomeBits = 3;
constexpr unsigned int kOutcomeMask = (1U << kOutcomeBits) - 1;

// How many bytes may be searched in vain before notes are taken.
constexpr std::size_t kMostInVain = 65536;

constexpr char kQuotes[] = {'\'', '"'};

// The outcome of a search that left the text behind, with its last unit too perhaps.
QuoteSearch::Outcome metEndAt(std::size_t at, std::size_t length) {
    return static_cast<QuoteSearch::Outcome>(QuoteSearch::kMetEnd + (at - length));
}

unsigned int stateOf(char quote, QuoteSearch::Outcome metEnd) {
    const unsigned int missing = static_cast<unsigned int>(metEnd) - QuoteSearch::kMetEnd;
    return missing + (quote == '"' ? static_cast<unsigned int>(kPlaces) : 0);
}

// Searches up to `end`, or to the first unit behind it. The last unit of the text may lack bytes.
QuoteSearch::Outcome findWithin(const char* text, std::size_t length, std::size_t end, std::size_t& at, char quote) {
    for (;;) {
        at = plainEnd(text, at, end);
        if (at >= end) return QuoteSearch::kUnknown;
        if (text[at] == quote) return QuoteSearch::kFound;
        const std::size_t unit = text[at] != '<' ? unitLength(text + at, length - at) : 0;
        if (unit == 0) return QuoteSearch::kStopped;
        at += unit < length - at ? unit : static_cast<std::size_t>(xmlStepTable[byteAt(text + at)]);
        if (at >= end) return QuoteSearch::kUnknown;
    }
}

// Searches up to the end of the text.
QuoteSearch::Outcome findPlainly(const char* text, std::size_t length, std::size_t& at, char quote) {
    const QuoteSearch::Outcome outcome = findWithin(text, length, length, at, quote);
    return outcome == QuoteSearch::kUnknown ? metEndAt(at, length) : outcome;
}

// Searches block by block. `pass` is called with the place where each begins and gives the outcome if it knows it.
template <class Pass>
QuoteSearch::Outcome walk(const char* text, std::size_t length, std::size_t& at, char quote, Pass pass) {
    for (;;) {
        const std::size_t end = std::min(length, (at / kBlockLength + 1) * kBlockLength);
        QuoteSearch::Outcome outcome = findWithin(text, length, end, at, quote);
        if (outcome != QuoteSearch::kUnknown) return outcome;
        if (at >= length) return metEndAt(at, length);
        outcome = pass(at);
        if (outcome != QuoteSearch::kUnknown) return outcome;
    }
}

// The place of an outcome in the note of its block.
unsigned int shiftOf(std::size_t at, char quote) {
    const std::size_t number = at % kBlockLength + (quote == '"' ? kPlaces : 0);
    return static_cast<unsigned int>(number) * kOutcomeBits;
}

// Makes the token of the bytes from `first` to `end` and moves the position to `next`.
VellixToken makeToken(XmlStr& text, VellixTokenKind kind, std::size_t first, std::size_t end, std::size_t next) {
    text.position = static_cast<unsigned long>(next);
    return {text.buffer + first, kind, static_cast<unsigned long>(end - first)};
}

// Scans a word that begins at `first` and of which the bytes before `at` are known.
VellixToken scanWord(XmlStr& text, std::size_t first, std::size_t at, bool& metEnd) {
    const char* const buffer = text.buffer;
    const std::size_t length = text.length;
    while (at < length && buffer[at] != '\0') {
        const char c = buffer[at];
        if (isBlank(c)) return makeToken(text, VELLIX_TOKEN_WORD, first, at, at + 1);
        if (c == '<' || c == '>' || c == '=') break;
        if (c == '/' && length - at > 1 && buffer[at + 1] == '>') break;
        at += unitLength(buffer + at, length - at);
    }
    metEnd = metEnd || at == length;
    return makeToken(text, VELLIX_TOKEN_WORD, first, at, at);
}

// Scans a quoted string whose opening quote stands at `first`. Without an end it is a word.
VellixToken scanQuoted(XmlStr& text, std::size_t first, QuoteSearch* search, bool& metEnd) {
    std::size_t at = first + 1;
    const char quote = text.buffer[first];
    const QuoteSearch::Outcome outcome = search != nullptr ? search->find(text.buffer, text.length, at, quote)
                                                           : findPlainly(text.buffer, text.length, at, quote);
    if (outcome == QuoteSearch::kFound) return makeToken(text, VELLIX_TOKEN_QUOTED, first, at + 1, at + 1);
    metEnd = outcome >= QuoteSearch::kMetEnd;
    return scanWord(text, first, first + 1, metEnd);
}

VellixToken scanMark(XmlStr& text, VellixTokenKind kind, std::size_t first, std::size_t length) {
    return makeToken(text, kind, first, first + length, first + length);
}

VellixToken scanOpen(XmlStr& text, std::size_t first, bool& metEnd) {
    metEnd = text.length - first == 1;
    const char next = metEnd ? '\0' : text.buffer[first + 1];
    if (next == '/') return scanMark(text, VELLIX_TOKEN_CLOSE_OPEN, first, 2);
    if (next == '?') return scanMark(text, VELLIX_TOKEN_PI_OPEN, first, 2);
    return scanMark(text, VELLIX_TOKEN_OPEN, first, 1);
}

} // namespace

// --- The cursor ---

bool XmlStr::atEnd() const {
    if (position >= length) return true;
    return stopAtTagEnd && buffer[position] == '>';
}

void XmlStr::skipToTag() {
    if (stopAtTagEnd) {
        while (!atEnd() && buffer[position] != '<') ++position;
    } else if (!atEnd()) {
        const auto* tag = static_cast<const char*>(std::memchr(buffer + position, '<', length - position));
        position = tag != nullptr ? static_cast<unsigned long>(tag - buffer) : length;
    }
}

char xmlNextChar(XmlStr* text) {
    if (text == nullptr || text->position >= text->length) return '\0';
    const char* const at = text->buffer + text->position;
    const char c = *at;
    text->position += static_cast<unsigned long>(unitLength(at, text->length - text->position));
    return c;
}

// --- Searching ---

QuoteSearch::Outcome QuoteSearch::find(const char* text, std::size_t length, std::size_t& at, char quote) {
    const Outcome outcome = findAnywhere(text, length, at, quote);
    if (outcome < kMetEnd) return outcome;
    const unsigned int state = stateOf(quote, outcome);
    if ((vainStates >> state & 1U) != 0) return kStopped;
    if (firstOpen == kStates) firstOpen = state;
    return outcome;
}

QuoteSearch::Outcome QuoteSearch::goOn(const char* text, std::size_t length, unsigned int& state, std::size_t& behind) {
    const char quote = kQuotes[state / kPlaces];
    const std::size_t missing = state % kPlaces;
    if (lengthWithin(text, std::min(missing, length)) < std::min(missing, length)) return kStopped; // it ends at a NUL
    std::size_t at = missing;
    const Outcome outcome = at < length ? findPlainly(text, length, at, quote) : metEndAt(at, length);
    if (outcome >= kMetEnd) state = stateOf(quote, outcome);
    behind = at + 1;
    return outcome;
}

QuoteSearch::Outcome QuoteSearch::findAnywhere(const char* text, std::size_t length, std::size_t& at, char quote) {
    if (takesNotes() && (text != notedText || length != notedLength))
        startOver(vainStates); // a cursor can be set to anything
    if (takesNotes()) return findWithNotes(text, length, at, quote);
    const std::size_t first = at;
    const Outcome outcome = findPlainly(text, length, at, quote);
    if (outcome == kFound) return kFound;
    inVain += at - first;
    if (inVain > kMostInVain) takeNotes(text, length);
    return outcome;
}

// Goes on without if memory for them can't be had.
void QuoteSearch::takeNotes(const char* text, std::size_t length) {
    notes.reset(new (std::nothrow) std::uint32_t[length / kBlockLength + 1]());
    notedText = text;
    notedLength = length;
}

QuoteSearch::Outcome QuoteSearch::findWithNotes(const char* text, std::size_t length, std::size_t& at, char quote) {
    const auto noteAt = [this, quote](std::size_t place) {
        return static_cast<Outcome>(notes[place / kBlockLength] >> shiftOf(place, quote) & kOutcomeMask);
    };
    const std::size_t first = at;
    const Outcome outcome = walk(text, length, at, quote, noteAt);
    if (outcome == kFound) return kFound;
    std::size_t again = first;
    walk(text, length, again, quote, [&](std::size_t place) {
        const Outcome noted = noteAt(place);
        if (noted == kUnknown) {
            auto& note = notes[place / kBlockLength];
            note |= static_cast<std::uint32_t>(outcome) << shiftOf(place, quote);
        }
        return noted;
    });
    return outcome;
}

// --- Tokens ---

VellixToken scanToken(XmlStr& text, QuoteSearch* search, bool& metEnd) {
    metEnd = false;
    while (text.position < text.length && isBlank(text.buffer[text.position])) ++text.position;
    const unsigned long first = text.position;
    const char c = xmlNextChar(&text);
    switch (c) {
    case '\0':
        metEnd = text.position >= text.length;
        return {nullptr, VELLIX_TOKEN_EOF, 0};
    case '"':
    case '\'':
        return scanQuoted(text, first, search, metEnd);
    case '<':
        return scanOpen(text, first, metEnd);
    case '=':
        return scanMark(text, VELLIX_TOKEN_EQUALS, first, 1);
    case '>':
        return scanMark(text, VELLIX_TOKEN_END, first, 1);
    case '/':
        if (text.position < text.length && text.buffer[text.position] == '>')
            return scanMark(text, VELLIX_TOKEN_EMPTY_END, first, 2);
        break;
    default:
        break;
    }
    return scanWord(text, first, text.position, metEnd);
}

VellixToken xmlNextToken(XmlStr* text) {
    bool metEnd = false;
    if (text == nullptr) return {nullptr, VELLIX_TOKEN_EOF, 0};
    return scanToken(*text, nullptr, metEnd);
}
