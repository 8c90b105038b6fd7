// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixEntry.h"

#include <utility>

#include "vellix/VellixStore.h"

// --- Construction ---

VellixEntry::VellixEntry(VELLIX_DOC_TYPE docType, unsigned short id, bool /*flag*/)
    : store(VellixStore::none()), type(docType) {
    if (id != 0) addAttribute(1, id, false);
}

VellixEntry::VellixEntry(VELLIX_DOC_TYPE docType, const char* buffer, unsigned long length, bool flag)
    : store(VellixStore::none()), type(docType) {
    loadFromBuffer(docType, buffer, length, flag);
}

VellixEntry::VellixEntry(const VellixEntry& other)
    : store(VellixStore::copyOf(*other.store)), lastError(other.lastError), type(other.type),
      numChildDocs(other.numChildDocs), numEntries(other.numEntries), entryClosed(other.entryClosed) {}

VellixEntry::VellixEntry(VellixEntry&& other) noexcept
    : store(std::exchange(other.store, VellixStore::none())), lastError(other.lastError), type(other.type),
      numChildDocs(other.numChildDocs), numEntries(other.numEntries), entryClosed(other.entryClosed) {
    other.makeNew(VELLIX_DOC_NONE);
}

VellixEntry::~VellixEntry() { VellixStore::release(store); }

void VellixEntry::operator=(const VellixEntry& other) {
    if (this == &other) return;
    VellixStore::assign(store, *other.store); // first, since it may fail
    type = other.type;
    numChildDocs = other.numChildDocs;
    numEntries = other.numEntries;
    entryClosed = other.entryClosed;
}

void VellixEntry::operator=(VellixEntry&& other) noexcept {
    if (this == &other) return;
    VellixStore::release(store);
    store = std::exchange(other.store, VellixStore::none());
    type = other.type;
    numChildDocs = other.numChildDocs;
    numEntries = other.numEntries;
    entryClosed = other.entryClosed;
    other.makeNew(VELLIX_DOC_NONE);
}

// Gives everything but the values and the name what construction gives it.
void VellixEntry::makeNew(VELLIX_DOC_TYPE newType) noexcept {
    lastError = VELLIX_SUCCESS;
    type = newType;
    numChildDocs = 0;
    numEntries = 0;
    entryClosed = false;
}

// --- State ---

void VellixEntry::clear() {
    VellixStore::clear(store);
    type = VELLIX_DOC_NONE;
    numChildDocs = 0;
    numEntries = 0;
}

bool VellixEntry::operator==(const VellixEntry& other) const { return store->holdsSameAs(*other.store); }

void VellixEntry::setError(int code) { lastError = code; }

int VellixEntry::getLastError() const { return lastError; }

const char* VellixEntry::getEntryName() const { return store->name(); }

VELLIX_DOC_TYPE VellixEntry::getType() const { return type; }

void VellixEntry::setType(VELLIX_DOC_TYPE docType) { type = docType; }

VELLIX_DOC_TYPE VellixEntry::getParentType() const { return row().parentType; }

bool VellixEntry::includeXmlHeader() const { return row().includeXmlHeader != 0; }

bool VellixEntry::cacheData() const { return row().cacheData != 0; }

bool VellixEntry::isLeafDoc() const { return row().isLeafDoc != 0; }

bool VellixEntry::isEntryClosed() const { return entryClosed; }

void VellixEntry::setIsEntryClosed(bool closed) { entryClosed = closed; }

int VellixEntry::getNumberOfAttributes() const { return static_cast<int>(store->count()); }

int VellixEntry::getTotalAttributes() const { return kLongestMap; }

unsigned long VellixEntry::getNumberOfChildDocs() const { return numChildDocs; }

unsigned long VellixEntry::getNumberOfEntries() const { return numEntries; }

bool VellixEntry::isEmpty() const { return store->count() == 0; }

bool VellixEntry::isLeaf() const { return numChildDocs == 0 && numEntries == 0; }

// --- Schema ---

const VellixDocTypeRow& VellixEntry::row() const { return xmlDocTypeRow(type); }

VellixMapTag* VellixEntry::getXmlMapTag(VELLIX_DOC_TYPE docType) {
    return const_cast<VellixMapTag*>(xmlDocTypeRow(docType).mapTag);
}

unsigned long VellixEntry::getXmlMapTagLen(VELLIX_DOC_TYPE docType) { return xmlDocTypeRow(docType).mapTagLen; }

VellixMapTag* VellixEntry::getXmlMapTag() const { return getXmlMapTag(type); }

unsigned long VellixEntry::getXmlMapTagLen() const { return getXmlMapTagLen(type); }

char* VellixEntry::getAttributeTag(int position) const {
    const VellixMapTag* attribute = xmlRowAt(type, static_cast<unsigned int>(position));
    return attribute != nullptr ? const_cast<char*>(attribute->tag) : nullptr;
}

int VellixEntry::getAttributeTagLen(int position) const {
    const VellixMapTag* attribute = xmlRowAt(type, static_cast<unsigned int>(position));
    return attribute != nullptr ? static_cast<int>(attribute->tagLen) : 0;
}

int VellixEntry::getAttributeMaxLen(int position) const {
    const VellixMapTag* attribute = xmlRowAt(type, static_cast<unsigned int>(position));
    return attribute != nullptr ? attribute->maxLen : -2;
}

VELLIX_DATA_TYPE VellixEntry::getDefaultDataType(unsigned short id) const {
    const VellixMapTag* attribute = xmlRowById(type, id);
    return attribute != nullptr ? attribute->dataType : static_cast<VELLIX_DATA_TYPE>(-1);
}

VELLIX_NUMERIC_ENCODING VellixEntry::getEncoding(unsigned short id) const {
    const VellixMapTag* attribute = xmlRowById(type, id);
    return attribute != nullptr ? attribute->encoding : VELLIX_ENC_DECIMAL;
}
