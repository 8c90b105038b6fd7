// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixDoc.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "vellix/VellixFormat.h"
#include "vellix/VellixReader.h"
#include "vellix/VellixScanner.h"
#include "vellix/VellixText.h"
#include "vellix/VellixWriter.h"
#include "vellix/platform/Platform.h"

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

struct Free {
    void operator()(char* memory) const { std::free(memory); }
};

// Returns the size of a file in bytes, or -1, and rewinds it.
__int64 sizeOf(std::FILE* file) {
    const __int64 size = platform::_fseeki64(file, 0, SEEK_END) == 0 ? platform::_ftelli64(file) : -1;
    std::rewind(file);
    return size;
}

} // namespace

// --- Construction ---

VellixDoc::VellixDoc(VELLIX_DOC_TYPE docType) : VellixEntry(docType, 0, true) {}

VellixDoc::VellixDoc(VELLIX_DOC_TYPE docType, VellixReader* source) : VellixEntry(docType, 0, true), reader(source) {}

VellixDoc::VellixDoc(VELLIX_DOC_TYPE docType, VellixWriter* target) : VellixEntry(docType, 0, true), writer(target) {}

// A copy is a held document, whatever the original is.
// cppcheck-suppress missingMemberCopy
VellixDoc::VellixDoc(const VellixDoc& other)
    : VellixEntry(other), childDocs(other.childDocs), entries(other.entries), readDocs(other.readDocs) {}

VellixDoc::~VellixDoc() {
    try {
        close();
    } catch (...) {
        // What could not be written is lost. The writer knows, and won't mark the file complete.
    }
}

void VellixDoc::operator=(const VellixDoc& other) {
    if (this == &other) return;
    auto children =
        other.childDocs; // all that may fail comes first: no pointer may outlive what keeps its document alive
    auto held = other.entries;
    auto owned = other.readDocs;
    VellixEntry::operator=(other);
    childDocs.swap(children);
    entries.swap(held);
    readDocs.swap(owned);
}

void VellixDoc::operator=(const VellixEntry& entry) { VellixEntry::operator=(entry); }

// --- Building ---

bool VellixDoc::addEntry(VellixEntry& entry) {
    entry.setType(getType());
    if (writer == nullptr) {
        entries.push_back(entry);
        ++numEntries;
        return true;
    }
    ++numEntries;
    closed = false;
    writeOpenTag();
    return writer->write(entry);
}

bool VellixDoc::addChildDoc(VellixDoc& child) {
    if (writer == nullptr) {
        childDocs.push_back(&child);
        ++numChildDocs;
        return true;
    }
    ++numChildDocs;
    closed = false;
    child.setWriter(writer); // first, so that the child streams even if memory runs out for the tag
    writeOpenTag();
    return true;
}

// Adds a child that a reader made. A streaming document keeps no child, so that one goes to the file at once.
void VellixDoc::adoptChildDoc(const std::shared_ptr<VellixDoc>& child) {
    if (writer == nullptr) readDocs.push_back(child);
    addChildDoc(*child);
}

void VellixDoc::setWriter(VellixWriter* target) { writer = target; }

void VellixDoc::setReader(VellixReader* source) { reader = source; }

// --- The way to the file ---

// Builds the text of a record. If that can't be had for lack of memory the file has lost it, and the writer has to know.
template <class Append> std::string VellixDoc::textFrom(Append append) {
    std::string text;
    try {
        append(text);
    } catch (...) {
        writer->tagLost();
        throw;
    }
    return text;
}

bool VellixDoc::writeOpenTag() {
    if (openTagWritten) return false;
    openTagWritten = true;
    if (writer == nullptr) return true;
    writer->writeOwnTag(*this, textFrom([this](std::string& text) { VellixEntry::serialize(text); }));
    for (const VellixDoc* child : childDocs) {
        if (child->hasLongEntry()) {
            writer->refuseLongTag();
            continue;
        }
        const std::string text = textFrom([child](std::string& out) { child->serialize(out); });
        writer->write(text.c_str(), toldLength(text.size()));
    }
    for (const VellixEntry& entry : entries) writer->write(entry);
    return true;
}

