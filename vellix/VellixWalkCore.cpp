// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixWalkCore.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vellix {

namespace {

// How many documents and unknown elements are kept open, how many of the latter, and the bytes of all their tags.
constexpr std::size_t kMostOpen = 64;
constexpr std::size_t kMostUnknown = 32;
constexpr std::uint64_t kMostHeld = std::uint64_t{32} * 1024 * 1024;

} // namespace

WalkCore::WalkCore(WalkSource from) : source(std::move(from)), step(*this) {
    source.seek(0);
    findHolder();
    readRoot();
}

WalkCore::WalkCore(const WalkCore& whole, std::uint64_t begin, std::uint64_t end, VELLIX_DOC_TYPE entriesOf)
    : source(whole.source.again()), before(std::max(begin, end)), base(entriesOf), step(*this),
      complete(whole.complete), session(whole.session) {
    findHolder();
    locate(begin);
}

// --- Steps ---

const Step* WalkCore::next(Want want) {
    if (skipping) skipTo(skipDepth); // memory ran out on the way
    hasStep = false;
    if (endShown) dropTo(open - 1);
    for (;;) {
        if (showEnd()) return &step;
        if (finished) return nullptr;
        if (takeTag(want)) return &step;
    }
}

// Shows the end of the innermost level that has ended. What is unknown ends without a word.
bool WalkCore::showEnd() {
    while (open > keep && levels[open - 1]->documentType == VELLIX_DOC_NONE) dropTo(open - 1);
    if (open == keep) return false;
    const Document& ended = *levels[open - 1];
    endShown = show(StepKind::documentEnd, &ended);
    step.stepType = ended.documentType;
    step.place = endOffset;
    return true;
}

// Takes the next tag. True if that is a step.
bool WalkCore::takeTag(Want want) {
    std::uint64_t at = 0;
    if (!findTag(position, before, at)) {
        finished = true;
        if (source.error().status != WalkStatus::good && source.end() < before) return false;
        endOffset = std::min(source.end(), before);
        keep = 0;
        return false;
    }
    if (takePlainEntry(at, want)) return showEntry(at);
    if (canPass(at, want)) return false;
    if (!readTag(at, want)) {
        finished = true;
        return false;
    }
    bool isStep = false;
    if (tag.mark == VELLIX_TOKEN_OPEN) isStep = takeOpenTag(want);
    if (tag.mark == VELLIX_TOKEN_CLOSE_OPEN) takeCloseTag();
    position = tag.behind;
    return isStep;
}

bool WalkCore::takeOpenTag(Want want) {
    if (want.what != Want::kNothing) stepName.reserve(tag.name.size()); // what may fail comes first
    if (deepest != 0) return takeTooDeep(want);
    if (tag.type == VELLIX_DOC_NONE) return takeUnknown(want);
    return isDocument() ? takeDocument(want) : takeEntry(want);
}

// In a document that gives its own name to its entries, what holds something is a document.
bool WalkCore::isDocument() const { return !tag.namedAsEntry || (tag.end != TagEnd::closed && entriesAsDocuments); }

bool WalkCore::takeEntry(Want want) {
    if (!isParsed(want)) return false;
    return show(StepKind::entry, nullptr);
}

bool WalkCore::takeDocument(Want want) {
    if (open == kMostOpen || heldBytes + (tag.behind - tag.offset) > kMostHeld) return takeTooDeep(want);
    push(want, false);
    if (tag.end == TagEnd::closed) {
        keep = open - 1;
        endOffset = tag.offset;
    }
    return want.what != Want::kNothing && show(StepKind::documentBegin, levels[open - 1].get());
}

// An element that the schema doesn't know is kept open as long as there is room, and forgotten otherwise. What begins with
// "!" holds nothing.
bool WalkCore::takeUnknown(Want want) {
    const bool holds = tag.end == TagEnd::open && tag.error == TagError::none && tag.name.front() != '!';
    const bool kept =
        holds && open < kMostOpen && unknownOpen < kMostUnknown && heldBytes + (tag.behind - tag.offset) <= kMostHeld;
    if (kept) push(want, true);
    if (want.what == Want::kNothing) return false;
    return show(StepKind::unknown, kept ? levels[open - 1].get() : nullptr);
}

// Below the deepest level documents are counted, so that their close tags end nothing else.
bool WalkCore::takeTooDeep(Want want) {
    tag.error = TagError::tooDeep;
    if (tag.type != VELLIX_DOC_NONE && tag.end != TagEnd::closed) {
        ++deep[tag.type];
        ++deepest;
    }
    entry.clear();
    return want.what != Want::kNothing && show(StepKind::unreadable, nullptr);
}

// Makes an entry that was read the step.
bool WalkCore::showEntry(std::uint64_t at) {
    hasStep = true;
    step.document = nullptr;
    step.level = open;
    step.stepKind = StepKind::entry;
    step.stepType = holder;
    step.place = at;
    step.tagError = TagError::none;
    return true;
}

// Makes the tag the step; one that can't be read is a step of that kind whatever it would be.
bool WalkCore::show(StepKind kind, const Document* document) {
    hasStep = true;
    step.document = document;
    step.level = document != nullptr ? document->level : open;
    step.stepKind = kind;
    if (kind == StepKind::documentEnd) {
        step.tagError = TagError::none;
        return true;
    }
    step.stepType = tag.type;
    step.place = tag.offset;
    step.tagError = tag.error;
    if (tag.type == VELLIX_DOC_NONE) entry.clear();
    if (tag.type == VELLIX_DOC_NONE || tag.error != TagError::none) stepName.assign(tag.name);
    if (tag.error != TagError::none) {
        step.stepKind = StepKind::unreadable;
        ++unreadable;
    }
    return true;
}

