// SPDX-License-Identifier: Apache-2.0
// The text of one tag: its pieces, their lengths, and the ways to write them out.
#include <cstring>
#include <new>
#include <string>

#include "vellix/VellixEntry.h"
#include "vellix/VellixStore.h"
#include "vellix/VellixText.h"
#include "vellix/platform/Bytes.h"

namespace {

// Copies a value into text. A string as long as its escaped form has nothing to escape, or is escaped already.
char* putValue(char* out, const StoredText& value) {
    if (value.length == value.escaped) return copyBytes(out, value.text, value.length);
    return putEscaped(value.text, value.length, out);
}

// Copies a tag with what stands behind it, mostly four to eight bytes.
char* putTag(char* out, const VellixMapTag& attribute) {
    const std::size_t length = attribute.tagAssignLen;
    if (length < 4 || length > 8) return copyBytes(out, attribute.tagAssign, length);
    std::memcpy(out, attribute.tagAssign, 4);
    std::memcpy(out + length - 4, attribute.tagAssign + length - 4, 4);
    return out + length;
}

} // namespace

const char* VellixEntry::getOpenTag() const {
    const VellixDocTypeRow& docType = row();
    if (docType.docType == VELLIX_DOC_NONE) return "";
    return !isLeaf() && isEmpty() ? docType.openTag : docType.entryOpenTag;
}

const char* VellixEntry::getCloseTag() const { return plainCloseTag(); }

// What ends the tag itself, also where a document has its own close tag.
const char* VellixEntry::plainCloseTag() const { return isLeaf() ? "/>" : ">"; }

// Calls `visit` with the row and the value of each slot that stands in the text.
template <class Visit> void VellixEntry::eachAttribute(Visit visit) const {
    const VellixDocTypeRow& docType = row();
    store->eachText([&](unsigned int slot, const StoredText& value) {
        if (slot + 1 >= docType.mapTagLen) return false; // the type has no attribute there
        visit(docType.mapTag[slot], value);
        return true;
    });
}

// What is always enough for the text, at the cost of no walk.
std::uint64_t VellixEntry::textBound(const char* openTag) const {
    constexpr std::size_t kLongestFrame = 32; // blank, tag, equals sign and quotes of an attribute
    return std::strlen(openTag) + store->escapedLength() + store->count() * kLongestFrame + 2;
}

std::uint64_t VellixEntry::textSize(const char* openTag, const char* closeTag) const {
    std::uint64_t size = std::strlen(openTag) + std::strlen(closeTag);
    eachAttribute([&size](const VellixMapTag& attribute, const StoredText& value) {
        size += 1 + attribute.tagAssignLen + value.escaped + std::uint64_t{1}; // the blank and the closing quote
    });
    return size;
}

// Writes the text, which has the size that textSize tells, and returns its end.
char* VellixEntry::putText(char* out, const char* openTag) const {
    out = copyBytes(out, openTag, std::strlen(openTag));
    eachAttribute([&out](const VellixMapTag& attribute, const StoredText& value) {
        *out++ = ' ';
        out = putTag(out, attribute);
        out = putValue(out, value);
        *out++ = '"'; // NOLINT(clang-analyzer-core.NullDereference): null is only for what measures
    });
    return copyBytes(out, plainCloseTag(), std::strlen(plainCloseTag()));
}

unsigned long VellixEntry::size() const {
    if (row().docType == VELLIX_DOC_NONE) return 0;
    return toldLength(textSize(getOpenTag(), getCloseTag()));
}

bool VellixEntry::serialize(std::string& out) const {
    if (row().docType == VELLIX_DOC_NONE) return false;
    const char* openTag = getOpenTag();
    const std::size_t before = out.size();
    const std::uint64_t length = textSize(openTag, plainCloseTag());
    if (length > out.max_size() - before) throw std::bad_alloc();
    out.resize(before + static_cast<std::size_t>(length));
    putText(&out[before], openTag);
    return true;
}

bool VellixEntry::serialize(char* buffer, unsigned long room) const {
    if (buffer == nullptr || row().docType == VELLIX_DOC_NONE) return false;
    const char* openTag = getOpenTag();
    if (textSize(openTag, plainCloseTag()) <= room) {
        *putText(buffer, openTag) = '\0';
        return true;
    }
    putPieces(buffer, room, openTag);
    return false;
}

// Writes as many whole pieces of the text as fit into `room` bytes, and a NUL behind them.
void VellixEntry::putPieces(char* out, std::size_t room, const char* openTag) const {
    *out = '\0';
    bool fits = true;
    const auto reserve = [&](std::size_t length) {
        fits = fits && length <= room;
        // The next piece gets the rest. cppcheck doesn't see it.
        // cppcheck-suppress uselessAssignmentArg
        if (fits) room -= length;
        return fits;
    };
    const auto put = [&](const char* piece, std::size_t length) {
        if (!reserve(length)) return;
        out = copyBytes(out, piece, length);
        *out = '\0';
    };
    put(openTag, std::strlen(openTag));
    eachAttribute([&](const VellixMapTag& attribute, const StoredText& value) {
        put(" ", 1);
        put(attribute.tag, attribute.tagLen);
        put("=\"", 2);
        if (reserve(value.escaped)) {
            out = putValue(out, value);
            *out = '\0';
        }
        put("\"", 1);
    });
    put(plainCloseTag(), std::strlen(plainCloseTag()));
}

std::string VellixEntry::toString() const {
    std::string text;
    serialize(text);
    return text;
}