// Whether it holds an entry that a reader wouldn't take from a file.
bool VellixDoc::hasLongEntry() const { // NOLINT(misc-no-recursion): as deep as the caller's tree
    const auto isLong = [](const VellixEntry& entry) { return entry.size() > kLongestTag; };
    if (std::any_of(entries.begin(), entries.end(), isLong)) return true;
    for (const VellixDoc* child : childDocs) {
        if (child->hasLongEntry()) return true;
    }
    return false;
}

bool VellixDoc::writeCloseTag() {
    if (closeTagWritten) return false;
    closeTagWritten = true;
    if (writer == nullptr || isLeaf()) return false;
    const char* tag = getCloseTag();
    return writer->write(tag, static_cast<unsigned long>(std::strlen(tag)));
}

void VellixDoc::clear() {
    openTagWritten = false;
    closeTagWritten = false;
    childDocs.clear();
    readDocs.clear();
    entries.clear();
}

void VellixDoc::close() {
    if (closed) return;
    closed = true;
    writeOpenTag();
    writeCloseTag();
    clear();
}

void VellixDoc::reset() {
    close();
    closed = false;
}

// --- Pulling ---

bool VellixDoc::getFirstEntry(VellixEntry& entry) { return getNextEntry(entry); }

bool VellixDoc::getNextEntry(VellixEntry& entry) {
    entry.clear();
    entry.setType(getType());
    return reader != nullptr && !cacheData() && reader->readEntry(entry);
}

bool VellixDoc::getFirstChildDoc(VellixDoc& child) { return getNextChildDoc(child); }

bool VellixDoc::getNextChildDoc(VellixDoc& child) { return reader != nullptr && reader->getNextDoc(child); }

// --- Loading ---

bool VellixDoc::load(const char* text, unsigned long length) {
    if (text == nullptr && length != 0) {
        setError(VELLIX_ERR_NULL_ARGUMENT);
        return false;
    }
    XmlStr cursor;
    cursor.buffer = text;
    cursor.length = length;
    cursor.skipToTag();
    if (cursor.atEnd()) return true;
    std::unique_ptr<VellixEntry> tag;
    try {
        tag = std::make_unique<VellixEntry>(getType());
    } catch (const std::bad_alloc&) {
        setError(VELLIX_ERR_NO_MEMORY);
        return false;
    }
    QuoteSearch search;
    bool metEnd = false;
    bool first = true;
    for (; !cursor.atEnd(); cursor.skipToTag()) {
        tag->parseTag(cursor, &search, metEnd);
        if (!tag->isEmpty() && first) {
            takeOwnTag(*tag);
            first = false;
        } else if (!tag->isEmpty()) {
            entries.push_back(*tag);
            ++numEntries;
        }
        tag->clear();
    }
    return true;
}

// Takes the type of the document's own tag, and its attributes if it is spelled as that type is.
void VellixDoc::takeOwnTag(const VellixEntry& tag) {
    setType(tag.getType());
    const char* name = xmlDocTypeRow(tag.getType()).name;
    const char* read = tag.getEntryName();
    if (name != nullptr && read != nullptr && std::strcmp(name, read) == 0) *this = tag;
}

bool VellixDoc::load(const std::string& text) {
    if (text.size() <= ULONG_MAX) return load(text.data(), static_cast<unsigned long>(text.size()));
    setError(VELLIX_ERR_NO_MEMORY);
    return false;
}

