// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixReader.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "vellix/VellixFormat.h"
#include "vellix/VellixMMap.h"
#include "vellix/VellixScanner.h"
#include "vellix/platform/Platform.h"

namespace {

constexpr int kReadOnly = 0; // mode of VellixMMap::open
constexpr int kProtRead = 2; // of VellixMMap::map
constexpr int kPrivate = 1;  // a page of a shared view could be taken away

// Why there is no view. To be asked right behind the call for it.
int pageError() {
    return platform::GetLastError() == platform::kNotEnoughMemory ? VELLIX_ERR_NO_MEMORY : VELLIX_ERR_NOT_MAPPED;
}

} // namespace

VellixReader::VellixReader(VELLIX_DOC_TYPE type)
    : mmap(new (std::nothrow) VellixMMap), fileHandle(platform::kInvalidHandle), quoteSearch(new QuoteSearch),
      root(type) {
    if (mmap == nullptr) throw VELLIX_ERR_NO_MEMORY;
    root.setReader(this);
}

VellixReader::~VellixReader() = default;

// --- Loading and paging ---

bool VellixReader::load(const wchar_t* path) {
    startOver();
    if (path == nullptr) return failed(VELLIX_ERR_NULL_ARGUMENT);
    filePath = path;
    if (mmap->open(filePath.c_str(), kReadOnly) != VELLIX_SUCCESS) {
        mmap->close();
        return failed(VELLIX_ERR_FILE_OPEN);
    }
    fileHandle = mmap->handle();
    fileLength = mmap->fileSize();
    if (!mapPage(0)) {
        const int error = lastError;
        startOver();
        return failed(error);
    }
    readRoot();
    return true;
}

bool VellixReader::load(const char* text, unsigned long length) {
    if (text == nullptr && length != 0) return failed(VELLIX_ERR_NULL_ARGUMENT);
    if (pageOffset != 0) return setText(text, length);
    startOver();
    if (!setText(text, length)) return false;
    readRoot();
    return true;
}

// Lets go of what was loaded. The root keeps its type, by which it is found in what is loaded next.
void VellixReader::startOver() {
    mmap->close();
    fileHandle = platform::kInvalidHandle;
    fileLength = 0;
    pageAddress = nullptr;
    pageOffset = 0;
    pageLength = 0;
    morePages = false;
    vainStates.clear();
    lastError = VELLIX_SUCCESS;
    xmlStr.reset();
    const VELLIX_DOC_TYPE type = root.getType();
    root.clear();
    root.VellixEntry::clear();
    root.setType(type);
    root.setIsEntryClosed(false);
}

void VellixReader::readRoot() {
    xmlStr->skipToTag();
    readDocEntry(root);
}

bool VellixReader::setText(const char* text, unsigned long length) {
    if (xmlStr == nullptr) xmlStr.reset(new (std::nothrow) XmlStr);
    if (xmlStr == nullptr) return failed(VELLIX_ERR_NO_MEMORY);
    *xmlStr = XmlStr();
    quoteSearch->startOver(vainStatesAt(pageOffset + pageLength));
    xmlStr->buffer = text;
    xmlStr->length = length;
    return true;
}

// Records why a call fails, and is its answer.
bool VellixReader::failed(int error) {
    lastError = error;
    return false;
}

// Makes the page at `offset` current, with the position at its start. If it can't be had no page counts as mapped, and
// there is nothing more to walk.
bool VellixReader::mapPage(__int64 offset) {
    if (offset > fileLength) return false;
    if (pageLength != 0 && offset == pageOffset) return true;
    const bool unmapped = pageLength == 0 || mmap->unmap(mmap->addr()) == VELLIX_SUCCESS;
    pageLength = 0;
    pageOffset = 0;
    pageAddress = nullptr;
    morePages = false;
    if (!unmapped) return failed(VELLIX_ERR_NOT_MAPPED);
    if (!setText(nullptr, 0)) return false;
    const __int64 rest = fileLength - offset;
    const __int64 length = std::min(rest, kPageSize);
    if (length > 0) {
        mmap->map(fileHandle, static_cast<int>(length), kProtRead, kPrivate, nullptr, offset);
        if (mmap->addr() == nullptr) return failed(pageError());
    }
    pageOffset = offset;
    pageLength = static_cast<unsigned int>(length);
    pageAddress = static_cast<const char*>(mmap->addr());
    morePages = rest > kPageSize;
    return setText(pageAddress, pageLength);
}

