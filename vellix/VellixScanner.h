// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_SCANNER_H
#define VELLIX_SCANNER_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "vellix/VellixUtils.h"

// The tokens of a tag, for what reads many tags of one text. Internal, not installed.

// Looks for the quotes that end strings, and keeps the cost of all searches in one text linear.
//
// A search ends at a "<" too, so usually no two of them go over the same bytes. But bytes that begin a UTF-8 unit without
// its continuation hide what stands behind them from a walk by units, and a text can be made in which every tag is hidden
// from the search in the tag before it. Then each of them would run to the end of the text. So once many bytes were
// searched in vain, notes are taken: how searches end that come by a place. Places are noted where a unit begins next to
// the start of a block. A unit has four bytes at most, so a block has four of them.
//
// A search that meets the end of the text is open: where the text goes on elsewhere, so may the search. What it needs for
// that is its state, the quote and how many bytes of its last unit stand behind the end.
class QuoteSearch {
public:
    enum Outcome : unsigned char {
        kUnknown,
        kFound,
        kStopped,    ///< by a "<" or a NUL
        kMetEnd = 4, ///< and up to 7, with the number of bytes that the last unit lacks
    };

    static constexpr unsigned int kStates = 8; ///< the states of open searches are below this

    /// Forgets what is known, for another text. `vain` has a bit for each state in which a search can't find its quote
    /// behind the end of the text either: it stops there.
    void startOver(unsigned int vain = 0) {
        inVain = 0;
        notes.reset();
        vainStates = vain;
        forgetOpen();
    }

    /// True from when notes are taken.
    bool takesNotes() const { return notes != nullptr; }

    /// Searches from `at`, where a unit begins, and moves `at`: to the quote if it was found.
    Outcome find(const char* text, std::size_t length, std::size_t& at, char quote);

    /// Returns the state of the first search that was left open since `forgetOpen`, kStates if there was none.
    unsigned int openState() const { return firstOpen; }
    void forgetOpen() { firstOpen = kStates; }

    /// Goes on with an open search in the text behind it, and tells its new state, or where behind the quote stands.
    static Outcome goOn(const char* text, std::size_t length, unsigned int& state, std::size_t& behind);

private:
    Outcome findAnywhere(const char* text, std::size_t length, std::size_t& at, char quote);
    void takeNotes(const char* text, std::size_t length);
    Outcome findWithNotes(const char* text, std::size_t length, std::size_t& at, char quote);

    std::size_t inVain = 0; // bytes searched without success
    const char* notedText = nullptr;
    std::size_t notedLength = 0;
    std::unique_ptr<std::uint32_t[]> notes; // for each block three bits for each quote and place
    unsigned int vainStates = 0;
    unsigned int firstOpen = kStates;
};

/// As xmlNextToken. `metEnd` tells whether the end of the text had a part in what the token is, so that it might be
/// another one if the text went on. `search` may be null; otherwise it is to be used for this text alone.
VellixToken scanToken(XmlStr& text, QuoteSearch* search, bool& metEnd);

#endif
