// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixWriter.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "vellix/VellixFormat.h"
#include "vellix/VellixMMap.h"
#include "vellix/platform/Platform.h"

namespace {

constexpr int kReadWrite = 2; // mode of VellixMMap::open
constexpr int kProtWrite = 4; // of VellixMMap::map
constexpr int kShared = 2;

constexpr std::size_t kTemporaryName = 260; // wide characters, the NUL included
// Room for the largest filling and the largest record that fits into a page; and the size from which a record's memory isn't
// worth keeping.
constexpr std::size_t kUsualRecord = 2 * static_cast<std::size_t>(kPageSize);
constexpr std::size_t kKeptRecord = 2 * kUsualRecord;

constexpr char kMark[] = " IC=\"";
constexpr std::size_t kMarkLength = sizeof(kMark) - 1;

const char* entryOpenTagOf(const VellixDoc& doc) {
    const char* tag = xmlDocTypeRow(doc.getType()).entryOpenTag;
    return tag != nullptr ? tag : "";
}

// Where the value of IC stands in a file that begins with the header and the tag of such a root.
__int64 completeOffsetOf(const VellixDoc& root) {
    return static_cast<__int64>(kXmlHeaderLength + std::strlen(entryOpenTagOf(root)) + kMarkLength);
}

} // namespace

// --- Construction ---

VellixWriter::VellixWriter(VELLIX_DOC_TYPE type)
    : mmap(new (std::nothrow) VellixMMap), mapHandle(platform::kInvalidHandle), nextBoundary(kPageSize), rootDoc(type),
      completeOffset(completeOffsetOf(rootDoc)) {
    initRoot(true);
}

VellixWriter::VellixWriter(const VellixDoc& doc)
    : mmap(new (std::nothrow) VellixMMap), mapHandle(platform::kInvalidHandle), nextBoundary(kPageSize), rootDoc(doc),
      completeOffset(completeOffsetOf(rootDoc)) {
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
    position = 0;
    nextBoundary = kPageSize;
    owedFilling = 0;
    firstDocPending = true;
    headerWritten = false;
    closed = false;
    intact = false;
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
    intact = stream != nullptr;
    if (stream == nullptr) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    std::setvbuf(stream, nullptr, _IONBF, 0); // each record goes past the stream, in one write call of its own
    return true;
}

void VellixWriter::close() {
    if (!closed) {
        closed = true;
        if (stream != nullptr) finishFile();
    }
    if (complete) remap(static_cast<unsigned long>(completeOffset) + 2);
}

void VellixWriter::finishFile() {
    try {
        if (!headerWritten && rootDoc.includeXmlHeader()) writeHeader();
        rootDoc.close();
    } catch (...) {
        endStream();
        throw;
    }
    endStream();
}

void VellixWriter::endStream() {
    if (std::fclose(stream) != 0) intact = false;
    stream = nullptr;
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

bool VellixWriter::write(const VellixEntry& entry) {
    if (stream == nullptr) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    try {
        if (entry.row().docType == VELLIX_DOC_NONE) return false; // it has no text
        const char* openTag = entry.getOpenTag();
        makeRoom(entry.textBound(openTag));
        const auto length = static_cast<std::size_t>(entry.putText(&record[0], openTag) - record.data());
        fillPage(length);
        if (owedFilling != 0) {
            makeRoom(std::uint64_t{owedFilling} + length);
            std::memmove(&record[owedFilling], record.data(), length);
        }
        return put(length);
    } catch (...) {
        recordLost();
        throw;
    }
}

bool VellixWriter::write(const char* text, unsigned long length) {
    if (stream == nullptr) return false;
    if (text == nullptr) {
        setError(VELLIX_ERR_NULL_ARGUMENT);
        return false;
    }
    try {
        const std::size_t realLength = std::strlen(text);
        fillPage(length);
        makeRoom(std::uint64_t{owedFilling} + realLength);
        std::memcpy(&record[owedFilling], text, realLength);
        return put(realLength);
    } catch (...) {
        recordLost();
        throw;
    }
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
    const std::size_t taken = platform::writeThrough(stream, record.data(), owedFilling + length);
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

void VellixWriter::recordLost() { intact = false; }

bool VellixWriter::flush() { return stream != nullptr && std::fflush(stream) == 0; }

// --- The finished file ---

void VellixWriter::markComplete() { complete = true; }

bool VellixWriter::remap(unsigned long length) {
    const __int64 want = length != 0 ? static_cast<__int64>(length) : position;
    if (mappedSize >= want) return false;
    endView();
    mmap->open(path.c_str(), kReadWrite);
    mapHandle = mmap->handle();
    if (mapHandle == platform::kInvalidHandle) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    const int viewLength = want <= INT_MAX ? static_cast<int>(want) : 0; // 0 is the whole file
    if (mmap->map(mapHandle, viewLength, kProtWrite, kShared, nullptr, 0) != VELLIX_SUCCESS) return false;
    mappedSize = want;
    mappedAddr = static_cast<char*>(mmap->addr());
    if (complete && canBeMarked()) mappedAddr[completeOffset] = '1';
    return true;
}

// The mark promises that the work ended well, and it must never damage a file in which its place holds something else.
bool VellixWriter::canBeMarked() const {
    if (!intact || mappedAddr == nullptr || mappedSize < completeOffset + 2) return false;
    const char* at = mappedAddr;
    const auto next = [&at](const char* expected, std::size_t length) {
        const bool same = std::memcmp(at, expected, length) == 0;
        at += length;
        return same;
    };
    const char* tag = entryOpenTagOf(rootDoc);
    return next(kXmlHeader, kXmlHeaderLength) && next(tag, std::strlen(tag)) && next(kMark, kMarkLength) &&
           at[0] >= '0' && at[0] <= '9' && at[1] == '"';
}

void VellixWriter::endView() {
    if (mappedSize != 0) mmap->unmap(mappedAddr);
    mappedAddr = nullptr;
    mappedSize = 0;
}

const char* VellixWriter::serialize() {
    close();
    remap(0);
    return mappedAddr;
}

// --- State ---

VellixDoc& VellixWriter::getRootDoc() { return rootDoc; }

int VellixWriter::getLastError() const { return lastError; }

void VellixWriter::setError(int code) { lastError = code; }

__int64 VellixWriter::size() const { return position + 1; }