bool VellixReader::mapNextPage() { return morePages && mapPage(pageOffset + pageLength); }

// --- Walking ---

bool VellixReader::atEnd() const { return xmlStr == nullptr || xmlStr->atEnd(); }

// Parses the tag at the position. True if it may read otherwise with the next page behind it.
bool VellixReader::parseTag(VellixEntry& entry) {
    bool metEnd = false;
    quoteSearch->forgetOpen();
    entry.parseTag(*xmlStr, quoteSearch.get(), metEnd);
    return metEnd;
}

bool VellixReader::getFirstDoc(VellixDoc& doc) { return getNextDoc(doc); }

bool VellixReader::getNextDoc(VellixDoc& doc) {
    doc.setReader(this);
    return readDocEntry(doc);
}

VellixDoc* VellixReader::readDoc(VELLIX_DOC_TYPE type) {
    auto doc = std::make_unique<VellixDoc>(type, this);
    if (readDocEntry(*doc) && doc->cacheData()) {
        readDocData(*doc);
        if (!doc->isLeafDoc()) readChildDocs(*doc);
    }
    return doc.release();
}

bool VellixReader::readDocEntry(VellixDoc& doc) {
    VellixEntry tag;
    while (!atEnd()) {
        tag.clear();
        tag.setIsEntryClosed(false);
        xmlStr->skipToTag();
        parseTag(tag);
        if (tag.getType() != doc.getType()) continue;
        doc = tag;
        if (!doc.isEntryClosed() && doc.cacheData()) {
            readDocData(doc);
            if (!doc.isLeafDoc()) readChildDocs(doc);
        }
        return true;
    }
    return false;
}

bool VellixReader::readDocData(VellixDoc& doc) {
    VellixEntry entry;
    while (!atEnd()) {
        entry.clear();
        entry.setIsEntryClosed(false);
        xmlStr->skipToTag();
        const unsigned long start = xmlStr->position;
        parseTag(entry);
        if (entry.getType() != doc.getType()) {
            xmlStr->position = start;
            break;
        }
        doc.addEntry(entry);
    }
    return true;
}

bool VellixReader::readChildDocs(VellixDoc& doc) {
    while (!atEnd()) {
        const auto child = std::make_shared<VellixDoc>(VELLIX_DOC_NONE);
        xmlStr->skipToTag();
        const unsigned long start = xmlStr->position;
        parseTag(*child);
        if (child->getParentType() != doc.getType()) {
            xmlStr->position = start;
            break;
        }
        doc.adoptChildDoc(child);
    }
    return true;
}

bool VellixReader::readEntry(VellixEntry& entry) {
    const VELLIX_DOC_TYPE type = entry.getType();
    const bool closed = entry.isEntryClosed();
    const auto startAfresh = [&] {
        entry.clear();
        entry.setType(type);
        entry.setIsEntryClosed(closed);
    };
    for (;;) {
        if (!atEnd()) {
            xmlStr->skipToTag();
            const unsigned long start = xmlStr->position;
            const bool cut = parseTag(entry);
            if (!cut || !morePages) break;
            if (start != xmlStr->length && readCutTag(entry, start, startAfresh)) break;
            startAfresh();
            if (!atEnd()) continue;
        }
        if (!mapNextPage()) break;
        vainStates.erase(vainStates.begin(), vainStates.lower_bound(pageOffset));
    }
    return !entry.isEmpty();
}