bool VellixDoc::load(const char* path) {
    if (path == nullptr) {
        setError(VELLIX_ERR_NULL_ARGUMENT);
        return false;
    }
    File file(platform::openForReading(path));
    if (file == nullptr) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    const __int64 size = sizeOf(file.get());
    if (size < 0) {
        setError(VELLIX_ERR_FILE_SIZE);
        return false;
    }
    const auto length = static_cast<std::size_t>(size);
    std::unique_ptr<char, Free> text;
    if (toldLength(static_cast<std::uint64_t>(size)) != ULONG_MAX)
        text.reset(static_cast<char*>(std::malloc(length + 1)));
    if (text == nullptr) {
        setError(VELLIX_ERR_NO_MEMORY);
        return false;
    }
    const std::size_t read = std::fread(text.get(), 1, length, file.get());
    if (std::ferror(file.get()) != 0) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    file.reset();
    return read != 0 && load(text.get(), static_cast<unsigned long>(read));
}

// --- Text forms ---

bool VellixDoc::holdsAnything() const { return !childDocs.empty() || !entries.empty(); }

bool VellixDoc::serialize(std::string& out) const { // NOLINT(misc-no-recursion): as deep as the caller's tree
    if (includeXmlHeader()) out.append(kXmlHeader, kXmlHeaderLength);
    VellixEntry::serialize(out);
    for (const VellixDoc* child : childDocs) child->serialize(out);
    for (const VellixEntry& entry : entries) entry.serialize(out);
    if (holdsAnything()) out.append(getCloseTag());
    return true;
}

bool VellixDoc::serialize(char*& cursor, unsigned long& room) const {
    if (cursor == nullptr) return false;
    const std::uint64_t length = textLength();
    if (length >= room) {
        if (room > 0) *cursor = '\0';
        return false;
    }
    cursor = putText(cursor);
    *cursor = '\0';
    room -= static_cast<unsigned long>(length);
    return true;
}

// The exact length of the text, where `size` gives what is enough.
std::uint64_t VellixDoc::textLength() const { // NOLINT(misc-no-recursion): as deep as the caller's tree
    std::uint64_t length = includeXmlHeader() ? kXmlHeaderLength : 0;
    if (row().docType != VELLIX_DOC_NONE) length += textSize(getOpenTag(), plainCloseTag());
    for (const VellixDoc* child : childDocs) length += child->textLength();
    for (const VellixEntry& entry : entries) length += entry.size();
    if (holdsAnything()) length += std::strlen(getCloseTag());
    return length;
}

// Writes the text, which has the length that textLength tells, and returns its end.
char* VellixDoc::putText(char* out) const { // NOLINT(misc-no-recursion): as deep as the caller's tree
    const auto put = [&out](const char* piece, std::size_t length) {
        std::memcpy(out, piece, length);
        out += length;
    };
    if (includeXmlHeader()) put(kXmlHeader, kXmlHeaderLength);
    if (row().docType != VELLIX_DOC_NONE) out = VellixEntry::putText(out, getOpenTag());
    for (const VellixDoc* child : childDocs) out = child->putText(out);
    for (const VellixEntry& entry : entries) {
        if (entry.size() != 0) out = entry.VellixEntry::putText(out, entry.getOpenTag());
    }
    if (holdsAnything()) put(getCloseTag(), std::strlen(getCloseTag()));
    return out;
}

unsigned long VellixDoc::size() const { // NOLINT(misc-no-recursion): as deep as the caller's tree
    // The close tag is counted by the base, which gets it from here; the 3 are more than the ">" or "/>" of the own tag,
    // and the header's number has them too.
    std::uint64_t sum = std::uint64_t{VellixEntry::size()} + (includeXmlHeader() ? kXmlHeaderLength : 0) + 3 + 1;
    for (const VellixDoc* child : childDocs) sum += child->size();
    for (const VellixEntry& entry : entries) sum += entry.size();
    return toldLength(sum);
}

const char* VellixDoc::getOpenTag() const {
    const char* tag = xmlDocTypeRow(getType()).openTag;
    return tag != nullptr ? tag : "";
}

const char* VellixDoc::getCloseTag() const {
    const char* tag = xmlDocTypeRow(getType()).closeTag;
    return tag != nullptr ? tag : "";
}
