// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_STORE_H
#define VELLIX_STORE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "vellix/VellixEntry.h"
#include "vellix/VellixText.h"

// The short operations of an entry's slots, for what stores many values. Internal, not installed.

// A value of more bytes has its memory given back when the slot is emptied.
constexpr std::size_t kBulkyValue = 65536;

// The bit of a slot in its word of `present`.
constexpr std::uint64_t bitOf(unsigned int id) { return std::uint64_t{1} << (id % 64); }

// Replaces what a slot holds and keeps its memory. `text` may be a part of it.
static inline void assignTo(std::string& slot, const char* text, std::size_t length) {
    if (length == slot.size() && text != slot.data()) { // as numbers of one kind mostly are
        copyBytes(&slot[0], text, length);
    } else {
        slot.assign(text, length);
    }
}

inline bool VellixEntry::isPresent(unsigned int id) const {
    return id < totalAttributes && (present[id / 64] & bitOf(id)) != 0;
}

// The string of a slot that is about to take a value.
inline std::string& VellixEntry::slotToFill(unsigned int id) {
    if (id >= attrValue.size()) makeSlots(totalAttributes);
    return attrValue[id];
}

inline void VellixEntry::keepSlot(unsigned int id, std::size_t escaped) {
    if (!isPresent(id)) {
        present[id / 64] |= bitOf(id);
        ++numAttributes;
    } else {
        escapedTotal -= static_cast<std::size_t>(attrLen[id]);
    }
    attrLen[id] = static_cast<int>(escaped);
    escapedTotal += escaped;
}

#endif