// Reads the tag at `start`, which the end of the page cuts, from as many pages as it takes. What is known of it at least
// doubles before it is parsed again, so that the cost stays linear. False if it was passed over, and if a page can't be had.
template <class StartAfresh>
bool VellixReader::readCutTag(VellixEntry& entry, unsigned long start, StartAfresh startAfresh) {
    const XmlStr before = *xmlStr;
    const bool ofFile = before.buffer == pageAddress; // and not in the place of a page
    const __int64 page = pageOffset;
    std::string tag(before.buffer + start, before.length - start);
    const __int64 tagOffset = pageOffset + pageLength - static_cast<__int64>(tag.size());
    const __int64 limit = tagOffset + static_cast<__int64>(kLongestTag) + 1;
    const std::size_t carried = tag.size();
    unsigned int openState = quoteSearch->openState();
    __int64 end = pageOffset + pageLength; // of what is known
    bool cut = true;
    XmlStr text;
    while (cut && end < std::min(fileLength, limit)) {
        __int64 enough = 2 * end - tagOffset;
        if (openState != QuoteSearch::kStates) {
            __int64 quoteEnd = end; // stays, if the search is in vain
            if (!followOpenSearch(end, openState, limit, quoteEnd)) return false;
            enough = quoteEnd != end ? std::max(enough, quoteEnd) : end;
        }
        if (!appendPages(tag, end, std::min(enough, limit))) return false;
        startAfresh();
        text = XmlStr();
        text.buffer = tag.data();
        text.length = static_cast<unsigned long>(tag.size());
        QuoteSearch search;
        search.startOver(vainStatesAt(end));
        entry.parseTag(text, &search, cut);
        openState = search.openState();
    }
    const bool endless = cut && end < fileLength; // the rest of it holds no "<" that the scanner would see
    const bool tooLong = endless || text.position > kLongestTag;
    if (tooLong) failed(VELLIX_ERR_OUT_OF_RANGE);
    if (endless || text.position > carried) {
        standBehind(endless ? end : tagOffset + static_cast<__int64>(text.position));
    } else if (mapPage(page) && (ofFile || setText(before.buffer, before.length))) {
        xmlStr->position = start + text.position;
    }
    return !tooLong;
}

// Appends the pages from `end` on to `text`, until it reaches `enough` or the end of the file, and moves `end` along. False if
// a page can't be had.
bool VellixReader::appendPages(std::string& text, __int64& end, __int64 enough) {
    for (; end < std::min(enough, fileLength); end += pageLength) {
        if (!mapPage(end)) return false;
        text.append(pageAddress, pageLength);
    }
    return true;
}

// Follows a search for a quote that was left open at `offset`, where a page ends, up to `limit`. `quoteEnd` becomes where
// the quote ends, or the limit; it stays if there is no quote, and no search comes this way again. Each page is searched
// in vain for each state once, so the cost of all searches is linear. False if a page can't be had.
bool VellixReader::followOpenSearch(__int64 offset, unsigned int state, __int64 limit, __int64& quoteEnd) {
    std::vector<std::pair<__int64, unsigned int>> passed;
    QuoteSearch::Outcome outcome = QuoteSearch::kMetEnd;
    while (outcome >= QuoteSearch::kMetEnd && offset < fileLength && (vainStatesAt(offset) >> state & 1U) == 0) {
        if (offset >= limit) {
            quoteEnd = limit;
            return true;
        }
        passed.emplace_back(offset, state);
        if (!mapPage(offset)) return false;
        std::size_t behind = 0;
        outcome = QuoteSearch::goOn(pageAddress, pageLength, state, behind);
        if (outcome == QuoteSearch::kFound) {
            quoteEnd = offset + static_cast<__int64>(behind);
            return true;
        }
        offset += pageLength;
    }
    for (const auto& [place, left] : passed) vainStates[place] |= 1U << left;
    return true;
}

unsigned int VellixReader::vainStatesAt(__int64 offset) const {
    const auto known = vainStates.find(offset);
    return known != vainStates.end() ? known->second : 0;
}

// Moves the position to `offset` of the file, in the page to which the byte before it belongs.
void VellixReader::standBehind(__int64 offset) {
    const __int64 page = (offset - 1) / kPageSize * kPageSize;
    if (mapPage(page)) xmlStr->position = static_cast<unsigned long>(offset - page);
}

// --- The root ---

VellixDoc& VellixReader::rootDoc() { return root; }

std::string VellixReader::getSessionID() const { return root.getAttributeStr(1); }

bool VellixReader::isComplete() {
    int mark = 0;
    return root.getAttribute(0, mark) && mark != 0;
}

int VellixReader::getLastError() const { return lastError; }

XmlStr* VellixReader::getXmlStr() { return xmlStr.get(); }
