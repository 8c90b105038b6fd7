// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_WALK_H
#define VELLIX_WALK_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "vellix/VellixEntry.h"

// A walk through a whole catalog: every tag of a file, of a text or of a stream, in order, in constant memory.
//     vellix::Walk walk("catalog.xml");
//     if (!walk) return fail(walk.error().message());
//     for (const vellix::Document& image : walk.documents(VELLIX_DOC_DOC))
//         for (const VellixEntry& file : image.entries(VELLIX_DOC_FH))
//             std::printf("%s %s\n", image.attributes().getAttributeStr(1).c_str(), file.getAttributeStr(6).c_str());
//     if (!walk) return fail(walk.error().message());       // it could not be read to its end
//
// Pages play no part here, and any bytes may be read. This is how they are taken:
// - A tag begins at a "<", and at the next one it is over at the latest. Only a "<" that belongs to a character of several
//   bytes (by the lead byte in front of it) stands for itself, inside a name or a value. Comments and CDATA are not known:
//   a tag inside them is a tag. Where each "<" of 64 MiB might belong to such a character, the next one begins a tag.
// - What holds what is judged by tags. "/>" ends a document at once, a close tag ends all that is open inside its own, and
//   a document whose close tag is missing ends with the one around it, or with the file. Other close tags are passed over.
// - A tag is an entry if it has the name that the innermost document gives to entries (docs/attributes.md), and then it has
//   that document's type. Entries hold nothing. In a document that gives them its own name, such as CatImage, a tag of that
//   name is an entry if it ends in "/>", and a document otherwise.
// - Any other tag is a document of the type that has its name, or an unknown element.
// - A tag that can't be read is a step of its own. A document is open behind its tag all the same.
//
// Memory: less than half a megabyte. A longer tag is held whole, which takes up to 70 MB for one of 16 MiB. The documents
// that are open are kept with their tags, up to 64 at once and 32 MiB. What is deeper is a step that can't be read, and a close
// tag there ends one of its own name alone.
// The cost is in proportion to the bytes, whatever they are.
//
// A walk belongs to one thread at a time, with its steps, documents and entries. Parts are walks of their own.
// Where memory runs out std::bad_alloc leaves the call; the call can be made again. While a file is opened it can also be
// told as the reason why that failed.
namespace vellix {

class Document;
class WalkCore;

/// What a step of a walk is.
enum class StepKind {
    documentBegin, ///< the tag of a document
    entry,         ///< an entry
    documentEnd,   ///< the end of a document, told by its close tag or without one
    unknown,       ///< the tag of an element that the schema doesn't know; there is no step for its end
    unreadable     ///< a tag that can't be read, see Step::error
};

/// Why a tag can't be read.
enum class TagError {
    none,
    badToken,     ///< something stands where it may not: a "<", a NUL, a value without a name, a name without a value
    badReference, ///< a "&" in a value that begins no known reference
    cut,          ///< the file or text ends inside the tag; its last value may be cut too
    tooLong,      ///< it is longer than 16 MiB; its attributes are those of the first 16 MiB
    tooDeep       ///< too many documents are open around it, or their tags are too long together; no attribute was read
};

/// Returns a sentence for it, such as "a reference in a value is not known".
VELLIX_API const char* tagErrorText(TagError error);

/// How far a file or stream could be read.
enum class WalkStatus {
    good,      ///< up to where the walk stands
    notOpened, ///< the file can't be opened: it isn't there, isn't a regular file, or is closed to this process
    notRead,   ///< the system, or the caller's function, refused the bytes at `offset`
    shortened, ///< the file ended at `offset`, before the size that it had when it was opened
    noParts    ///< a part was asked of a stream
};

/// What keeps a walk from the end of its file.
struct VELLIX_API WalkError {
    WalkStatus status = WalkStatus::good;
    std::error_code system;   ///< the system's reason, where it gave one
    std::uint64_t offset = 0; ///< the first byte that could not be had

