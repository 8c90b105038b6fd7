// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_STORE_H
#define VELLIX_STORE_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "vellix/VellixSchema.h"
#include "vellix/VellixSpares.h"
#include "vellix/VellixText.h"
#include "vellix/platform/Bytes.h"

// The values of one entry. Internal, not installed.
//
// A store has one of three forms:
// - The empty one is a constant, which all entries without values share.
// - A packed one is a copy: one allocation with exactly the slots and texts that are present. Most entries that a program
//   keeps are copies.
// - An open one takes values. It has a place for each slot, and room in which texts stand one behind the other. It is used
//   again and again: `clear` starts over at the front of the room.
//
// No text moves while its slot stays as it is, since a getter has handed out its address. So the room never grows while
// texts stand in it: a text that finds no place there gets a block of its own, and `clear` makes the room large enough for
// the next time. A text that replaces another goes to its place if it fits there. Otherwise it takes new room, or a block.
// A block that a text leaves is spare: any text that it suits may take it. So replaced texts take no more memory than the
// room that is there, and blocks for what the entry held at one time lately.

/// A text and what it takes to write it out.
struct StoredText {
    char* text; ///< terminated
    std::uint32_t length;
    std::uint32_t escaped; ///< the length of its escaped form
};

/// The longest text, and the longest escaped form, that a store takes.
constexpr std::size_t kLongestText = INT_MAX;

constexpr std::uint64_t bitOf(unsigned int slot) { return std::uint64_t{1} << (slot % 64); }

/// Calls visit(slot) for each slot that has its bit set, in ascending order, until it answers false.
template <class Visit> void eachBit(const std::uint64_t (&bits)[2], Visit visit) {
    for (unsigned int word = 0; word < 2; ++word) {
        for (std::uint64_t left = bits[word]; left != 0; left &= left - 1) {
            if (!visit(word * 64 + static_cast<unsigned int>(platform::lowestBit(left)))) return;
        }
    }
}

/// True if `at` is one of the bytes from `begin` to `end`. Any pointer may be given.
inline bool standsIn(const char* at, const char* begin, const char* end) {
    return !std::less<>()(at, begin) && std::less<>()(at, end);
}

/// Texts as `std::string`, for who asks for them. A string that is forgotten is spare.
class TextStrings {
public:
    TextStrings() = default;
    TextStrings(const TextStrings&) = delete;
    TextStrings& operator=(const TextStrings&) = delete;
    ~TextStrings() { forgetAll(); }

    /// Returns the text of a slot as a string, which stays until `forget`.
    const std::string& get(unsigned int slot, const StoredText& stored);

    void forget(unsigned int slot);
    void forgetAll();

    /// True if the string of a slot stands at `at`.
    bool hold(const char* at) const;

private:
    std::uint64_t made[2] = {};            // a bit for each slot that has a string
    TextString* strings[kLongestMap] = {}; // owned; of other slots they mean nothing
    Spares<TextString> spares;
};

class OpenStore;

class VellixStore {
public:
    /// The slot behind all attributes holds the name of the entry. It counts nowhere.
    static constexpr unsigned int kNameSlot = kLongestMap;

    /// The store of entries without values. It is never written to.
    static VellixStore* none();

    /// Returns a packed copy, to be given to `release`.
    static VellixStore* copyOf(const VellixStore& other);

    static void release(VellixStore* store) noexcept;

    /// Makes `store` hold what `other`, another one, holds. Where memory runs out it stays as it is.
    static void assign(VellixStore*& store, const VellixStore& other);

    /// Makes every slot absent.
    static void clear(VellixStore*& store) noexcept;

    /// Turns `store` into an open one, which takes values. No text moves.
    static OpenStore& open(VellixStore*& store);

    bool has(unsigned int slot) const { return (present[slot / 64] & bitOf(slot)) != 0; }

    /// Returns what the slot of an attribute holds, or null if it is absent or there is no such slot.
    const StoredText* find(unsigned int slot) const { return slot < kNameSlot && has(slot) ? &stored(slot) : nullptr; }

    /// Returns the name, or null.
    const char* name() const { return has(kNameSlot) ? stored(kNameSlot).text : nullptr; }

    /// The number of present slots, and the sum of their escaped lengths.
    unsigned int count() const { return presentSlots; }
    std::uint64_t escapedLength() const { return escapedTotal; }

    /// Makes the slot of an attribute absent.
    static void drop(VellixStore*& store, unsigned int slot);

    /// Returns the text of a present slot as a string, which stays until the slot changes.
    const std::string& stringOf(unsigned int slot) const;

    bool holdsSameAs(const VellixStore& other) const;

    /// True if `at` is in a text of the entry, or in a string that was made of one. Any pointer may be given.
    bool owns(const char* at) const;

    /// Calls visit(slot, stored) for each present slot in ascending order, until it answers false.
    template <class Visit> void eachText(Visit visit) const {
        visitAll(
            [&visit](unsigned int slot, const StoredText& text) { return slot != kNameSlot && visit(slot, text); });
    }

private:
    friend class OpenStore;

    enum Form : std::uint8_t { kNone, kPacked, kOpen };

    constexpr VellixStore(Form storeForm, StoredText* storeSlots) : slots(storeSlots), form(storeForm) {}

