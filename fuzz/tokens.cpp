// SPDX-License-Identifier: Apache-2.0
// Texts of any bytes: the scanner finds in them what a plain notion of tokens says, and one without a NUL has the escaped form
// that a plain notion of units gives, and comes back from it.
#include <algorithm>
#include <climits>
#include <vector>

#include "Fuzz.h"

namespace {

// --- Tokens, of a text that has no NUL ---

struct Token {
    VellixTokenKind kind;
    std::size_t first;
    std::size_t end;
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// As many bytes as the first of a character says.
std::size_t stepAt(const std::string& text, std::size_t at) {
    return static_cast<std::size_t>(xmlStepTable[static_cast<unsigned char>(text[at])]);
}

// The place behind the character at `at`, which may be cut by the end.
std::size_t behind(const std::string& text, std::size_t at) { return std::min(text.size(), at + stepAt(text, at)); }

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

// The escaped form of a text that has no NUL, unit by unit.
std::vector<std::string> escapedUnits(const std::string& plain) {
    static const std::string kEscaped = "\"&'<>";
    static const char* const kForms[] = {"&quot;", "&amp;", "&apos;", "&lt;", "&gt;"};
    std::vector<std::string> units;
    for (std::size_t at = 0, end = 0; at < plain.size(); at = end) {
        end = behind(plain, at);
        const std::string unit = plain.substr(at, end - at);
        const std::size_t form = kEscaped.find(unit);
        units.push_back(form != std::string::npos ? kForms[form] : unit);
        if (at + stepAt(plain, at) <= end) continue;
        units.back().clear();
        for (const char byte : unit) units.back() += "&#" + std::to_string(static_cast<unsigned char>(byte)) + ';';
    }
    return units;
}

// In a buffer the size counts bytes, otherwise units and one more. Either way no unit is cut.
void checkSize(const Guarded& plain, const std::vector<std::string>& units, std::size_t size) {
    std::string fitting;
    std::string counted;
    bool fits = true;
    for (std::size_t i = 0; i < units.size(); ++i) {
        fits = fits && fitting.size() + units[i].size() <= size;
        if (fits) fitting += units[i];
        if (i <= size) counted += units[i];
    }
    Guarded buffer(std::min(size, fitting.size()) + 1);
    const int given = size < INT_MAX ? static_cast<int>(size) : INT_MAX;
    require(xmlEncode(plain.data(), buffer.data(), given) == buffer.data(), "a text is escaped where there is room");
    require(buffer.data() == fitting, "a buffer gets the units that fit");
    require(shown(MallocText(xmlEncode(plain.data(), nullptr, given))) == counted, "units are counted");
}

void checkEncoding(const std::string& text) {
    const Guarded plain = Guarded::terminated(text);
    const std::vector<std::string> units = escapedUnits(text);
    std::string escaped;
    for (const std::string& unit : units) escaped += unit;
    require(xmlLen(plain.data()) == escaped.size(), "the length is that of the escaped form");
    require(shown(MallocText(xmlEncode(plain.data(), nullptr, -1))) == escaped, "a text has its escaped form");
    Guarded buffer(escaped.size() + 1);
    require(xmlEncode(plain.data(), buffer.data(), -1) == buffer.data() && buffer.data() == escaped,
            "a buffer gets the escaped form");
    for (const int size : {-1, static_cast<int>(escaped.size()), INT_MAX}) {
        std::string appended = "in front";
        xmlEncode(appended, plain.data(), size);
        require(appended == "in front" + escaped, "an escaped form is appended");
    }
    for (std::size_t size = 0; size <= escaped.size() + 1; size += 1 + size / 16) checkSize(plain, units, size);
    checkSize(plain, units, INT_MAX);
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