    /// Returns one line in English for people, empty for WalkStatus::good.
    std::string message() const;
};

/// Fills up to `room` bytes at `out` and returns how many: 0 at the end, and after setting `error` for a failure. `room` is
/// never 0. What it throws leaves the call of the walk that needed the bytes.
using ReadBytes = std::function<std::size_t(char* out, std::size_t room, std::error_code& error)>;

class Step;

// The steps behind the ranges. Not for callers.
namespace detail {

// What a range looks through.
struct WalkScope {
    WalkCore* walk;
    const Document* open; // the document; null for the whole walk
    std::uint64_t number; // of that document, since the object serves for others later
    VELLIX_DOC_TYPE type; // VELLIX_DOC_NONE: any
    const Document* last; // the document that was handed out last, and its number
    std::uint64_t lastNumber;
};

VELLIX_API const Step* nextIn(WalkScope& scope, const Step* current);
VELLIX_API const Document* nextIn(WalkScope& scope, const Document* current);
VELLIX_API VellixEntry* nextIn(WalkScope& scope, VellixEntry* current);

} // namespace detail

// Items of a walk for a range-for. A walk has one position: a range goes on from where the walk stands, once, and an item
// lives until the range goes on.
template <class Item> class WalkRange {
public:
    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Item;
        using difference_type = std::ptrdiff_t;
        using pointer = Item*;
        using reference = Item&;

        iterator() = default;
        explicit iterator(const detail::WalkScope& within)
            : scope(within), item(detail::nextIn(scope, static_cast<Item*>(nullptr))) {}
        Item& operator*() const { return *item; }
        Item* operator->() const { return item; }
        iterator& operator++() {
            item = detail::nextIn(scope, item);
            return *this;
        }
        void operator++(int) { ++*this; }
        friend bool operator==(const iterator& left, const iterator& right) { return left.item == right.item; }
        friend bool operator!=(const iterator& left, const iterator& right) { return left.item != right.item; }

    private:
        detail::WalkScope scope = {};
        Item* item = nullptr;
    };

    explicit WalkRange(const detail::WalkScope& within) : scope(within) {}
    iterator begin() const { return iterator(scope); }
    iterator end() const { return iterator(); }

private:
    detail::WalkScope scope;
};

/// The documents of one type. Going on passes over what is left of the last one, so a loop over its contents may be left at
/// any time. A document inside one that was handed out is not handed out as well: ask the outer one for it. One whose tag
/// can't be read counts too, see Document::error.
using DocumentRange = WalkRange<const Document>;

/// The entries of one type that can be read. The entry is the walk's own and serves for the next one too; its values may
/// be taken or changed.
using EntryRange = WalkRange<VellixEntry>;

// A document, or an unknown element, that is open at the step where the walk stands. It lives until the walk goes on behind
// its end.
class VELLIX_API Document {
public:
    /// VELLIX_DOC_NONE for an unknown element.
    VELLIX_DOC_TYPE type() const;

    /// The name of the element as it stands in the tag.
    std::string_view name() const;

    /// How many documents and unknown elements are open around it.
    std::size_t depth() const;

    /// The byte where its tag begins.
    std::uint64_t offset() const;

    /// Why its tag can't be read; then `attributes` are those that were. TagError::none for a good one.
    TagError error() const;

    /// The attributes of its tag; none for an unknown element.
    const VellixEntry& attributes() const;

    /// The documents and entries of `type`, or of any, that it holds at any depth.
    ///     image.entries(VELLIX_DOC_FH)            // those of all CatFH in the image
    DocumentRange documents(VELLIX_DOC_TYPE type = VELLIX_DOC_NONE) const;
    EntryRange entries(VELLIX_DOC_TYPE type = VELLIX_DOC_NONE) const;

    ~Document();
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

private:
    friend class WalkCore;
    explicit Document(WalkCore& owner);

    WalkCore& walk;
    std::uint64_t number = 0; // counts the documents of the walk
    VELLIX_DOC_TYPE documentType = VELLIX_DOC_NONE;
    std::string element;
    std::size_t level = 0;
    std::uint64_t place = 0;
    std::uint64_t tagLength = 0;
    TagError tagError = TagError::none;
    VellixEntry tag;
};

// The step where a walk stands.
class VELLIX_API Step {
public:
    StepKind kind() const;

    /// The type of the document or entry. VELLIX_DOC_NONE for an unknown element, and for a tag that has no name that is
    /// known at this place.
    VELLIX_DOC_TYPE type() const;

    /// The name of the element as it stands in the tag. It lives until the walk goes on.
    std::string_view name() const;

    /// How many documents and unknown elements are open around it. The begin and the end of a document have the same depth.
    std::size_t depth() const;

    /// The byte where the tag begins. For the end of a document the tag that told it, its own if that ends in "/>", and the
    /// place behind the last byte at the end of the file.
    std::uint64_t offset() const;

    /// Why the tag can't be read. TagError::none for every other step.
    TagError error() const;