// --- What is open ---

// Ends all that is open inside the innermost document or element of this name, and that. A part learns from the end of a
// document that it didn't see opened that its entries are over.
void WalkCore::takeCloseTag() {
    const VELLIX_DOC_TYPE type = xmlDocTypeByName(tag.name.data(), static_cast<unsigned long>(tag.name.size()));
    if (deep[type] != 0 && type != VELLIX_DOC_NONE) {
        --deep[type];
        --deepest;
        return;
    }
    for (std::size_t depth = open; depth > 0; --depth) {
        const Document& level = *levels[depth - 1];
        if (level.documentType != type) continue;
        if (type == VELLIX_DOC_NONE && !sameWord(level.element, tag.name)) continue;
        keep = depth - 1;
        endOffset = tag.offset;
        std::fill(std::begin(deep), std::end(deep), 0);
        deepest = 0;
        return;
    }
    const bool ofEntry = sameWord(tag.name, entryName) && !entriesAsDocuments;
    if (type == VELLIX_DOC_NONE || ofEntry || base == VELLIX_DOC_NONE) return;
    base = VELLIX_DOC_NONE;
    findHolder();
}

void WalkCore::push(Want want, bool isUnknown) {
    if (levels.size() == open) levels.push_back(std::unique_ptr<Document>(new Document(*this)));
    Document& level = *levels[open];
    if (isUnknown) level.element.assign(tag.name);
    if (isUnknown || want.what == Want::kNothing) {
        level.tag.clear();
    } else {
        std::swap(level.tag, entry);
    }
    level.number = ++documents;
    level.documentType = tag.type;
    level.level = open;
    level.place = tag.offset;
    level.tagLength = tag.behind - tag.offset;
    level.tagError = tag.error;
    heldBytes += level.tagLength;
    if (isUnknown) ++unknownOpen;
    keep = ++open;
    findHolder();
}

// Forgets the levels from `depth` on.
void WalkCore::dropTo(std::size_t depth) {
    endShown = false;
    while (open > depth) {
        Document& level = *levels[--open];
        heldBytes -= level.tagLength;
        if (level.documentType != VELLIX_DOC_NONE) continue;
        --unknownOpen;
        std::string().swap(level.element); // it may be long, and each level would keep one
    }
    keep = std::min(keep, open);
    findHolder();
}

// Finds the document whose entries stand here.
void WalkCore::findHolder() {
    std::size_t depth = open;
    while (depth > 0 && levels[depth - 1]->documentType == VELLIX_DOC_NONE) --depth;
    holder = depth > 0 ? levels[depth - 1]->documentType : base;
    const char* const openTag = xmlDocTypeRow(holder).entryOpenTag;
    entryName = openTag != nullptr ? openTag + 1 : "";
    entriesAsDocuments = openTag != nullptr && entryName == xmlDocTypeRow(holder).name;
}

// --- Passing over ---

void WalkCore::skip() {
    if (skipping) return skipTo(skipDepth); // memory ran out on the way
    if (!hasStep || step.stepKind == StepKind::unknown || step.stepKind == StepKind::documentBegin ||
        (step.document != nullptr && step.stepKind == StepKind::unreadable)) {
        if (hasStep && step.document != nullptr) skipTo(step.document->level);
        return;
    }
    std::size_t depth = endShown ? open - 1 : open;
    while (depth > 0 && levels[depth - 1]->documentType == VELLIX_DOC_NONE) --depth;
    if (depth > 0) skipTo(depth - 1);
}

// Goes on to where the level at `depth` ends.
void WalkCore::skipTo(std::size_t depth) {
    hasStep = false;
    skipping = true;
    skipDepth = depth;
    while (keep > depth && !finished) {
        dropTo(keep);
        takeTag({Want::kNothing, VELLIX_DOC_NONE});
    }
    if (keep <= depth) dropTo(depth + 1);
    skipping = false;
}

// --- Ranges ---

// True if a document, which has that number, is over. The object may serve for another one by now.
bool WalkCore::hasEnded(const Document* document, std::uint64_t number) const {
    const bool isLevel = document->number == number && document->level < open;
    return !isLevel || (endShown && document->level + 1 == open);
}

bool WalkCore::hasEnded(const detail::WalkScope& scope) const {
    return scope.open != nullptr && hasEnded(scope.open, scope.number);
}

const Document* WalkCore::nextDocument(detail::WalkScope& scope) {
    const Document* const last = scope.last;
    if (last != nullptr && !hasEnded(last, scope.lastNumber)) skipTo(last->level);
    while (!hasEnded(scope)) {
        const Step* const found = next({Want::kDocuments, VELLIX_DOC_NONE});
        if (found == nullptr) break;
        if (found->stepKind == StepKind::documentEnd || found->document == nullptr) continue;
        const VELLIX_DOC_TYPE type = found->document->documentType;
        if (type == VELLIX_DOC_NONE || (scope.type != VELLIX_DOC_NONE && type != scope.type)) continue;
        scope.last = found->document;
        scope.lastNumber = found->document->number;
        return found->document;
    }
    return nullptr;
}

VellixEntry* WalkCore::nextEntry(const detail::WalkScope& scope) {
    while (!hasEnded(scope)) {
        const Step* const found = next({Want::kEntries, scope.type});
        if (found == nullptr) break;
        if (found->stepKind == StepKind::entry && (scope.type == VELLIX_DOC_NONE || found->stepType == scope.type))
            return &entry;
    }
    return nullptr;
}

} // namespace vellix
