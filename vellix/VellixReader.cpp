// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixReader.h"

#include <algorithm>
#include <new>

#include "vellix/VellixFormat.h"
#include "vellix/VellixMMap.h"
#include "vellix/VellixScanner.h"
#include "vellix/platform/Platform.h"

namespace {

constexpr int kReadOnly = 0; // mode of VellixMMap::open
constexpr int kProtRead = 2; // of VellixMMap::map
constexpr int kPrivate = 1; // a page of a shared view could be taken away

// A tag of more bytes than this is passed over.
constexpr std::size_t kLongestTag = std::size_t{16} * 1024 * 1024;

// How many bytes may be looked at in vain, and how many of them each page that is passed makes good. A tag that seems cut
// may turn out to end early after all, and a file can be made of such tags.
constexpr std::size_t kMostInVain = 16 * static_cast<std::size_t>(kPageSize);
constexpr std::size_t kInVainPerPage = 4 * static_cast<std::size_t>(kPageSize);

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
    if (path == nullptr) return false;
    filePath = path;
    if (mmap->open(filePath.c_str(), kReadOnly) != VELLIX_SUCCESS) {
        mmap->close();
        return false;
    }
    fileHandle = mmap->handle();
    fileLength = mmap->fileSize();
    if (!mapPage(0)) {
        startOver();
        return false;
    }
    readRoot();
    return true;
}

bool VellixReader::load(const char* text, unsigned long length) {
    if (text == nullptr && length != 0) return false;
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
    lookedInVain = 0;
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
    if (xmlStr == nullptr) return false;
    *xmlStr = XmlStr();
    quoteSearch->startOver();
    xmlStr->buffer = text;
    xmlStr->length = length;
    return true;
}

// Makes the page at `offset` current, with the position at its start. If it can't be mapped no page counts as mapped, and
// there is nothing more to walk.
bool VellixReader::mapPage(__int64 offset) {
    if (offset > fileLength) return false;
    if (pageLength != 0 && offset == pageOffset) return true;
    const bool unmapped = pageLength == 0 || mmap->unmap(mmap->addr()) == VELLIX_SUCCESS;
    pageLength = 0;
    pageOffset = 0;
    pageAddress = nullptr;
    morePages = false;
    if (!unmapped) return false;
    setText(nullptr, 0);
    const __int64 rest = fileLength - offset;
    const __int64 length = std::min(rest, kPageSize);
    if (length > 0) {
        mmap->map(fileHandle, static_cast<int>(length), kProtRead, kPrivate, nullptr, offset);
        if (mmap->addr() == nullptr) return false;
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
            if (start != xmlStr->length && lookedInVain <= kMostInVain) {
                if (readCutTag(entry, start, startAfresh)) break;
                startAfresh();
                continue;
            }
            if (!xmlStr->atEnd() || !entry.isEmpty()) break; // as it stands, since looking ahead has not paid
            startAfresh();
        }
        if (!mapNextPage()) break;
        lookedInVain -= std::min(lookedInVain, kInVainPerPage);
    }
    return !entry.isEmpty();
}

// Reads the tag at `start`, which the end of the page cuts, from as many pages as it takes. It is parsed again only when
// what is known of it has doubled, so that the cost stays linear. False if it was passed over.
template <class StartAfresh>
bool VellixReader::readCutTag(VellixEntry& entry, unsigned long start, StartAfresh startAfresh) {
    const bool ofFile = xmlStr->buffer == pageAddress;
    std::string tag(xmlStr->buffer + start, xmlStr->length - start);
    const __int64 tagOffset = pageOffset + pageLength - static_cast<__int64>(tag.size());
    const std::size_t carried = tag.size();
    bool cut = true;
    XmlStr text;
    while (cut && morePages && tag.size() <= kLongestTag) {
        const std::size_t enough = std::min(2 * tag.size(), kLongestTag + 1);
        while (tag.size() < enough && mapNextPage()) tag.append(pageAddress, pageLength);
        startAfresh();
        text = XmlStr();
        text.buffer = tag.data();
        text.length = static_cast<unsigned long>(tag.size());
        entry.parseTag(text, nullptr, cut);
    }
    if (cut && morePages) { // endless: the rest of it holds no "<" that the scanner would see
        xmlStr->position = xmlStr->length;
        return false;
    }
    if (text.position <= carried) lookedInVain += tag.size();
    const std::size_t end = ofFile ? text.position : std::max<std::size_t>(text.position, carried);
    standBehind(tagOffset + static_cast<__int64>(end));
    return text.position <= kLongestTag;
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

XmlStr* VellixReader::getXmlStr() { return xmlStr.get(); }
