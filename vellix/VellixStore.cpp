// SPDX-License-Identifier: Apache-2.0
// The slots of an entry: which are present, what they hold, and how long that is in escaped form.
#include "vellix/VellixStore.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <utility>

namespace {

constexpr std::size_t kLongestEscaped = INT_MAX; // what a slot can note

} // namespace

void VellixEntry::initAttribute() {
    totalAttributes = kLongestMap;
    numAttributes = 0;
    escapedTotal = 0;
    std::fill_n(present, kPresentWords, 0);
    attrLen.clear();
    attrValue.clear();
}

void VellixEntry::resetAttribute() {
    if (bulky) {
        for (std::string& value : attrValue) {
            if (value.capacity() > kBulkyValue) std::string().swap(value);
        }
        std::string().swap(decodedValue);
        if (!entryNamed) std::string().swap(entryName);
        bulky = false;
    }
    if (numAttributes == 0) return;
    numAttributes = 0;
    escapedTotal = 0;
    std::fill_n(present, kPresentWords, 0);
}

void VellixEntry::copyAttribute(const VellixEntry& other) {
    if (totalAttributes == 0) initAttribute();
    resetAttribute();
    makeSlots(other.usedSlots()); // and no more: most entries that are kept are copies
    for (unsigned int id = 0; numAttributes < other.numAttributes && id < totalAttributes; ++id) {
        if (!other.isPresent(id)) continue;
        attrValue[id] = other.attrValue[id];
        bulky = bulky || attrValue[id].size() > kBulkyValue;
        keepSlot(id, static_cast<std::size_t>(other.attrLen[id]));
    }
}

// The number of slots up to the last that is present.
std::size_t VellixEntry::usedSlots() const {
    std::size_t used = totalAttributes;
    while (used > 0 && !isPresent(static_cast<unsigned int>(used - 1))) --used;
    return used;
}

void VellixEntry::makeSlots(std::size_t count) {
    if (attrValue.size() >= count) return;
    attrLen.resize(count);
    attrValue.resize(count);
}

void VellixEntry::dropSlot(unsigned int id) {
    if (!isPresent(id)) return;
    escapedTotal -= static_cast<std::size_t>(attrLen[id]);
    present[id / 64] &= ~bitOf(id);
    --numAttributes;
}

// Stores a value that holds no NUL, and that has nothing to escape if it is `plain`. Any other is measured only after it
// was copied: the bytes at `value` may belong to a mapped page, and the text forms rely on the length noted here.
bool VellixEntry::storeText(unsigned int id, const char* value, std::size_t length, bool plain) {
    const VellixMapTag* place = xmlRowAt(type, id);
    if (place == nullptr || id >= totalAttributes) return false;
    if (place->maxLen >= 0 && length > static_cast<std::size_t>(place->maxLen)) {
        length = static_cast<std::size_t>(place->maxLen);
        plain = false; // the cut may go through a character
    }
    if (length > kBulkyValue) {
        bulky = true;
        if (length > kLongestEscaped / 6) return storeHugeText(id, value, length);
    }
    std::string& slot = slotToFill(id);
    assignTo(slot, value, length);
    keepSlot(id, plain ? length : static_cast<std::size_t>(escapedLength(slot.data(), slot.size())));
    return true;
}

// Stores a value whose escaped form may be longer than a slot can note; then false, and the slot stays as it was.
bool VellixEntry::storeHugeText(unsigned int id, const char* value, std::size_t length) {
    if (length > kLongestEscaped) return false;
    std::string copy(value, length);
    const std::uint64_t escaped = escapedLength(copy.data(), length);
    if (escaped > kLongestEscaped) return false;
    slotToFill(id).swap(copy);
    keepSlot(id, static_cast<std::size_t>(escaped));
    return true;
}
