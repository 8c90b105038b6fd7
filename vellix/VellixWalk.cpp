// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixWalk.h"

#include <utility>

#include "vellix/VellixWalkCore.h"

namespace vellix {

namespace {

detail::WalkScope scopeOf(WalkCore* walk, const Document* open, std::uint64_t number, VELLIX_DOC_TYPE type) {
    return {walk, open, number, type, nullptr, 0};
}

WalkSource sourceOf(const std::filesystem::path& file) {
    WalkError error;
    WalkSource source(openFile(file, error));
    source.fail(error);
    return source;
}

std::string_view nameOf(const VellixEntry& tag) {
    const char* const name = tag.getEntryName();
    return name != nullptr ? name : "";
}

} // namespace

// --- Errors ---

const char* tagErrorText(TagError error) {
    switch (error) {
    case TagError::none:
        return "";
    case TagError::badToken:
        return "something stands in the tag where it may not";
    case TagError::badReference:
        return "a reference in a value is not known";
    case TagError::cut:
        return "the text ends inside the tag";
    case TagError::tooLong:
        return "the tag is longer than 16 MiB";
    case TagError::tooDeep:
        return "too many documents are open around the tag";
    }
    return "";
}

std::string WalkError::message() const {
    const auto at = " at byte " + std::to_string(offset);
    const std::string reason = system ? ": " + system.message() : std::string();
    switch (status) {
    case WalkStatus::good:
        return "";
    case WalkStatus::notOpened:
        return "the file can't be opened" + reason;
    case WalkStatus::notRead:
        return "reading failed" + at + reason;
    case WalkStatus::shortened:
        return "the file was shortened while it was read and ends" + at;
    case WalkStatus::noParts:
        return "a stream has no parts";
    }
    return "";
}

// --- Documents ---

Document::Document(WalkCore& owner) : walk(owner) {}

Document::~Document() = default;

VELLIX_DOC_TYPE Document::type() const { return documentType; }

std::string_view Document::name() const {
    return documentType == VELLIX_DOC_NONE ? std::string_view(element) : nameOf(tag);
}

std::size_t Document::depth() const { return level; }

std::uint64_t Document::offset() const { return place; }

TagError Document::error() const { return tagError; }

const VellixEntry& Document::attributes() const { return tag; }

DocumentRange Document::documents(VELLIX_DOC_TYPE type) const {
    return DocumentRange(scopeOf(&walk, this, number, type));
}

EntryRange Document::entries(VELLIX_DOC_TYPE type) const { return EntryRange(scopeOf(&walk, this, number, type)); }

// --- Steps ---

StepKind Step::kind() const { return stepKind; }

VELLIX_DOC_TYPE Step::type() const { return stepType; }

std::string_view Step::name() const {
    if (document != nullptr) return document->name();
    const bool isRead = stepType != VELLIX_DOC_NONE && tagError == TagError::none;
    return isRead ? nameOf(walk.lastEntry()) : walk.lastName();
}

std::size_t Step::depth() const { return level; }

std::uint64_t Step::offset() const { return place; }

TagError Step::error() const { return tagError; }

const VellixEntry& Step::attributes() const { return document != nullptr ? document->attributes() : walk.lastEntry(); }

const Document& Step::around(std::size_t atDepth) const { return walk.level(atDepth); }

const Document* Step::within(VELLIX_DOC_TYPE type) const {
    for (std::size_t depth = level; depth > 0; --depth) {
        if (walk.level(depth - 1).type() == type) return &walk.level(depth - 1);
    }
    return nullptr;
}

// --- Ranges ---

namespace detail {

const Step* nextIn(WalkScope& scope, const Step* /*current*/) { return scope.walk->nextStep(); }

const Document* nextIn(WalkScope& scope, const Document* /*current*/) { return scope.walk->nextDocument(scope); }

VellixEntry* nextIn(WalkScope& scope, VellixEntry* /*current*/) { return scope.walk->nextEntry(scope); }

} // namespace detail

// --- Walks ---

Walk::Walk(std::unique_ptr<WalkCore> ready) : core(std::move(ready)) {}

Walk::Walk(const std::filesystem::path& file) : core(std::make_unique<WalkCore>(sourceOf(file))) {}

Walk Walk::overText(std::string_view text) { return Walk(std::make_unique<WalkCore>(WalkSource(text))); }

Walk Walk::overPieces(ReadBytes read) { return Walk(std::make_unique<WalkCore>(WalkSource(callFor(std::move(read))))); }

Walk::~Walk() = default;
Walk::Walk(Walk&& other) noexcept = default;
Walk& Walk::operator=(Walk&& other) noexcept = default;

Walk Walk::part(std::uint64_t begin, std::uint64_t end, VELLIX_DOC_TYPE entriesOf) const {
    return Walk(std::make_unique<WalkCore>(*core, begin, end, entriesOf));
}

std::uint64_t Walk::size() const { return core->bytes().size(); }

bool Walk::isComplete() const { return core->isComplete(); }

const std::string& Walk::sessionId() const { return core->sessionId(); }

Walk::operator bool() const { return core->bytes().error().status == WalkStatus::good; }

const WalkError& Walk::error() const { return core->bytes().error(); }

const Step* Walk::next() { return core->nextStep(); }

void Walk::skip() { core->skip(); }

WalkRange<const Step>::iterator Walk::begin() {
    return WalkRange<const Step>(scopeOf(core.get(), nullptr, 0, VELLIX_DOC_NONE)).begin();
}

WalkRange<const Step>::iterator Walk::end() { return {}; }

DocumentRange Walk::documents(VELLIX_DOC_TYPE type) & { return DocumentRange(scopeOf(core.get(), nullptr, 0, type)); }

EntryRange Walk::entries(VELLIX_DOC_TYPE type) & { return EntryRange(scopeOf(core.get(), nullptr, 0, type)); }

std::uint64_t Walk::unreadableTags() const { return core->unreadableTags(); }

} // namespace vellix
