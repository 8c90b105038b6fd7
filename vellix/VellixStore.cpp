// SPDX-License-Identifier: Apache-2.0
// The values of one entry: where their texts stand, and what becomes of the memory.
#include "vellix/VellixStore.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kFirstSize = 2048;  // bytes of an open store that was never filled, its fields included
constexpr std::size_t kMostRoom = 65536;  // larger contents go to blocks, and those go at `clear`
constexpr std::size_t kSmallBlock = 4096; // a block that is kept for the next text, whatever its length
constexpr std::size_t kLeastBlock = 32;
constexpr std::size_t kMostWaste = 4; // how many times more memory than the content needs may be kept

// What is longer may be too long in escaped form.
constexpr std::size_t kSurelyStored = kLongestText / 6;

// The size of a block stands in front of it.
constexpr std::size_t kBlockHead = sizeof(std::size_t);

std::size_t capacityOf(const char* block) {
    std::size_t capacity = 0;
    std::memcpy(&capacity, block - kBlockHead, kBlockHead);
    return capacity;
}

// Returns null if there is no memory for it.
char* tryNewBlock(std::size_t length) {
    const std::size_t spare = length < kMostRoom ? length / 2 : 0;
    const std::size_t capacity = std::max(length + spare, kLeastBlock);
    auto* const memory = static_cast<char*>(::operator new(kBlockHead + capacity + 1, std::nothrow));
    if (memory == nullptr) return nullptr;
    std::memcpy(memory, &capacity, kBlockHead);
    return memory + kBlockHead;
}

void freeBlock(char* block) { ::operator delete(block - kBlockHead); }

