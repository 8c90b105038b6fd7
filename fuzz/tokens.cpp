// SPDX-License-Identifier: Apache-2.0
// The scanner never leaves a text, moves on with every step up to a NUL or the end, and leaves out nothing but blanks.
#include "Fuzz.h"

namespace {

bool atTextEnd(const XmlStr& cursor) {
    return cursor.position >= cursor.length || cursor.buffer[cursor.position] == '\0';
}

void checkCharacters(XmlStr cursor) {
    for (;;) {
        const unsigned long before = cursor.position;
        const bool ended = atTextEnd(cursor);
        const char c = xmlNextChar(&cursor);
        require((c == '\0') == ended, "characters end at a NUL or with the text");
        if (ended) {
            require(cursor.position == before, "the end is not passed");
            return;
        }
        require(c == cursor.buffer[before], "a character is the byte at the position");
        XmlStr tail = cursor;
        const auto step = static_cast<unsigned long>(xmlStepTable[static_cast<unsigned char>(c)]);
        for (tail.position = before + 1; !atTextEnd(tail) && tail.position < before + step;) ++tail.position;
        require(cursor.position == tail.position, "a character moves the position by its bytes, up to the end");
    }
}

bool isQuote(char c) { return c == '"' || c == '\''; }

bool endsWord(const XmlStr& cursor) {
    if (atTextEnd(cursor)) return true;
    const char* const at = cursor.buffer + cursor.position;
    const bool slash = *at == '/' && cursor.position + 1 < cursor.length && at[1] == '>';
    return slash || std::strchr(" \t\r\n<>=", *at) != nullptr;
}

// Where the quoted string ends that begins at the position; 0 if none does.
unsigned long endOfQuoted(XmlStr cursor) {
    const char quote = xmlNextChar(&cursor);
    if (!isQuote(quote)) return 0;
    while (!atTextEnd(cursor) && cursor.buffer[cursor.position] != '<') {
        if (xmlNextChar(&cursor) == quote) return cursor.position;
    }
    return 0;
}

unsigned long endOfWord(XmlStr cursor) {
    do {
        xmlNextChar(&cursor);
    } while (!endsWord(cursor));
    return cursor.position;
}

// Words and quoted strings go by characters, marks by bytes.
void checkForm(XmlStr cursor, const VellixToken& token) {
    const std::string bytes(token.start, token.length);
    cursor.position = static_cast<unsigned long>(token.start - cursor.buffer);
    const unsigned long end = cursor.position + token.length;
    switch (token.kind) {
    case VELLIX_TOKEN_WORD:
        require(!endsWord(cursor) && end == endOfWord(cursor), "a word goes up to a mark or a blank");
        require(endOfQuoted(cursor) == 0, "a word begins with a quote only if there is no other");
        break;
    case VELLIX_TOKEN_QUOTED:
        require(end == endOfQuoted(cursor), "a quoted string goes up to its quote");
        break;
    default: {
        const char* const marks[] = {"", "", "<", "</", ">", "=", "<?", "/>"};
        require(token.kind >= VELLIX_TOKEN_OPEN && token.kind <= VELLIX_TOKEN_EMPTY_END,
                "only some kinds are returned");
        require(bytes == marks[token.kind], "a mark has its bytes");
    }
    }
}

void checkTokens(XmlStr cursor) {
    unsigned long covered = cursor.position; // what the tokens so far and the blanks between them reach to
    const auto skipBlanks = [&cursor, &covered](unsigned long end) {
        for (; covered < end; ++covered)
            require(std::strchr(" \t\r\n", cursor.buffer[covered]) != nullptr, "only blanks are passed over");
    };
    for (VellixToken token = xmlNextToken(&cursor); token.kind != VELLIX_TOKEN_EOF; token = xmlNextToken(&cursor)) {
        const auto first = static_cast<unsigned long>(token.start - cursor.buffer);
        require(first >= covered && first < cursor.length && token.length <= cursor.length - first,
                "a token lies inside the text");
        checkForm(cursor, token);
        skipBlanks(first);
        covered = first + token.length;
        require(cursor.position >= covered && cursor.position <= cursor.length, "the position is behind the token");
    }
    skipBlanks(cursor.position < cursor.length ? cursor.position : cursor.length);
    require(atTextEnd(cursor), "the tokens end at a NUL or with the text");
    const unsigned long end = cursor.position;
    require(xmlNextToken(&cursor).kind == VELLIX_TOKEN_EOF && cursor.position == end, "the end is not passed");
}

void checkTags(XmlStr cursor) {
    for (;;) {
        const unsigned long before = cursor.position;
        cursor.skipToTag();
        require(cursor.position >= before, "a skip goes forward");
        for (unsigned long at = before; at < cursor.position && at < cursor.length; ++at) {
            require(cursor.buffer[at] != '<', "a skip passes over no tag");
            require(!cursor.stopAtTagEnd || cursor.buffer[at] != '>',
                    "a skip that stops at tags' ends passes over none");
        }
        const bool atBracket = cursor.position < cursor.length && cursor.buffer[cursor.position] == '>';
        require(cursor.atEnd() == (cursor.position >= cursor.length || (cursor.stopAtTagEnd && atBracket)),
                "the end is that of the text, or of a tag where that is asked for");
        if (cursor.atEnd()) break;
        require(cursor.buffer[cursor.position] == '<', "a skip ends at a tag");
        ++cursor.position;
    }
    require(cursor.position >= cursor.length || cursor.stopAtTagEnd, "the skips end with the text");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Guarded bytes(data, size);
    XmlStr cursor = cursorOver(bytes);
    for (const unsigned long start :
         {0UL, size != 0 ? data[0] % (bytes.size() + 2) : 1UL}) { // one of them behind the end
        cursor.position = start;
        checkCharacters(cursor);
        checkTokens(cursor);
        checkTags(cursor);
        cursor.stopAtTagEnd = true;
        checkTags(cursor);
        cursor.stopAtTagEnd = false;
    }
    return 0;
}
