// SPDX-License-Identifier: Apache-2.0
// The store that takes values: where their texts stand, and what becomes of the memory.
#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "vellix/VellixStore.h"

namespace {

// What is longer may be too long in escaped form.
constexpr std::size_t kSurelyStored = kLongestText / 6;

// Copies a text with a NUL behind it and returns the length of its escaped form.
std::size_t copyTo(char* place, const char* text, std::size_t length, bool plain) {
    std::uint64_t escaped = length;
    if (plain) {
        copyBytes(place, text, length);
    } else {
        escaped = copyAndMeasure(place, text, length);
    }
    place[length] = '\0';
    return static_cast<std::size_t>(std::min<std::uint64_t>(escaped, SIZE_MAX));
}

} // namespace

void* OpenStore::allocate(std::size_t roomSize) { return ::operator new(sizeof(OpenStore) + roomSize, std::nothrow); }

OpenStore* OpenStore::make(void* memory, std::size_t roomSize) {
    return memory != nullptr ? new (memory) OpenStore(roomSize) : nullptr;
}

// A place means nothing before its slot is present, and 78 of them cost time.
// cppcheck-suppress uninitMemberVarPrivate
OpenStore::OpenStore(std::size_t roomSize) // NOLINT(cppcoreguidelines-pro-type-member-init)
    : VellixStore(kOpen, places), next(room()), end(room() + roomSize) {}

// Goes on for a packed store, whose texts stay where they are.
void OpenStore::takeOver(VellixStore& other) {
    takeCounts(other);
    other.visitAll([this](unsigned int slot, const StoredText& text) {
        places[slot] = text;
        return true;
    });
    std::swap(strings, other.strings);
    originTexts = presentSlots + (has(kNameSlot) ? 1U : 0U);
    if (originTexts != 0) {
        origin = &other;
    } else {
        release(&other);
    }
}

// Returns a store with the room that `bytes` and the content of lately make it have: this one, or a new and empty one. Null if
// there is no memory for that.
OpenStore* OpenStore::fitting(std::size_t bytes) {
    recentLength = std::max(contentLength(), recentLength - recentLength / 16);
    const std::uint64_t content = std::max<std::uint64_t>(recentLength, bytes);
    const std::size_t bytesHere = roomSize();
    const bool isEnough = std::min<std::uint64_t>(content, kMostRoom) <= bytesHere;
    if (isEnough && (bytesHere <= kFirstSize || bytesHere / (2 * kMostWaste) <= content)) return this;
    constexpr std::uint64_t kLeastRoom = kFirstSize - sizeof(OpenStore);
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(std::max(2 * content, kLeastRoom), kMostRoom));
    OpenStore* const other = make(allocate(wanted), wanted);
    if (other == nullptr) return nullptr;
    other->order = order;
    other->recentLength = recentLength;
    return other;
}

// The bytes of all texts in escaped form, each with a NUL.
std::uint64_t OpenStore::contentLength() const {
    return escapedTotal + presentSlots + (has(kNameSlot) ? places[kNameSlot].length + std::uint64_t{1} : 0);
}

// Makes every slot absent. The room stays.
void OpenStore::startOver() { // NOLINT(misc-no-recursion): as for release
    if ((own[0] | own[1]) != 0) {
        eachBit(own, [this](unsigned int slot) {
            spares.give(TextBlock::of(slots[slot].text));
            return true;
        });
        std::fill_n(own, 2, 0);
    }
    spares.pass(kChangesOfAClear);
    std::fill_n(present, 2, 0);
    escapedTotal = 0;
    presentSlots = 0;
    next = room();
    if (origin != nullptr) release(std::exchange(origin, nullptr));
    if (strings != nullptr) strings->forgetAll();
}

void OpenStore::copyTexts(const VellixStore& other) {
    other.visitAll([this](unsigned int slot, const StoredText& text) {
        copyBytes(next, text.text, text.length + std::size_t{1});
        take(slot, text.length, text.escaped);
        return true;
    });
}

// The same where they don't fit into the room, and in place of what this store holds. That stays where memory runs out.
void OpenStore::copyToBlocks(const VellixStore& other) {
    TextBlock* blocks[kNameSlot + 1];
    std::uint64_t taken[2] = {};
    bool isEnough = true;
    other.visitAll([&](unsigned int slot, const StoredText& text) {
        blocks[slot] = takeBlock(text.length);
        isEnough = blocks[slot] != nullptr;
        if (isEnough) taken[slot / 64] |= bitOf(slot);
        return isEnough;
    });
    if (!isEnough) {
        eachBit(taken, [&](unsigned int slot) {
            spares.give(blocks[slot]);
            return true;
        });
        throw std::bad_alloc();
    }
    startOver();
    other.visitAll([&](unsigned int slot, const StoredText& text) {
        char* const place = blocks[slot]->text();
        copyBytes(place, text.text, text.length + std::size_t{1});
        settleElsewhere(slot, place, text.length, text.escaped);
        return true;
    });
}

