// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixWriter.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "vellix/VellixClaim.h"
#include "vellix/VellixFormat.h"
#include "vellix/VellixMMap.h"
#include "vellix/VellixText.h"
#include "vellix/platform/Platform.h"

namespace {

constexpr std::size_t kTemporaryName = 260; // wide characters, the NUL included
// Room for the largest filling and the largest record that fits into a page; and the size from which a record's memory isn't
// worth keeping.
constexpr std::size_t kUsualRecord = 2 * static_cast<std::size_t>(kPageSize);
constexpr std::size_t kKeptRecord = 2 * kUsualRecord;

} // namespace

// --- Construction ---

VellixWriter::VellixWriter(VELLIX_DOC_TYPE type)
    : claim(std::make_unique<VellixClaim>()), mmap(new (std::nothrow) VellixMMap), mapHandle(platform::kInvalidHandle),
      nextBoundary(kPageSize), rootDoc(type) {
    initRoot(true);
}

VellixWriter::VellixWriter(const VellixDoc& doc)
    : claim(std::make_unique<VellixClaim>()), mmap(new (std::nothrow) VellixMMap), mapHandle(platform::kInvalidHandle),
      nextBoundary(kPageSize), rootDoc(doc) {
    initRoot(rootDoc.isEmpty());
}

void VellixWriter::initRoot(bool withAttributes) {
    if (mmap == nullptr) throw VELLIX_ERR_NO_MEMORY;
    if (rootDoc.getType() == VELLIX_DOC_RESULTS && withAttributes) {
        rootDoc.addAttribute(1, platform::_time64(nullptr), false);
        rootDoc.addAttribute(0, 0, false);
    }
    rootDoc.setWriter(this);
}

VellixWriter::~VellixWriter() {
    try {
        close();
    } catch (...) {
        // The stream is closed all the same, and the file stays unmarked.
    }
    endView();
    mmap.reset(); // before the file is deleted, which some systems refuse for a mapped one
    if (temporary) platform::_wunlink(path.c_str());
    rootDoc.setWriter(nullptr);
}

// --- Beginning and ending a file ---

bool VellixWriter::create(const wchar_t* name) {
    if (name == nullptr) {
        setError(VELLIX_ERR_NULL_ARGUMENT);
        return false;
    }
    if (stream != nullptr) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    if (closed) startOver();
    dropTemporary();
    return open(name);
}

bool VellixWriter::create() {
    if (stream != nullptr) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    if (closed) startOver();
    path.reserve(kTemporaryName); // no allocation may fail once the file exists
    record.reserve(kUsualRecord);
    wchar_t name[kTemporaryName] = {};
    platform::_wtmpnam_s(name, kTemporaryName);
    temporary = true;
    return open(name);
}

bool VellixWriter::reset() {
    if (stream != nullptr) close();
    startOver();
    if (temporary) {
        create();
    } else {
        open(path.c_str());
    }
    return true;
}

void VellixWriter::startOver() {
    endView();
    mmap->close(); // the next view has to show the new file
    claim->drop();
    position = 0;
    nextBoundary = kPageSize;
    owedFilling = 0;
    fileLength = 0;
    firstDocPending = true;
    headerWritten = false;
    closed = false;
    completeOffset = 0;
    tagMissing = false;
    intact = false;
    cutOff = false;
    syncRefused = false;
    stored = false;
    marked = false;
}

void VellixWriter::dropTemporary() {
    if (!temporary) return;
    endView();
    mmap->close();
    platform::_wunlink(path.c_str());
    temporary = false;
}

bool VellixWriter::open(const wchar_t* name) {
    path = name;
    record.reserve(kUsualRecord);
    stream = platform::_wfopen(path.c_str(), L"wb+");
    intact = stream != nullptr && !tagMissing;
    if (stream == nullptr) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    claim->take(stream);
    std::setvbuf(stream, nullptr, _IONBF, 0); // each record goes past the stream, in one write call of its own
    return true;
}

void VellixWriter::close() {
    if (!closed) {
        closed = true;
        if (stream != nullptr) finishFile();
    }
    if (complete && !marked) mark();
}

void VellixWriter::finishFile() {
    if (!hasItsLength()) tagLost(); // somebody else has been at it, and nothing of ours would help
    try {
        if (!headerWritten && rootDoc.includeXmlHeader()) writeHeader();
        rootDoc.close();
    } catch (...) {
        endStream();
        throw;
    }
    endStream();
}

// A file that is to be marked is stored by way of its own stream, which the system tells of every failure since the start.
void VellixWriter::endStream() {
    if (complete && intact && completeOffset != 0) stored = sync();
    claim->keep(stream);
    if (std::fclose(stream) != 0) intact = false;
    stream = nullptr;
}

// Whether the file is as long as what was written to it. What is no regular file has no length.
bool VellixWriter::hasItsLength() const {
    platform::FileState state;
    return !claim->isTaken() ||
           (platform::stateOf(stream, state) && state.size == static_cast<std::uint64_t>(fileLength));
}

// --- Writing ---

bool VellixWriter::addDoc(VellixDoc& doc) {
    doc.setWriter(this);
    if (!firstDocPending) return true;
    firstDocPending = false;
    if (doc.includeXmlHeader() || (!headerWritten && rootDoc.includeXmlHeader())) writeHeader();
    rootDoc.addChildDoc(doc);
    return true;
}

void VellixWriter::writeHeader() {
    headerWritten = true;
    write(kXmlHeader, kXmlHeaderLength + 1); // files have always been laid out as if its terminator counted
}