    const StoredText& stored(unsigned int slot) const { return slots[form == kOpen ? slot : numberOf(slot)]; }

    template <class Visit> void visitAll(Visit visit) const {
        const StoredText* next = slots;
        eachBit(present, [&](unsigned int slot) { return visit(slot, form == kOpen ? slots[slot] : *next++); });
    }

    static void makeOpen(VellixStore*& store);
    static void startOver(VellixStore*& store, OpenStore* next);
    unsigned int numberOf(unsigned int slot) const;
    std::size_t packedSize() const;
    void pack(const VellixStore& other);
    void takeCounts(const VellixStore& other);
    void dropPacked(unsigned int slot);

    std::uint64_t present[2] = {}; // a bit for each slot
    std::uint64_t escapedTotal = 0;
    StoredText* slots;                      // of a packed store the present ones alone
    mutable TextStrings* strings = nullptr; // owned
    std::uint32_t size = 0;                 // bytes of a packed store, 0 where that is out of reach
    std::uint16_t presentSlots = 0;
    Form form;
};

/// The order in which attributes come: for each row of `map`, the row that came next the last time.
struct AttributeOrder {
    const VellixMapTag* map = nullptr;
    unsigned char followers[kLongestMap] = {};
};

class OpenStore : public VellixStore {
public:
    /// Kept for who parses into this store, over `clear` too.
    AttributeOrder order;

    /// Stores a text that holds no NUL. It may be part of any text of the entry. `plain` tells that it has nothing to escape.
    /// Any other text is measured only after it was copied: it may stand in a mapped page, and what is written relies on
    /// the length noted here. False if the text or its escaped form is too long, and the slot stays as it was.
    bool put(unsigned int slot, const char* text, std::size_t length, bool plain);

    /// Returns where `length` bytes for a slot that has none can be written before they are taken, or null.
    char* roomFor(unsigned int slot, std::size_t length) { return !has(slot) && fitsInRoom(length) ? next : nullptr; }

    /// Stores the plain form of a text with references, up to its first NUL and cut to `most` bytes unless that is negative.
    enum class Decoded { kStored, kBad, kNoMemory };
    Decoded putDecoded(unsigned int slot, const char* text, std::size_t length, int most);

    /// Replaces every text by its escaped form. One for which memory runs out stays as it was.
    void escapeAll();

    // For who writes a text into the room, from `next` to `roomEnd`, and then has it taken as it stands there.

    char* roomLeft() { return next; }
    const char* roomEnd() const { return end; }
    void take(unsigned int slot, std::size_t length, std::size_t escaped) {
        if (has(slot)) vacate(slot);
        settle(slot, next, length, escaped);
        next += length + 1;
    }

private:
    friend class VellixStore;

    static constexpr std::size_t kFirstSize = 2048; // bytes of a store that was never filled, its fields included
    static constexpr std::size_t kMostRoom = 65536; // what longer contents need besides stands in blocks

    explicit OpenStore(std::size_t roomSize);
    static void* allocate(std::size_t roomSize);
    static OpenStore* make(void* memory, std::size_t roomSize);

    char* room() { return reinterpret_cast<char*>(this + 1); }
    const char* room() const { return reinterpret_cast<const char*>(this + 1); }
    std::size_t roomSize() const { return static_cast<std::size_t>(end - room()); }
    bool fitsInRoom(std::size_t length) const { return length < static_cast<std::size_t>(end - next); }
    bool fitsInPlace(unsigned int slot, std::size_t length) const;
    bool ownsBlock(unsigned int slot) const { return (own[slot / 64] & bitOf(slot)) != 0; }
    void settle(unsigned int slot, char* text, std::size_t length, std::size_t escaped) {
        slots[slot] = {text, static_cast<std::uint32_t>(length), static_cast<std::uint32_t>(escaped)};
        present[slot / 64] |= bitOf(slot);
        if (slot == kNameSlot) return;
        ++presentSlots;
        escapedTotal += escaped;
    }
    bool putElsewhere(unsigned int slot, const char* text, std::size_t length, bool plain);
    char* elsewhere(std::size_t length);
    void abandon(char* place);
    char* tightened(char* place, std::size_t length);
    void settleElsewhere(unsigned int slot, char* place, std::size_t length, std::size_t escaped);
    void unsettle(unsigned int slot);
    void vacate(unsigned int slot);
    bool standsInRoom(const char* text) const;
    std::uint64_t contentLength() const;
    OpenStore* fitting(std::size_t bytes);
    void startOver();
    void takeOver(VellixStore& other);
    void copyTexts(const VellixStore& other);
    void copyToBlocks(const VellixStore& other);
    TextBlock* takeBlock(std::size_t length);

    StoredText places[kNameSlot + 1];
    std::uint64_t own[2] = {}; // a bit for each present slot whose text stands in a block
    char* next;                // where the next text goes
    char* end;
    std::uint64_t recentLength = 0; // the longest content lately
    VellixStore* origin = nullptr;  // the packed store that this one was made of, while texts stand in it
    unsigned int originTexts = 0;   // how many do
    Spares<TextBlock> spares;
};

inline OpenStore& VellixStore::open(VellixStore*& store) {
    if (store->form != kOpen) makeOpen(store);
    return static_cast<OpenStore&>(*store);
}

#endif