char* newBlock(std::size_t length) {
    char* const block = tryNewBlock(length);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

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

// --- Strings ---

const std::string& TextStrings::get(unsigned int slot, const StoredText& stored) {
    const std::uint64_t bit = std::uint64_t{1} << (slot % 64);
    if (slot >= strings.size()) strings.resize(slot + 1);
    if (strings[slot] == nullptr) strings[slot] = std::make_unique<std::string>();
    std::string& string = *strings[slot];
    if ((valid[slot / 64] & bit) == 0) {
        const std::size_t before = string.capacity();
        string.assign(stored.text, stored.length);
        capacity += string.capacity() - before;
        valid[slot / 64] |= bit;
    }
    return string;
}

void TextStrings::forget(unsigned int slot) {
    const std::uint64_t bit = std::uint64_t{1} << (slot % 64);
    if ((valid[slot / 64] & bit) == 0) return;
    valid[slot / 64] &= ~bit;
    if (strings[slot]->capacity() <= kSmallBlock) return;
    capacity -= strings[slot]->capacity();
    strings[slot].reset();
}

void TextStrings::forgetAll() { std::fill_n(valid, 2, 0); }

bool TextStrings::areBulky() const { return capacity > kMostRoom; }

// --- All stores ---

VellixStore* VellixStore::none() {
    static constexpr VellixStore kNoValues(kNone, nullptr);
    return const_cast<VellixStore*>(&kNoValues);
}

unsigned int VellixStore::numberOf(unsigned int slot) const {
    const unsigned int inWord = platform::countBits(present[slot / 64] & (bitOf(slot) - 1));
    return slot < 64 ? inWord : platform::countBits(present[0]) + inWord;
}

std::size_t VellixStore::packedSize() const {
    std::size_t bytes = sizeof(VellixStore);
    visitAll([&bytes](unsigned int, const StoredText& text) {
        bytes += sizeof text + text.length + 1;
        return true;
    });
    return bytes;
}

void VellixStore::takeCounts(const VellixStore& other) {
    std::copy_n(other.present, 2, present);
    escapedTotal = other.escapedTotal;
    presentSlots = other.presentSlots;
}

// Fills a packed store that is large enough.
void VellixStore::pack(const VellixStore& other) {
    takeCounts(other);
    StoredText* copy = slots;
    char* end = reinterpret_cast<char*>(slots + presentSlots + (has(kNameSlot) ? 1 : 0));
    other.visitAll([&](unsigned int, const StoredText& text) {
        *copy = text;
        copy++->text = end;
        end = copyBytes(end, text.text, text.length + std::size_t{1});
        return true;
    });
}

VellixStore* VellixStore::copyOf(const VellixStore& other) {
    if ((other.present[0] | other.present[1]) == 0) return none();
    const std::size_t bytes = other.packedSize();
    void* const memory = ::operator new(bytes);
    auto* const copy = new (memory) VellixStore(kPacked, nullptr);
    copy->slots = reinterpret_cast<StoredText*>(copy + 1);
    copy->size = bytes <= UINT32_MAX ? static_cast<std::uint32_t>(bytes) : 0;
    copy->pack(other);
    return copy;
}

void VellixStore::release(VellixStore* store) noexcept { // NOLINT(misc-no-recursion): an origin has none itself
    if (store->form == kNone) return;
    delete store->strings;
    if (store->form == kOpen) {
        auto& opened = static_cast<OpenStore&>(*store);
        opened.strings = nullptr;
        opened.startOver();
    }
    ::operator delete(store);
}

void VellixStore::assign(VellixStore*& store, const VellixStore& other) {
    const std::size_t bytes = other.packedSize();
    if (store->form == kOpen) {
        auto& opened = static_cast<OpenStore&>(*store);
        if (bytes <= opened.roomSize()) {
            opened.startOver();
            opened.copyTexts(other);
            return;
        }
    } else if (bytes <= store->size && (store->size <= kFirstSize || store->size / kMostWaste <= bytes)) {
        if (store->strings != nullptr) store->strings->forgetAll();
        store->pack(other);
        return;
    }
    VellixStore* const copy = copyOf(other);
    release(store);
    store = copy;
}

void VellixStore::clear(VellixStore*& store) noexcept {
    if (store->form != kOpen) {
        release(store);
        store = none();
        return;
    }
    auto& opened = static_cast<OpenStore&>(*store);
    std::size_t& recent = opened.recentBytes;
    const std::size_t bytes = static_cast<std::size_t>(opened.next - opened.room()) + opened.blockLengths();
    recent = std::max(std::min(bytes, kMostRoom), recent - recent / 16);
    opened.startOver();
    const std::size_t size = opened.roomSize();
    if (recent <= size && (size <= kFirstSize || size / (2 * kMostWaste) <= recent)) return;
    OpenStore* const resized = opened.resized();
    if (resized == nullptr) return; // it goes on with what it has
    release(store);
    store = resized;
}

void VellixStore::makeOpen(VellixStore*& store) {
    OpenStore* const opened =
        OpenStore::make(OpenStore::allocate(kFirstSize - sizeof(OpenStore)), kFirstSize - sizeof(OpenStore));
    if (opened == nullptr) throw std::bad_alloc();
    if (store->form == kPacked) opened->takeOver(*store);
    store = opened;
}

void VellixStore::drop(unsigned int slot) {
    if (!has(slot)) return;
    if (form == kOpen) {
        auto& opened = static_cast<OpenStore&>(*this);
        opened.unsettle(slot);
        if (opened.ownsBlock(slot) && capacityOf(slots[slot].text) > kSmallBlock) opened.dropBlock(slot);
        return;
    }
    StoredText* const dropped = slots + numberOf(slot);
    StoredText* const behindAll = slots + presentSlots + (has(kNameSlot) ? 1 : 0);
    escapedTotal -= dropped->escaped;
    std::copy(dropped + 1, behindAll, dropped);
    present[slot / 64] &= ~bitOf(slot);
    --presentSlots;
    if (strings != nullptr) strings->forget(slot);
}

const std::string& VellixStore::stringOf(unsigned int slot) const {
    if (strings == nullptr) strings = new TextStrings;
    return strings->get(slot, stored(slot));
}

bool VellixStore::holdsSameAs(const VellixStore& other) const {
    if (presentSlots != other.presentSlots) return false;
    bool same = true;
    eachText([&](unsigned int slot, const StoredText& text) {
        const StoredText* const there = other.find(slot);
        same =
            there != nullptr && there->length == text.length && std::memcmp(there->text, text.text, text.length) == 0;
        return same;
    });
    return same;
}

// --- Open stores ---

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
    origin = &other;
}

// Returns an empty store for what this one had to hold lately, or null if there is no memory for it.
OpenStore* OpenStore::resized() const {
    const std::size_t wanted = std::min(std::max(2 * recentBytes, kFirstSize - sizeof(OpenStore)), kMostRoom);
    OpenStore* const resized = make(allocate(wanted), wanted);
    if (resized == nullptr) return nullptr;
    resized->order = order;
    resized->recentBytes = recentBytes;
    return resized;
}