// Whether what is written now can be read. Nothing more can be told behind a tag that was lost.
bool VellixWriter::mayWrite() {
    if (!cutOff && !claim->isLost()) return true;
    setError(VELLIX_ERR_BAD_HANDLE);
    return false;
}

bool VellixWriter::write(const VellixEntry& entry) {
    if (stream == nullptr) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    if (!mayWrite()) return false;
    try {
        if (entry.row().docType == VELLIX_DOC_NONE) {
            fillPage(0); // it has no text, but counts as a record
            return false;
        }
        const char* openTag = entry.getOpenTag();
        const std::uint64_t bound = entry.textBound(openTag);
        if (bound > kLongestTag && entry.textSize(openTag, entry.plainCloseTag()) > kLongestTag) return refuseLongTag();
        makeRoom(bound);
        const auto length = static_cast<std::size_t>(entry.putText(&record[0], openTag) - record.data());
        fillPage(length);
        if (owedFilling != 0) {
            makeRoom(std::uint64_t{owedFilling} + length);
            std::memmove(&record[owedFilling], record.data(), length);
        }
        return put(length);
    } catch (...) {
        intact = false;
        throw;
    }
}

bool VellixWriter::refuseLongTag() {
    intact = false;
    setError(VELLIX_ERR_OUT_OF_RANGE);
    return false;
}

bool VellixWriter::write(const char* text, unsigned long length) {
    if (stream == nullptr) return false;
    if (text == nullptr) {
        setError(VELLIX_ERR_NULL_ARGUMENT);
        return false;
    }
    if (!mayWrite()) return false;
    try {
        const std::size_t realLength = std::strlen(text);
        fillPage(length);
        makeRoom(std::uint64_t{owedFilling} + realLength);
        std::memcpy(&record[owedFilling], text, realLength);
        if (put(realLength)) return true;
        if (realLength != 0) tagLost();
        return false;
    } catch (...) {
        tagLost();
        throw;
    }
}

// Writes the tag that opens a document, and notes where the root's has a place for the mark.
void VellixWriter::writeOwnTag(const VellixDoc& doc, const std::string& text) {
    if (stream == nullptr) tagMissing = true; // from a file that is still to come
    if (text.size() > kLongestTag) {
        refuseLongTag();
        return tagLost();
    }
    if (!write(text.c_str(), toldLength(text.size())) || &doc != &rootDoc) return;
    if (position - static_cast<__int64>(text.size()) != static_cast<__int64>(kXmlHeaderLength)) return;
    const std::string front = xmlDocTypeRow(doc.getType()).entryOpenTag + std::string(kMark);
    if (text.compare(0, front.size(), front) == 0)
        completeOffset = static_cast<__int64>(kXmlHeaderLength + front.size());
}

void VellixWriter::makeRoom(std::uint64_t length) {
    if (record.size() >= length) return;
    if (length > record.max_size()) throw std::bad_alloc();
    record.resize(static_cast<std::size_t>(length));
}

// Makes room for a record of `length` bytes: one that would end past the next boundary begins on it. The boundary moves by
// one page however long the record is.
void VellixWriter::fillPage(std::uint64_t length) {
    const __int64 rest = nextBoundary - position;
    if (rest >= 0 && length <= static_cast<std::uint64_t>(rest)) return;
    if (rest > 0) {
        owedFilling += static_cast<std::size_t>(rest);
        position += rest;
    }
    nextBoundary += kPageSize;
}

// Writes the filling that is owed and the `length` bytes of text that stand behind its place in `record`.
bool VellixWriter::put(std::size_t length) {
    std::fill_n(record.begin(), owedFilling, ' ');
    const __int64 start = position - static_cast<__int64>(owedFilling);
    const std::size_t taken = platform::writeThrough(stream, record.data(), owedFilling + length);
    fileLength = std::max(fileLength, start + static_cast<__int64>(taken));
    const bool whole = taken == owedFilling + length;
    const std::size_t filled = std::min(taken, owedFilling);
    owedFilling -= filled;
    if (!whole) {
        intact = false;
        blankOut(taken - filled);
    }
    if (record.size() > kKeptRecord) std::string().swap(record);
    if (!whole || length == 0) return false;
    position += static_cast<__int64>(length);
    return true;
}

// Replaces the last `length` bytes, the torn beginning of a record, by blanks and steps back in front of them, so that the
// next record stands where it should and a reader sees nothing of this one.
void VellixWriter::blankOut(std::size_t length) {
    if (length == 0 || !platform::stepBack(stream, length)) return;
    std::fill(record.begin(), record.end(), ' ');
    platform::stepBack(stream, platform::writeThrough(stream, record.data(), length));
}

// A text that is lost may be the tag on which all that follows hangs.
void VellixWriter::tagLost() {
    intact = false;
    cutOff = true;
}

bool VellixWriter::flush() { return stream != nullptr && std::fflush(stream) == 0; }

bool VellixWriter::sync() {
    if (stream == nullptr) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    if (!syncRefused && platform::syncFile(stream)) return true;
    syncRefused = true; // the system tells of what it lost once
    setError(VELLIX_ERR_BAD_HANDLE);
    if (claim->isTaken()) tagLost();
    return false;
}

// --- State ---

VellixDoc& VellixWriter::getRootDoc() { return rootDoc; }

int VellixWriter::getLastError() const { return lastError; }

void VellixWriter::setError(int code) { lastError = code; }

bool VellixWriter::isIntact() const { return intact && !claim->isLost(); }

__int64 VellixWriter::size() const { return position + 1; }
