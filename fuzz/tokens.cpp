// SPDX-License-Identifier: Apache-2.0
// Texts of any bytes: the scanner finds in them what a plain notion of tokens says, and one without a NUL comes back from its
// escaped form.
#include <algorithm>

#include "Fuzz.h"

namespace {

// --- Tokens, of a text that has no NUL ---

struct Token {
    VellixTokenKind kind;
    std::size_t first;
    std::size_t end;
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The place behind the character at `at`: as many bytes as its first one says, up to the end.
std::size_t behind(const std::string& text, std::size_t at) {
    return std::min(text.size(), at + static_cast<std::size_t>(xmlStepTable[static_cast<unsigned char>(text[at])]));
}

bool endsWord(const std::string& text, std::size_t at) {
    return at == text.size() || isBlank(text[at]) || text.compare(at, 2, "/>") == 0 ||
           std::strchr("<>=", text[at]) != nullptr;
}

// Where the quoted string ends that begins at `first`; npos if none does.
std::size_t endOfQuoted(const std::string& text, std::size_t first) {
    if (text[first] != '"' && text[first] != '\'') return std::string::npos;
    for (std::size_t at = first + 1; at < text.size() && text[at] != '<'; at = behind(text, at)) {
        if (text[at] == text[first]) return at + 1;
    }
    return std::string::npos;
}

Token nextToken(const std::string& text, std::size_t at) {
    static const std::pair<const char*, VellixTokenKind> kMarks[] = {
        {"</", VELLIX_TOKEN_CLOSE_OPEN}, {"<?", VELLIX_TOKEN_PI_OPEN}, {"/>", VELLIX_TOKEN_EMPTY_END},
        {"<", VELLIX_TOKEN_OPEN},        {">", VELLIX_TOKEN_END},      {"=", VELLIX_TOKEN_EQUALS}};
    while (at < text.size() && isBlank(text[at])) ++at;
    if (at == text.size()) return {VELLIX_TOKEN_EOF, at, at};
    for (const auto& [mark, kind] : kMarks) {
        if (text.compare(at, std::strlen(mark), mark) == 0) return {kind, at, at + std::strlen(mark)};
    }
    std::size_t end = endOfQuoted(text, at);
    if (end != std::string::npos) return {VELLIX_TOKEN_QUOTED, at, end};
    end = at;
    do {
        end = behind(text, end);
    } while (!endsWord(text, end));
    return {VELLIX_TOKEN_WORD, at, end};
}

// The text of the cursor counts from its position up to the first NUL.
void checkScanning(XmlStr cursor) {
    const unsigned long start = cursor.position;
    const std::string text =
        start < cursor.length ? upToNul(std::string(cursor.buffer + start, cursor.length - start)) : "";
    for (std::size_t at = 0; at < text.size(); at = behind(text, at)) {
        require(xmlNextChar(&cursor) == text[at], "a character is the byte at the position");
        require(cursor.position == start + behind(text, at), "a character moves the position by its bytes");
    }
    require(xmlNextChar(&cursor) == '\0' && cursor.position == start + text.size(), "the end is not passed");
    cursor.position = start;
    for (Token expected = nextToken(text, 0);; expected = nextToken(text, expected.end)) {
        const VellixToken token = xmlNextToken(&cursor);
        require(token.kind == expected.kind, "a token is of its kind");
        const bool withBlank =
            token.kind == VELLIX_TOKEN_WORD && expected.end < text.size() && isBlank(text[expected.end]);
        require(cursor.position == start + expected.end + (withBlank ? 1 : 0), "the position is behind the token");
        if (token.kind == VELLIX_TOKEN_EOF) return;
        require(token.start == cursor.buffer + start + expected.first && token.length == expected.end - expected.first,
                "a token goes from its first byte to its last");
    }
}

// Goes from tag to tag, or also from end to end of tags, where NULs are bytes as any others.
void checkSkips(XmlStr cursor, bool stopAtTagEnd) {
    const std::string text(cursor.buffer, cursor.length);
    cursor.stopAtTagEnd = stopAtTagEnd;
    for (; cursor.position < text.size(); ++cursor.position) {
        const std::size_t place = text.find_first_of(stopAtTagEnd ? "<>" : "<", cursor.position);
        cursor.skipToTag();
        require(cursor.position == std::min(place, text.size()), "a skip ends at the next tag");
        require(cursor.atEnd() == (place == std::string::npos || text[place] == '>'), "the end is known");
    }
    const unsigned long end = cursor.position;
    cursor.skipToTag();
    require(cursor.atEnd() && cursor.position == end, "a skip doesn't leave the end");
}

// --- Escaping ---

void checkDecoding(const Guarded& bytes) {
    const MallocText plain(xmlDecode(bytes.data(), bytes.size()));
    if (!plain) return;
    // Reading the last byte of it, too, shows that all of it is there.
    require(std::strlen(plain.get()) <= bytes.size(), "a plain form is no longer than the escaped one");
    const MallocText escaped(xmlEncode(plain.get(), nullptr, -1));
    const Guarded again{std::string(escaped.get())};
    require(shown(MallocText(xmlDecode(again.data(), again.size()))) == plain.get(), "a decoded text comes back");
}

void checkEncoding(const std::string& text) {
    const Guarded plain = Guarded::terminated(text);
    const std::string escaped = shown(MallocText(xmlEncode(plain.data(), nullptr, -1)));
    Guarded room(escaped.size() + 1);
    require(xmlEncode(plain.data(), room.data(), -1) == escaped, "an escaped form is the same in a buffer");
    const Guarded form(escaped);
    require(shown(MallocText(xmlDecode(form.data(), form.size()))) == text, "a text comes back from its escaped form");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Guarded bytes(data, size);
    XmlStr cursor = cursorOver(bytes);
    for (const unsigned long start : {0UL, size != 0 ? data[0] % (bytes.size() + 2) : 1UL}) { // one is behind the end
        cursor.position = start;
        checkScanning(cursor);
        checkSkips(cursor, false);
        checkSkips(cursor, true);
    }
    checkDecoding(bytes);
    checkEncoding(upToNul(std::string(bytes.data(), size)));
    return 0;
}