// Makes every slot absent. The room stays.
void OpenStore::startOver() { // NOLINT(misc-no-recursion): as for release
    for (unsigned int slot = 0; (own[0] | own[1]) != 0; ++slot) dropBlock(slot);
    std::fill_n(present, 2, 0);
    escapedTotal = 0;
    presentSlots = 0;
    next = room();
    if (origin != nullptr) release(std::exchange(origin, nullptr));
    if (strings == nullptr) return;
    strings->forgetAll();
    if (strings->areBulky()) delete std::exchange(strings, nullptr);
}

void OpenStore::copyTexts(const VellixStore& other) {
    other.visitAll([this](unsigned int slot, const StoredText& text) {
        copyBytes(next, text.text, text.length + std::size_t{1});
        take(slot, text.length, text.escaped);
        return true;
    });
}

std::size_t OpenStore::blockLengths() const {
    if ((own[0] | own[1]) == 0) return 0;
    std::size_t bytes = 0;
    visitAll([&](unsigned int slot, const StoredText& text) {
        if (ownsBlock(slot)) bytes += text.length + std::size_t{1};
        return true;
    });
    return bytes;
}

// True if a text can replace that of the slot where it stands.
bool OpenStore::fitsInPlace(unsigned int slot, std::size_t length) const {
    if (length > kSurelyStored) return false;
    if (!ownsBlock(slot)) return has(slot) && length <= slots[slot].length;
    const std::size_t capacity = capacityOf(slots[slot].text);
    return length <= capacity && (capacity <= kSmallBlock || capacity / kMostWaste <= length);
}

void OpenStore::dropBlock(unsigned int slot) {
    if (!ownsBlock(slot)) return;
    own[slot / 64] &= ~bitOf(slot);
    freeBlock(slots[slot].text);
}

// Makes a slot absent and keeps its block.
void OpenStore::unsettle(unsigned int slot) {
    if (!has(slot)) return;
    present[slot / 64] &= ~bitOf(slot);
    if (slot == kNameSlot) return;
    --presentSlots;
    escapedTotal -= slots[slot].escaped;
    if (strings != nullptr) strings->forget(slot);
}

void OpenStore::vacate(unsigned int slot) {
    unsettle(slot);
    dropBlock(slot);
}

void OpenStore::settleInBlock(unsigned int slot, char* block, std::size_t length, std::size_t escaped) {
    vacate(slot);
    own[slot / 64] |= bitOf(slot);
    settle(slot, block, length, escaped);
}

bool OpenStore::put(unsigned int slot, const char* text, std::size_t length, bool plain) {
    if (!isVacant(slot) && fitsInPlace(slot, length)) {
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
    return putInBlock(slot, text, length, plain);
}

bool OpenStore::putInBlock(unsigned int slot, const char* text, std::size_t length, bool plain) {
    if (length > kLongestText) return false;
    char* const block = newBlock(length);
    const std::size_t escaped = copyTo(block, text, length, plain);
    if (escaped > kLongestText) {
        freeBlock(block);
        return false;
    }
    settleInBlock(slot, block, length, escaped);
    return true;
}

OpenStore::Decoded OpenStore::putDecoded(unsigned int slot, const char* text, std::size_t length, int most) {
    const bool inRoom = fitsInRoom(length);
    char* const place = inRoom ? next : tryNewBlock(length);
    if (place == nullptr) return Decoded::kNoMemory;
    std::size_t plain = ::putDecoded(text, length, place, length);
    const bool bad = plain == kBadReference;
    std::size_t escaped = 0;
    if (!bad) {
        plain = lengthWithin(place, plain);
        if (most >= 0) plain = std::min(plain, static_cast<std::size_t>(most));
        place[plain] = '\0';
        escaped = static_cast<std::size_t>(std::min<std::uint64_t>(::escapedLength(place, plain), SIZE_MAX));
        if (inRoom) take(slot, plain, escaped);
    }
    const bool kept = !bad && escaped <= kLongestText;
    if (!inRoom && kept) settleInBlock(slot, place, plain, escaped);
    if (!inRoom && !kept) freeBlock(place);
    return bad ? Decoded::kBad : Decoded::kStored;
}

void OpenStore::escapeAll() {
    eachText([this](unsigned int slot, const StoredText& text) {
        const std::size_t length = text.escaped;
        if (text.length == length) return true; // nothing to escape, or done already
        const bool inRoom = fitsInRoom(length);
        char* const place = inRoom ? next : tryNewBlock(length);
        if (place == nullptr) return true;
        *putEscaped(text.text, text.length, place) = '\0';
        if (inRoom) {
            take(slot, length, length);
        } else {
            settleInBlock(slot, place, length, length);
        }
        return true;
    });
}