    /// The attributes of the tag, at the end of a document those of its tag; of a tag that can't be read those that were.
    const VellixEntry& attributes() const;

    /// The document or unknown element at a depth, 0 for the outermost, which must be less than `depth()`.
    const Document& around(std::size_t atDepth) const;

    /// The innermost document of `type` around it, null if there is none.
    const Document* within(VELLIX_DOC_TYPE type) const;

    ~Step() = default;
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

private:
    friend class WalkCore;
    explicit Step(const WalkCore& owner) : walk(owner) {}

    const WalkCore& walk;
    StepKind stepKind = StepKind::documentEnd;
    VELLIX_DOC_TYPE stepType = VELLIX_DOC_NONE;
    std::size_t level = 0;
    std::uint64_t place = 0;
    TagError tagError = TagError::none;
    const Document* document = nullptr; // of a document's step and of an element that holds what follows
};

// The walk. It can be moved, not copied; steps and documents stay good. One that was moved from may only be assigned to or
// destroyed.
class VELLIX_API Walk {
public:
    /// Opens a regular file and reads as far as its root. A file that grows is read up to its first size. Where it can't be
    /// opened the walk is false and has no steps.
    explicit Walk(const std::filesystem::path& file);

    /// A walk over a text in memory, which must outlive it.
    static Walk overText(std::string_view text);

    /// A walk over bytes that come in pieces, as from a pipe. Asks for more only when they are needed for the next step,
    /// and reads as far as the root at once.
    static Walk overPieces(ReadBytes read);

    ~Walk();
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    Walk(Walk&& other) noexcept;
    Walk& operator=(Walk&& other) noexcept;

    /// Returns a walk of its own over the tags whose "<" stands in the bytes from `begin` to before `end`; the last one is
    /// read to its end. The parts of any cutting give the entries of the whole, each once.
    /// A part knows nothing of the documents that were opened in front of it. It takes entries for those of a document of
    /// type `entriesOf` until a close tag of a document that it didn't see opened, and where no other document is open. The
    /// documents that are open at its end, end.
    /// Any thread may call this, also while this walk goes on, and the parts may be walked at the same time. They share the
    /// open file and don't need this walk any longer.
    ///     walk.part(0, walk.size())                    // the whole from its start, wherever this one stands
    Walk part(std::uint64_t begin, std::uint64_t end, VELLIX_DOC_TYPE entriesOf = VELLIX_DOC_NONE) const;

    /// The bytes of the file when it was opened, or of the text; 0 for a stream.
    std::uint64_t size() const;

    /// Whether the root says that the file was finished (attribute IC), and its session id (ID), empty without one. Known
    /// from the start. The root is the first document of the file, if it is a CatResults or CatDoc that begins in the first
    /// 64 KB.
    bool isComplete() const;
    const std::string& sessionId() const;

    /// True as long as nothing keeps the walk from the end. The steps in front of a failure are handed out all the same.
    explicit operator bool() const;
    const WalkError& error() const;

    /// Goes on to the next step. Null at the end, or where the file can't be read on: then the walk is false.
    const Step* next();

    /// Passes over contents, as fast as "<" can be found. At the begin of a document, or at an unknown element, that is all
    /// it holds; at an entry, or at the end of a document, the rest of the document around it. The next step is then the
    /// end of that document, or what follows the unknown element. A document's tag that can't be read is its begin too.
    /// Where std::bad_alloc leaves it, the next call goes on with it first.
    void skip();

    /// All steps, for a range-for.
    WalkRange<const Step>::iterator begin();
    WalkRange<const Step>::iterator end();

    /// The documents and entries of `type`, or of any, that follow, at any depth. The walk must outlive them.
    DocumentRange documents(VELLIX_DOC_TYPE type = VELLIX_DOC_NONE) &;
    DocumentRange documents(VELLIX_DOC_TYPE type = VELLIX_DOC_NONE) && = delete;
    EntryRange entries(VELLIX_DOC_TYPE type = VELLIX_DOC_NONE) &;
    EntryRange entries(VELLIX_DOC_TYPE type = VELLIX_DOC_NONE) && = delete;

    /// How many tags could not be read so far. Contents that were passed over, and entries of types that nobody asked for,
    /// were not tried.
    std::uint64_t unreadableTags() const;

private:
    explicit Walk(std::unique_ptr<WalkCore> ready);

    std::unique_ptr<WalkCore> core;
};

} // namespace vellix

#endif
