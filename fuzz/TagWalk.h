// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_FUZZ_TAG_WALK_H
#define VELLIX_FUZZ_TAG_WALK_H

#include <vector>

#include "Fuzz.h"

// What a tag holds by its tokens alone. The library has quicker roads to the same.

/// A word that stands where a name is expected, or an attribute.
struct TagEvent {
    VellixToken name;
    bool isAttribute;
    std::string value; // still escaped
    unsigned long behind;
};

struct TagWalk {
    std::vector<TagEvent> events;
    int result = VELLIX_SUCCESS;
    bool closed = false;
    bool syntaxError = false; // in the tag, not in front of it
    unsigned long position = 0;
};

inline TagWalk walkTag(XmlStr cursor) {
    TagWalk walk;
    const auto finish = [&](int result) {
        walk.result = result;
        walk.position = cursor.position;
        return walk;
    };
    VellixToken token = xmlNextToken(&cursor);
    if (token.kind == VELLIX_TOKEN_EOF) return finish(VELLIX_ERR_END_OF_BUFFER);
    if (token.kind != VELLIX_TOKEN_OPEN) return finish(VELLIX_ERR_SYNTAX);
    const VellixToken none = {nullptr, VELLIX_TOKEN_EOF, 0};
    VellixToken name = none; // a word that no equals sign has followed yet
    bool behindEquals = false;
    for (;;) {
        token = xmlNextToken(&cursor);
        const bool isWord = token.kind == VELLIX_TOKEN_WORD;
        const bool isQuoted = token.kind == VELLIX_TOKEN_QUOTED;
        if (token.kind == VELLIX_TOKEN_EOF) return finish(VELLIX_ERR_END_OF_BUFFER);
        if (behindEquals && (isWord || isQuoted)) {
            const unsigned long quote = isQuoted ? 1 : 0;
            const std::string value(token.start + quote, token.length - 2 * quote);
            walk.events.push_back({name, true, value, cursor.position});
            behindEquals = false;
            name = none;
        } else if (isWord) {
            if (name.start == nullptr) walk.events.push_back({token, false, "", cursor.position});
            name = token;
        } else if (token.kind == VELLIX_TOKEN_EQUALS && name.start != nullptr && !behindEquals) {
            behindEquals = true;
        } else if (token.kind == VELLIX_TOKEN_EMPTY_END && !behindEquals) {
            walk.closed = true;
            return finish(VELLIX_SUCCESS);
        } else if (token.kind == VELLIX_TOKEN_END && name.start == nullptr) {
            return finish(VELLIX_SUCCESS);
        } else {
            walk.syntaxError = true;
            return finish(VELLIX_ERR_SYNTAX);
        }
    }
}

#endif
