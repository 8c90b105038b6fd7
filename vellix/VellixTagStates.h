// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TAG_STATES_H
#define VELLIX_TAG_STATES_H

#include "vellix/VellixScanner.h"
#include "vellix/VellixTypes.h"

// What the tokens of one tag mean, for who reads whole tags and who looks for one attribute. Internal, not installed.

enum TagState : int { kExpectName, kExpectEquals, kExpectValue };
enum TagAction { kSyntax, kRemember, kToValue, kStore, kFinish, kFinishClosed };

// What a token means in each state. VELLIX_TOKEN_EOF and above don't get here.
constexpr TagAction kTagActions[][3] = {
    // ExpectName    ExpectEquals   ExpectValue
    {kRemember, kRemember, kStore},          // VELLIX_TOKEN_WORD
    {kSyntax, kSyntax, kStore},              // VELLIX_TOKEN_QUOTED
    {kSyntax, kSyntax, kSyntax},             // VELLIX_TOKEN_OPEN
    {kSyntax, kSyntax, kSyntax},             // VELLIX_TOKEN_CLOSE_OPEN
    {kFinish, kSyntax, kSyntax},             // VELLIX_TOKEN_END
    {kSyntax, kToValue, kSyntax},            // VELLIX_TOKEN_EQUALS
    {kSyntax, kSyntax, kSyntax},             // VELLIX_TOKEN_PI_OPEN
    {kFinishClosed, kFinishClosed, kSyntax}, // VELLIX_TOKEN_EMPTY_END
};

// A cursor over a text that was given with any length: it ends at a NUL, and it may end behind its first tag.
XmlStr cursorOverTag(const char* buffer, std::size_t length);

// Passes over what nearly every tag begins and ends with. The tokens would give the same.
static inline bool passOpen(XmlStr& text) {
    if (text.length - text.position < 2 || text.position >= text.length) return false;
    const char* const at = text.buffer + text.position;
    if (at[0] != '<' || at[1] == '/' || at[1] == '?') return false;
    ++text.position;
    return true;
}

static inline bool passEmptyEnd(XmlStr& text) {
    if (text.length - text.position < 2 || text.position >= text.length) return false;
    const char* const at = text.buffer + text.position;
    if (at[0] != '/' || at[1] != '>') return false;
    text.position += 2;
    return true;
}

// Passes over the "<" of a tag. VELLIX_SUCCESS, or why there is none.
static inline int openTag(XmlStr& text, QuoteSearch* search, bool& metEnd) {
    if (passOpen(text)) return VELLIX_SUCCESS;
    const VellixToken token = scanToken(text, search, metEnd);
    if (token.kind == VELLIX_TOKEN_OPEN) return VELLIX_SUCCESS;
    return token.kind == VELLIX_TOKEN_EOF ? VELLIX_ERR_END_OF_BUFFER : VELLIX_ERR_SYNTAX;
}

// Walks over one tag, token by token, and returns a VELLIX_ERROR value. `search` is the text's own, null if this is the only
// tag of it to be read. `metEnd` tells whether the end of the text had a part in the result, so that the tag might read
// otherwise if the text went on. The reader has these:
//     bool start(XmlStr&, TagState&, VellixToken& name)   behind the "<"
//     bool readAhead(XmlStr&, TagState&)                  before each token but a value's: may read attributes its own way
//     bool takeName(const VellixToken& word)              a word where an attribute may begin
//     bool takeValue(const VellixToken& name, const VellixToken& value)
//     void close()                                        at "/>"
// False from any of them ends the walk with VELLIX_ERR_NO_MEMORY.
template <class Reader> int walkTag(XmlStr& text, QuoteSearch* search, bool& metEnd, Reader& reader) {
    metEnd = false;
    const int opened = openTag(text, search, metEnd);
    if (opened != VELLIX_SUCCESS) return opened;
    VellixToken name = {nullptr, VELLIX_TOKEN_EOF, 0};
    TagState state = kExpectName;
    if (!reader.start(text, state, name)) return VELLIX_ERR_NO_MEMORY;
    for (;;) {
        if (state != kExpectValue && !reader.readAhead(text, state)) return VELLIX_ERR_NO_MEMORY;
        if (state != kExpectValue && passEmptyEnd(text)) {
            reader.close();
            return VELLIX_SUCCESS;
        }
        bool tokenMetEnd = false;
        VellixToken token = scanToken(text, search, tokenMetEnd);
        metEnd = metEnd || tokenMetEnd;
        if (token.kind == VELLIX_TOKEN_EOF) {
            metEnd = tokenMetEnd;
            return VELLIX_ERR_END_OF_BUFFER;
        }
        switch (kTagActions[token.kind][state]) {
        case kRemember:
            name = token;
            if (state == kExpectName && !reader.takeName(name)) return VELLIX_ERR_NO_MEMORY;
            state = kExpectEquals;
            break;
        case kToValue:
            state = kExpectValue;
            break;
        case kStore:
            if (token.kind == VELLIX_TOKEN_QUOTED) token = {token.start + 1, VELLIX_TOKEN_WORD, token.length - 2};
            if (!reader.takeValue(name, token)) return VELLIX_ERR_NO_MEMORY;
            state = kExpectName;
            break;
        case kFinishClosed:
            reader.close();
            return VELLIX_SUCCESS;
        case kFinish:
            return VELLIX_SUCCESS;
        case kSyntax:
            text.syntaxError = 1;
            return VELLIX_ERR_SYNTAX;
        }
    }
}

#endif