// Returns null if there is no memory for it.
TextBlock* OpenStore::takeBlock(std::size_t length) {
    TextBlock* const block = spares.take(length);
    return block != nullptr ? block : TextBlock::tryMake(length);
}

bool OpenStore::standsInRoom(const char* text) const { return standsIn(text, room(), end); }

// True if a text can replace that of a present slot where it stands.
bool OpenStore::fitsInPlace(unsigned int slot, std::size_t length) const {
    if (length > kSurelyStored) return false;
    if (ownsBlock(slot)) return suits(TextBlock::of(slots[slot].text)->capacity(), length);
    return origin == nullptr ? length <= slots[slot].length : suits(slots[slot].length, length);
}

// Returns where a text may be written that is no part of the entry yet: in the room, or in a block, which the caller owns.
// Null if there is no memory for that.
char* OpenStore::elsewhere(std::size_t length) {
    if (fitsInRoom(length)) return next;
    TextBlock* const block = takeBlock(length);
    return block != nullptr ? block->text() : nullptr;
}

void OpenStore::abandon(char* place) {
    if (place != next) spares.give(TextBlock::of(place));
}

// Returns a place for a text that takes fewer bytes of its place than were expected, perhaps another one.
char* OpenStore::tightened(char* place, std::size_t length) {
    if (place == next || suits(TextBlock::of(place)->capacity(), length)) return place;
    char* const tight = elsewhere(length);
    if (tight == nullptr) return place;
    copyBytes(tight, place, length + 1);
    abandon(place);
    return tight;
}

// Makes what was written elsewhere the text of a slot.
void OpenStore::settleElsewhere(unsigned int slot, char* place, std::size_t length, std::size_t escaped) {
    if (place == next) {
        take(slot, length, escaped);
        return;
    }
    if (has(slot)) vacate(slot);
    own[slot / 64] |= bitOf(slot);
    settle(slot, place, length, escaped);
}

// Makes a slot absent. The memory of its text remains.
void OpenStore::unsettle(unsigned int slot) {
    present[slot / 64] &= ~bitOf(slot);
    spares.pass(1);
    if (slot == kNameSlot) return;
    --presentSlots;
    escapedTotal -= slots[slot].escaped;
    if (strings != nullptr) strings->forget(slot);
}

// Makes a slot absent.
void OpenStore::vacate(unsigned int slot) {
    unsettle(slot);
    char* const text = slots[slot].text;
    if (ownsBlock(slot)) {
        own[slot / 64] &= ~bitOf(slot);
        spares.give(TextBlock::of(text));
    } else if (origin != nullptr && !standsInRoom(text) && --originTexts == 0) {
        release(std::exchange(origin, nullptr));
    }
}

bool OpenStore::put(unsigned int slot, const char* text, std::size_t length, bool plain) {
    if (has(slot) && fitsInPlace(slot, length)) {
        char* const place = slots[slot].text;
        std::memmove(place, text, length);
        place[length] = '\0';
        unsettle(slot);
        settle(slot, place, length, plain ? length : static_cast<std::size_t>(::escapedLength(place, length)));
        return true;
    }
    if (fitsInRoom(length)) {
        take(slot, length, copyTo(next, text, length, plain));
        return true;
    }
    return length <= kLongestText && putElsewhere(slot, text, length, plain);
}

bool OpenStore::putElsewhere(unsigned int slot, const char* text, std::size_t length, bool plain) {
    char* const place = elsewhere(length);
    if (place == nullptr) throw std::bad_alloc();
    const std::size_t escaped = copyTo(place, text, length, plain);
    if (escaped > kLongestText) {
        abandon(place);
        return false;
    }
    settleElsewhere(slot, place, length, escaped);
    return true;
}

OpenStore::Decoded OpenStore::putDecoded(unsigned int slot, const char* text, std::size_t length, int most) {
    char* const place = elsewhere(length);
    if (place == nullptr) return Decoded::kNoMemory;
    std::size_t plain = ::putDecoded(text, length, place, length);
    if (plain == kBadReference) {
        abandon(place);
        return Decoded::kBad;
    }
    plain = lengthWithin(place, plain);
    if (most >= 0) plain = std::min(plain, static_cast<std::size_t>(most));
    place[plain] = '\0';
    const std::uint64_t escaped = ::escapedLength(place, plain);
    if (escaped > kLongestText) {
        abandon(place);
    } else if (has(slot) && fitsInPlace(slot, plain)) {
        char* const old = slots[slot].text;
        copyBytes(old, place, plain + 1);
        abandon(place);
        unsettle(slot);
        settle(slot, old, plain, static_cast<std::size_t>(escaped));
    } else {
        settleElsewhere(slot, tightened(place, plain), plain, static_cast<std::size_t>(escaped));
    }
    return Decoded::kStored;
}

void OpenStore::escapeAll() {
    eachText([this](unsigned int slot, const StoredText& text) {
        const std::size_t length = text.escaped;
        if (text.length == length) return true; // nothing to escape, or done already
        char* const place = elsewhere(length);
        if (place == nullptr) return true;
        *putEscaped(text.text, text.length, place) = '\0';
        settleElsewhere(slot, place, length, length);
        return true;
    });
}
