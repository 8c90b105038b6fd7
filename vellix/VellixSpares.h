// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_SPARES_H
#define VELLIX_SPARES_H

#include <cstddef>
#include <new>
#include <string>
#include <utility>

// What texts stood in and others may use. Internal, not installed.
//
// No text can be moved while it is in use, so what has become too small or too large for a slot waits here for the next
// text that it suits. Who does the same thing again and again soon finds here all that he needs. What nobody had a use for
// in a while is given back.

constexpr std::size_t kSmallItem = 128;         // suits any shorter text
constexpr std::size_t kMostWaste = 4;           // how many times more memory than the content needs may be kept
constexpr unsigned int kChangesInAWhile = 8192; // changed values
constexpr unsigned int kChangesOfAClear = 64;   // which counts as so many
constexpr std::size_t kKeptAnyway = 16384;      // bytes that may wait for ever

/// True if a text can go where `capacity` bytes are, and not too many of them.
inline bool suits(std::size_t capacity, std::size_t length) {
    return length <= capacity && (capacity <= kSmallItem || capacity / kMostWaste <= length);
}

/// Items that wait, the last one first. Owned.
template <class Item> class Spares {
public:
    Spares() = default;
    Spares(const Spares&) = delete;
    Spares& operator=(const Spares&) = delete;
    ~Spares() {
        while (first != nullptr) dropAt(first);
    }

    /// Returns an item that suits a text of `length` bytes, or null. The caller owns it.
    Item* take(std::size_t length) {
        for (Item** at = &first; *at != nullptr; at = &(*at)->next) {
            Item* const item = *at;
            if (!suits(item->capacity(), length)) continue;
            *at = item->next;
            return item;
        }
        return nullptr;
    }

    void give(Item* item) {
        item->isOld = false;
        item->next = first;
        first = item;
    }

    void swap(Spares& other) noexcept {
        std::swap(first, other.first);
        std::swap(passed, other.passed);
    }

    /// Tells that so many values were changed.
    void pass(unsigned int changes) {
        if (first == nullptr) return;
        passed += changes;
        if (passed >= kChangesInAWhile) dropOld();
    }

private:
    static void dropAt(Item*& at) {
        Item* const item = at;
        at = item->next;
        Item::destroy(item);
    }

    // Drops what has been here for a while, but for a little.
    void dropOld() {
        passed = 0;
        std::size_t bytes = 0;
        for (Item** at = &first; *at != nullptr;) {
            bytes += (*at)->capacity();
            if ((*at)->isOld && bytes > kKeptAnyway) {
                dropAt(*at);
                continue;
            }
            (*at)->isOld = true;
            at = &(*at)->next;
        }
    }

    Item* first = nullptr;
    unsigned int passed = 0;
};

constexpr std::size_t kHuge = 1U << 26; // from there on an address space counts for more than a new block

/// Returns the capacity that is asked for, so that a text which is a little longer finds room, too.
inline std::size_t roomyFor(std::size_t length) { return length + (length < kHuge ? length / 2 : length / 8); }

/// Memory for one text and a NUL behind it.
class TextBlock {
public:
    /// Returns null if there is no memory for it.
    static TextBlock* tryMake(std::size_t length) {
        constexpr std::size_t kLeast = 32;
        const std::size_t size = length > kLeast ? roomyFor(length) : kLeast;
        void* const memory = ::operator new(sizeof(TextBlock) + size + 1, std::nothrow);
        return memory != nullptr ? new (memory) TextBlock(size) : nullptr;
    }
    static void destroy(TextBlock* block) { ::operator delete(block); }

    static TextBlock* of(char* text) { return static_cast<TextBlock*>(static_cast<void*>(text)) - 1; }
    char* text() { return reinterpret_cast<char*>(this + 1); }
    std::size_t capacity() const { return size; }

private:
    friend class Spares<TextBlock>;

    explicit TextBlock(std::size_t bytes) : size(bytes) {}

    std::size_t size;
    TextBlock* next = nullptr;
    bool isOld = false;
};

/// A text as `std::string`.
class TextString {
public:
    TextString(const char* value, std::size_t length) {
        text.reserve(roomyFor(length));
        text.assign(value, length);
    }
    static void destroy(TextString* string) { delete string; }

    std::size_t capacity() const { return text.capacity(); }

    std::string text;

private:
    friend class Spares<TextString>;

    TextString* next = nullptr;
    bool isOld = false;
};

#endif
