// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TAG_STATES_H
#define VELLIX_TAG_STATES_H

#include <cstddef>

#include "vellix/VellixText.h"
#include "vellix/VellixUtils.h"

// What the tokens of one tag mean, for what reads whole tags and for what looks for one attribute. Internal, not installed.

enum State : int { kExpectName, kExpectEquals, kExpectValue };
enum Action { kSyntax, kRemember, kToValue, kStore, kFinish, kFinishClosed };

// What a token means in each state. VELLIX_TOKEN_EOF and above don't get here.
constexpr Action kActions[][3] = {
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

// A terminated text may be given with any length.
static inline XmlStr cursorOver(const char* buffer, std::size_t length) {
    XmlStr text;
    text.buffer = buffer;
    text.length = static_cast<unsigned long>(lengthWithin(buffer, length));
    return text;
}

// The value without its quotes.
static inline VellixToken valueOf(const VellixToken& token) {
    if (token.kind != VELLIX_TOKEN_QUOTED) return token;
    return {token.start + 1, VELLIX_TOKEN_WORD, token.length - 2};
}

#endif
