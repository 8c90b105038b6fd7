// SPDX-License-Identifier: Apache-2.0
// How a walk finds and reads one tag.
#include <algorithm>
#include <cstring>
#include <new>

#include "vellix/VellixText.h"
#include "vellix/VellixWalkCore.h"

namespace vellix {

namespace {

// A tag that is longer can't be read.
constexpr std::uint64_t kLongestTag = std::uint64_t{16} * 1024 * 1024;

// A stretch of so many bytes without a certain tag ends any tag: otherwise it would take all bytes in front of a part to
// tell where its tags begin. No writer makes such a file.
constexpr std::uint64_t kStretch = 4 * kLongestTag;

// Where the root is looked for.
constexpr std::uint64_t kFrontOfFile = 65536;

// What each byte pays for reading tags in vain.
constexpr std::uint64_t kPatiencePerByte = 2;

// The bytes that decide on a tag at `at` end here. It is the same place for all tags of 16 MiB, so that what was learned of
// quotes goes on to serve, and behind the longest tag.
std::uint64_t horizonOf(std::uint64_t at) { return (at / kLongestTag + 2) * kLongestTag; }

// The next place where a window may end.
std::uint64_t windowBehind(std::uint64_t offset) { return (offset / kWindow + 1) * kWindow; }

std::uint64_t back(std::uint64_t offset, std::uint64_t by) { return offset - std::min(offset, by); }

bool endsWord(char c) { return isBlank(c) || c == '>'; }

bool isBlankBetween(const char* at, const char* end) { return std::all_of(at, end, isBlank); }

// True if the value that ends at the position, in the tag that begins at `start`, has a reference that is bad.
bool hasBadReference(const XmlStr& text, unsigned long start, QuoteSearch* search) {
    XmlStr again = text;
    again.position = start;
    VellixToken last = {nullptr, VELLIX_TOKEN_WORD, 0};
    bool metEnd = false;
    while (again.position < text.position && last.kind != VELLIX_TOKEN_EOF) last = scanToken(again, search, metEnd);
    const std::size_t quote = last.kind == VELLIX_TOKEN_QUOTED ? 1 : 0;
    return last.start != nullptr &&
           putDecoded(last.start + quote, last.length - 2 * quote, nullptr, last.length) == kBadReference;
}

} // namespace

// --- Finding ---

// Finds the first "<" from `from` on. False if there is none before `before`, or the bytes can't be had.
bool WalkCore::findTag(std::uint64_t from, std::uint64_t last, std::uint64_t& at) {
    for (;;) {
        if (from < source.end() && from >= source.start()) {
            const char* const begin = source.data() + (from - source.start());
            const auto* const found = static_cast<const char*>(
                *begin == '<' ? begin : std::memchr(begin, '<', static_cast<std::size_t>(source.end() - from)));
            if (found != nullptr) {
                at = source.start() + static_cast<std::uint64_t>(found - source.data());
                return at < last;
            }
            from = source.end();
        }
        if (from >= last) return false;
        if (!source.grow(std::min(anchor, back(from, kReach)), 1, windowBehind(source.end()))) return false;
    }
}

// Whether the entries that stand here are wanted.
bool WalkCore::isWanted(Want want) const {
    if (want.what != Want::kEntries) return want.what == Want::kSteps;
    return want.type == VELLIX_DOC_NONE || want.type == holder;
}

XmlStr WalkCore::cursorAt(std::uint64_t at, std::uint64_t end) const {
    XmlStr cursor;
    cursor.buffer = source.data();
    cursor.length = static_cast<unsigned long>(end - source.start());
    cursor.position = static_cast<unsigned long>(at - source.start());
    return cursor;
}

QuoteSearch& WalkCore::quoteSearch() {
    if (quotesFor != source.generation()) quotes.startOver();
    quotesFor = source.generation();
    return quotes;
}

// True if an entry begins at `at`, by its very bytes. What is spelled or cut in another way is left to the tokens.
bool WalkCore::beginsEntry(const char* at, const char* end) const {
    const std::size_t length = entryName.size();
    return static_cast<std::size_t>(end - at) > length + 1 && length != 0 && deepest == 0 &&
           std::memcmp(at + 1, entryName.data(), length) == 0 && endsWord(at[length + 1]);
}

// Reads the entry at `at` if it is wanted, plain and whole in the window: what nearly all are. The long way would give the
// same.
bool WalkCore::takePlainEntry(std::uint64_t at, Want want) {
    XmlStr cursor = cursorAt(at, source.end());
    const char* const begin = cursor.buffer + cursor.position;
    if (entriesAsDocuments || !isWanted(want) || !beginsEntry(begin, cursor.buffer + cursor.length)) return false;
    bool metEnd = false;
    entry.clear();
    entry.setType(holder);
    if (entry.parseTag(cursor, &quoteSearch(), metEnd) != VELLIX_SUCCESS || metEnd || !source.isCertain(at))
        return false;
    const std::uint64_t behind = source.start() + cursor.position;
    if (behind - at > kLongestTag) return false;
    lastCertain = at;
    position = behind;
    return true;
}

// Passes over the entry at `at`, if it isn't wanted and the next tag is plain to see.
bool WalkCore::canPass(std::uint64_t at, Want want) {
    const char* const end = source.data() + source.length();
    const char* const begin = source.data() + (at - source.start());
    if (entriesAsDocuments || isWanted(want) || !beginsEntry(begin, end)) return false;
    const auto left = static_cast<std::size_t>(end - begin - 1);
    const auto* const found = static_cast<const char*>(std::memchr(begin + 1, '<', left));
    if (found == nullptr) return false;
    const std::uint64_t following = source.start() + static_cast<std::uint64_t>(found - source.data());
    if (!source.isCertain(following)) return false;
    if (source.isCertain(at)) lastCertain = at;
    position = following;
    return true;
}

// --- Reading ---

// Reads the tag at `at` with as many bytes as it takes. False if they can't be had.
bool WalkCore::readTag(std::uint64_t at, Want want) {
    if (source.isCertain(at)) lastCertain = at;
    bool metEnd = readWindow(at, want);
    for (bool more = true; metEnd && more && source.end() < horizonOf(at);) {
        const std::uint64_t generation = source.generation();
        more = growFor(at);
        if (generation != source.generation()) metEnd = readWindow(at, want);
    }
    if (source.error().status != WalkStatus::good && metEnd) return false;
    const bool endless = metEnd && source.end() >= horizonOf(at);
    if (endless || tag.behind - at > kLongestTag) {
        rescan(at + kLongestTag, want);
        tag.error = TagError::tooLong;
    }
    endStretch(want);
    return true;
}

// Reads what the window has of the tag. True if it may read otherwise with more bytes.
bool WalkCore::readWindow(std::uint64_t at, Want want) { return scanUpTo(source.end(), at, &quoteSearch(), want); }

// Reads the tag as if there were no bytes from `end` on.
void WalkCore::rescan(std::uint64_t end, Want want) {
    QuoteSearch own;
    scanUpTo(end, tag.offset, &own, want);
    tag.end = TagEnd::none;
    tag.behind = end;
}

bool WalkCore::scanUpTo(std::uint64_t end, std::uint64_t at, QuoteSearch* search, Want want) {
    XmlStr cursor = cursorAt(at, end);
    tag = Tag();
    tag.offset = at;
    bool metEnd = false;
    scanTag({cursor, search, metEnd}, want);
    tag.behind = source.start() + cursor.position;
    return metEnd;
}

// Ends the tag at the first "<" of the next stretch if it goes on there and this one had nothing certain.
void WalkCore::endStretch(Want want) {
    const std::uint64_t boundary = (tag.offset / kStretch + 1) * kStretch;
    if (tag.behind <= boundary || lastCertain + kStretch >= boundary) return;
    const char* const from = source.data() + (boundary - source.start());
    const auto* const found =
        static_cast<const char*>(std::memchr(from, '<', static_cast<std::size_t>(tag.behind - boundary)));
    if (found == nullptr) return;
    rescan(source.start() + static_cast<std::uint64_t>(found - source.data()), want);
    tag.error = TagError::badToken;
}

// Gets more bytes for the tag at `at`, which the window cuts: as many again as are known of it, so that the cost of reading
// it afresh stays linear. But where it may be whole with what has come it is not left waiting, as long as that was not tried
// in vain too often: who sends it may be waiting for an answer. False if there are no more bytes.
bool WalkCore::growFor(std::uint64_t at) {
    const std::uint64_t known = source.end();
    const std::uint64_t ahead = known - at;
    const std::uint64_t upTo = std::min(windowBehind(known + ahead - 1), horizonOf(at));
    while (source.end() < std::min(known + ahead, upTo)) {
        const std::uint64_t end = source.end();
        if (!source.grow(std::min(anchor, back(at, kReach)), 1, upTo)) break;
        patience += kPatiencePerByte * (source.end() - end);
        const char* const fresh = source.data() + (end - source.start());
        const bool mayEnd = std::memchr(fresh, '>', static_cast<std::size_t>(source.end() - end)) != nullptr;
        if (!mayEnd || patience < source.end() - at) continue;
        patience -= source.end() - at;
        break;
    }
    return source.end() > known;
}

void WalkCore::scanTag(Scan scan, Want want) {
    const char* const begin = scan.cursor.buffer + scan.cursor.position;
    if (beginsEntry(begin, scan.cursor.buffer + scan.cursor.length)) { // the tokens would give the same
        tag.name = {begin + 1, entryName.size()};
        scan.cursor.position += static_cast<unsigned long>(entryName.size() + 1);
        tag.namedAsEntry = true;
        tag.type = holder;
        if (isParsed(want)) return parse(scan);
        return findTagEnd(scan, scan.next());
    }
    tag.mark = scanToken(scan.cursor, scan.quotes, scan.metEnd).kind;
    if (tag.mark == VELLIX_TOKEN_PI_OPEN) return;
    const VellixToken word = scan.next();
    const bool named = word.kind == VELLIX_TOKEN_WORD;
    if (named) tag.name = {word.start, word.length};
    if (tag.mark == VELLIX_TOKEN_CLOSE_OPEN) {
        if (!named) scan.stepBack(word);
        return;
    }
    if (!named) tag.error = TagError::badToken;
    if (named) classify();
    if (tag.type != VELLIX_DOC_NONE && isParsed(want)) {
        parse(scan);
    } else {
        findTagEnd(scan, named ? scan.next() : word);
    }
}

// Tells by its name what the tag is.
void WalkCore::classify() {
    tag.namedAsEntry = deepest == 0 && sameWord(tag.name, entryName);
    if (tag.namedAsEntry) {
        tag.type = holder;
        return;
    }
    tag.type = xmlDocTypeByName(tag.name.data(), static_cast<unsigned long>(tag.name.size()));
}

// Whether the attributes of the tag are of use.
bool WalkCore::isParsed(Want want) const {
    if (want.what == Want::kNothing || deepest != 0) return false;
    return !tag.namedAsEntry || entriesAsDocuments || isWanted(want);
}

// Reads the attributes. A tag that the parse refuses is looked at once more, for its end.
void WalkCore::parse(Scan scan) {
    const unsigned long behindName = scan.cursor.position;
    const unsigned long start = static_cast<unsigned long>(tag.offset - source.start());
    entry.clear();
    entry.setIsEntryClosed(false);
    entry.setType(tag.type);
    scan.cursor.position = start;
    bool metEnd = false;
    const int code = entry.parseTag(scan.cursor, scan.quotes, metEnd);
    scan.metEnd = scan.metEnd || metEnd;
    if (code == VELLIX_SUCCESS) {
        tag.end = entry.isEntryClosed() ? TagEnd::closed : TagEnd::open;
        return;
    }
    if (code == VELLIX_ERR_NO_MEMORY && !hasBadReference(scan.cursor, start, scan.quotes)) throw std::bad_alloc();
    if (code == VELLIX_ERR_NO_MEMORY) tag.error = TagError::badReference;
    if (code == VELLIX_ERR_SYNTAX) tag.error = TagError::badToken;
    scan.cursor.position = behindName;
    findTagEnd(scan, scan.next());
    const char* const end = scan.cursor.buffer + scan.cursor.position;
    if (tag.end == TagEnd::open && isBlankBetween(scan.cursor.buffer + behindName, end - 1))
        tag.error = TagError::none; // a tag without attributes
}

// Finds the end of the tag by its tokens, of which `token` is the next.
void WalkCore::findTagEnd(Scan scan, VellixToken token) {
    while (token.kind == VELLIX_TOKEN_WORD || token.kind == VELLIX_TOKEN_QUOTED || token.kind == VELLIX_TOKEN_EQUALS)
        token = scan.next();
    if (token.kind == VELLIX_TOKEN_END) tag.end = TagEnd::open;
    if (token.kind == VELLIX_TOKEN_EMPTY_END) tag.end = TagEnd::closed;
    if (tag.end != TagEnd::none) return;
    scan.stepBack(token);
    if (tag.error == TagError::none)
        tag.error = token.kind == VELLIX_TOKEN_EOF && scan.atEnd() ? TagError::cut : TagError::badToken;
}

// --- The places where a walk begins ---

// Reads the root ahead of the walk.
void WalkCore::readRoot() {
    anchor = 0;
    std::uint64_t at = 0;
    for (std::uint64_t from = 0; findTag(from, kFrontOfFile, at); from = tag.behind) {
        if (!readTag(at, {Want::kDocuments, VELLIX_DOC_NONE})) break;
        if (tag.mark != VELLIX_TOKEN_OPEN || tag.type == VELLIX_DOC_NONE) continue;
        int mark = 0;
        if (tag.type != VELLIX_DOC_RESULTS && tag.type != VELLIX_DOC_DOC) break;
        complete = entry.getAttribute(0, mark) && mark != 0;
        session = entry.getAttributeStr(1);
        break;
    }
    anchor = std::numeric_limits<std::uint64_t>::max();
    lastCertain = 0;
}

// Moves to the first tag at or behind `begin`. The window has then passed what is in front of it.
void WalkCore::locate(std::uint64_t begin) {
    source.seek(begin);
    position = before; // unless there is one
    std::uint64_t at = 0;
    if (!findTag(begin, before, at)) return;
    if (begin != 0 && !source.isCertain(at) && !locateFromBehind(begin, at)) return;
    position = at;
}

// The same where the bytes next to the tag don't tell: by all tags from a certain one on.
bool WalkCore::locateFromBehind(std::uint64_t begin, std::uint64_t& at) {
    const std::uint64_t stretch = begin / kStretch * kStretch;
    const std::uint64_t low = back(stretch, kStretch);
    if (source.findCertain(low, begin, at)) {
        lastCertain = at;
    } else if (source.error().status == WalkStatus::good) {
        at = low == 0 ? 0 : stretch;
        lastCertain = back(at, 1);
    } else {
        return false;
    }
    source.seek(at);
    for (std::uint64_t from = at; findTag(from, before, at); from = tag.behind) {
        if (at >= begin) return true;
        if (!readTag(at, {Want::kNothing, VELLIX_DOC_NONE})) return false;
    }
    return false;
}

} // namespace vellix
