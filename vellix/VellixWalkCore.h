// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_WALK_CORE_H
#define VELLIX_WALK_CORE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "vellix/VellixScanner.h"
#include "vellix/VellixText.h"
#include "vellix/VellixWalk.h"
#include "vellix/VellixWalkSource.h"

// The steps of a walk. Internal, not installed.
namespace vellix {

/// Names are the same whatever the case of their letters.
inline bool sameWord(std::string_view left, std::string_view right) {
    return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(),
                                                     [](char a, char b) { return lowerCase(a) == lowerCase(b); });
}

class WalkCore {
public:
    /// What a call is after. The tags of all else are only looked at as far as the walk needs it to find the next.
    struct Want {
        enum What { kSteps, kDocuments, kEntries, kNothing } what;
        VELLIX_DOC_TYPE type; ///< of the entries; VELLIX_DOC_NONE for any
    };

    /// A walk over the whole of a source.
    explicit WalkCore(WalkSource from);

    /// A walk over a part of another one's source.
    WalkCore(const WalkCore& whole, std::uint64_t begin, std::uint64_t end, VELLIX_DOC_TYPE entriesOf);

    ~WalkCore() = default;
    WalkCore(const WalkCore&) = delete;
    WalkCore& operator=(const WalkCore&) = delete;

    const Step* next(Want want);
    void skip();

    const Step* nextStep() { return next({Want::kSteps, VELLIX_DOC_NONE}); }
    const Document* nextDocument(detail::WalkScope& scope);
    VellixEntry* nextEntry(const detail::WalkScope& scope);

    const WalkSource& bytes() const { return source; }
    bool isComplete() const { return complete; }
    const std::string& sessionId() const { return session; }
    std::uint64_t unreadableTags() const { return unreadable; }

    const Document& level(std::size_t depth) const { return *levels[depth]; }
    const VellixEntry& lastEntry() const { return entry; }
    std::string_view lastName() const { return stepName; }

private:
    enum class TagEnd { open, closed, none }; // ">", "/>"; the next "<", a NUL or the end of the text

    struct Tag {
        VellixTokenKind mark = VELLIX_TOKEN_OPEN; // "<", "</" or "<?"
        std::uint64_t offset = 0;
        std::uint64_t behind = 0;
        std::string_view name;                  // in the window
        VELLIX_DOC_TYPE type = VELLIX_DOC_NONE; // whose attributes it has
        bool namedAsEntry = false;              // of the innermost document
        TagEnd end = TagEnd::none;
        TagError error = TagError::none;
    };

    // A tag under way.
    struct Scan {
        XmlStr& cursor;
        QuoteSearch* quotes;
        bool& metEnd; // the end of the bytes that are known had a part in it

        VellixToken next() {
            bool tokenMetEnd = false;
            const VellixToken token = scanToken(cursor, quotes, tokenMetEnd);
            metEnd = metEnd || tokenMetEnd;
            return token;
        }

        void stepBack(const VellixToken& token) {
            if (token.start != nullptr) cursor.position = static_cast<unsigned long>(token.start - cursor.buffer);
        }

        bool atEnd() const { return cursor.position >= cursor.length; }
    };

    // Tags, in VellixWalkTag.cpp.
    bool findTag(std::uint64_t from, std::uint64_t last, std::uint64_t& at);
    bool isWanted(Want want) const;
    XmlStr cursorAt(std::uint64_t at, std::uint64_t end) const;
    QuoteSearch& quoteSearch();
    bool beginsEntry(const char* at, const char* end) const;
    bool takePlainEntry(std::uint64_t at, Want want);
    bool canPass(std::uint64_t at, Want want);
    bool readTag(std::uint64_t at, Want want);
    bool readWindow(std::uint64_t at, Want want);
    void rescan(std::uint64_t end, Want want);
    bool scanUpTo(std::uint64_t end, std::uint64_t at, QuoteSearch* search, Want want);
    void endStretch(Want want);
    bool growFor(std::uint64_t at);
    void scanTag(Scan scan, Want want);
    void classify();
    bool isParsed(Want want) const;
    void parse(Scan scan);
    void findTagEnd(Scan scan, VellixToken token);
    void readRoot();
    void locate(std::uint64_t begin);
    bool locateFromBehind(std::uint64_t begin, std::uint64_t& at);

    // Steps, in VellixWalkCore.cpp.
    bool takeTag(Want want);
    bool takeOpenTag(Want want);
    bool takeEntry(Want want);
    bool takeDocument(Want want);
    bool takeUnknown(Want want);
    bool takeTooDeep(Want want);
    void takeCloseTag();
    bool isDocument() const;
    void push(Want want, bool isUnknown);
    void dropTo(std::size_t depth);
    void findHolder();
    bool showEnd();
    bool showEntry(std::uint64_t at);
    bool show(StepKind kind, const Document* document);
    void skipTo(std::size_t depth);
    bool hasEnded(const Document* document, std::uint64_t number) const;
    bool hasEnded(const detail::WalkScope& scope) const;

    WalkSource source;
    QuoteSearch quotes; // in the window
    std::uint64_t quotesFor = 0;
    std::uint64_t position = 0;
    std::uint64_t before = std::numeric_limits<std::uint64_t>::max(); // no tag from there on
    std::uint64_t anchor = std::numeric_limits<std::uint64_t>::max(); // the window goes on to hold this byte
    std::uint64_t lastCertain = 0;    // the last tag that is one whatever stands in front
    std::uint64_t patience = kWindow; // see growFor
    bool finished = false;

    Tag tag;
    VellixEntry entry;    // what was read of it
    std::string stepName; // of a step that isn't read into an entry or a document

    // The first `open` ones are open, of which those from `keep` on have ended and wait to be told.
    std::vector<std::unique_ptr<Document>> levels;
    std::size_t open = 0;
    std::size_t keep = 0;
    std::size_t unknownOpen = 0;
    std::uint64_t heldBytes = 0; // of the tags of those
    std::uint64_t documents = 0; // counts them
    std::uint64_t endOffset = 0; // where the ends were noticed
    std::uint64_t deep[VELLIX_DOC_ENTRY_CONSTR_AND + 1] =
        {};                                   // documents of each type that are open below the deepest level
    std::uint64_t deepest = 0;                // their number
    VELLIX_DOC_TYPE base = VELLIX_DOC_NONE;   // whose entries stand outside of all documents
    VELLIX_DOC_TYPE holder = VELLIX_DOC_NONE; // whose entries stand here
    std::string_view entryName;               // the name of those
    bool entriesAsDocuments = false;          // which is also that of the document

    Step step;
    bool hasStep = false;
    bool skipping = false; // a skip to the end of the level at this depth isn't done
    std::size_t skipDepth = 0;
    bool endShown = false; // the step is the end of the innermost level

    bool complete = false;
    std::string session;
    std::uint64_t unreadable = 0;
};

} // namespace vellix

#endif
