// SPDX-License-Identifier: Apache-2.0
// The values of one entry: their forms, from one to the other, and the strings that are made of them.
#include "vellix/VellixStore.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

// --- Strings ---

const std::string& TextStrings::get(unsigned int slot, const StoredText& stored) {
    if ((made[slot / 64] & bitOf(slot)) == 0) {
        TextString* string = spares.take(stored.length);
        if (string == nullptr) {
            string = new TextString(stored.text, stored.length);
        } else {
            string->text.assign(stored.text, stored.length);
        }
        strings[slot] = string;
        made[slot / 64] |= bitOf(slot);
    }
    return strings[slot]->text;
}

void TextStrings::forget(unsigned int slot) {
    spares.pass(1);
    if ((made[slot / 64] & bitOf(slot)) == 0) return;
    made[slot / 64] &= ~bitOf(slot);
    spares.give(strings[slot]);
}

void TextStrings::forgetAll() {
    eachBit(made, [this](unsigned int slot) {
        spares.give(strings[slot]);
        return true;
    });
    std::fill_n(made, 2, 0);
    spares.pass(kChangesOfAClear);
}

bool TextStrings::hold(const char* at) const {
    bool found = false;
    eachBit(made, [&](unsigned int slot) {
        const std::string& text = strings[slot]->text;
        found = standsIn(at, text.data(), text.data() + text.size() + 1);
        return !found;
    });
    return found;
}

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
        opened.~OpenStore();
    }
    ::operator delete(store);
}

void VellixStore::assign(VellixStore*& store, const VellixStore& other) {
    const std::size_t bytes = other.packedSize();
    if (store->form == kOpen) {
        auto* const opened = static_cast<OpenStore*>(store);
        if (bytes > OpenStore::kMostRoom) return opened->copyToBlocks(other);
        OpenStore* target = opened->fitting(bytes);
        if (target == nullptr && bytes > opened->roomSize()) throw std::bad_alloc();
        if (target == nullptr) target = opened;
        startOver(store, target);
        target->copyTexts(other);
        return;
    }
    if (bytes <= store->size && (store->size <= OpenStore::kFirstSize || store->size / kMostWaste <= bytes)) {
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
    auto* const opened = static_cast<OpenStore*>(store);
    OpenStore* const target = opened->fitting(0);
    startOver(store, target != nullptr ? target : opened); // without memory it goes on with what it has
}

// Makes `store` an empty one: `next`, which may be the same.
void VellixStore::startOver(VellixStore*& store, OpenStore* next) {
    auto* const opened = static_cast<OpenStore*>(store);
    opened->startOver();
    if (next == opened) return;
    std::swap(next->strings, opened->strings);
    next->spares.swap(opened->spares);
    release(store);
    store = next;
}

void VellixStore::makeOpen(VellixStore*& store) {
    constexpr std::size_t kRoom = OpenStore::kFirstSize - sizeof(OpenStore);
    OpenStore* const opened = OpenStore::make(OpenStore::allocate(kRoom), kRoom);
    if (opened == nullptr) throw std::bad_alloc();
    if (store->form == kPacked) opened->takeOver(*store);
    store = opened;
}

void VellixStore::drop(VellixStore*& store, unsigned int slot) {
    if (!store->has(slot)) return;
    if (store->form == kOpen) {
        static_cast<OpenStore*>(store)->vacate(slot);
        return;
    }
    store->dropPacked(slot);
    if ((store->present[0] | store->present[1]) == 0) clear(store);
}

void VellixStore::dropPacked(unsigned int slot) {
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

bool VellixStore::owns(const char* at) const {
    if (form == kOpen) {
        const auto& opened = static_cast<const OpenStore&>(*this);
        if (opened.standsInRoom(at)) return true;
        if ((opened.own[0] | opened.own[1]) == 0 && opened.origin == nullptr && strings == nullptr) return false;
    }
    bool found = strings != nullptr && strings->hold(at);
    if (!found) {
        visitAll([&](unsigned int, const StoredText& text) {
            found = standsIn(at, text.text, text.text + text.length + 1);
            return !found;
        });
    }
    return found;
}
