// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixEntry.h"

#include <algorithm>
#include <new>
#include <utility>

#include "vellix/VellixStore.h"

// --- Construction ---

VellixEntry::VellixEntry(VELLIX_DOC_TYPE docType, unsigned short id, bool /*flag*/) : type(docType) {
    initAttribute();
    if (id != 0) addAttribute(1, id, false);
}

VellixEntry::VellixEntry(VELLIX_DOC_TYPE docType, const char* buffer, unsigned long length, bool /*flag*/)
    : type(docType) {
    initAttribute();
    if (buffer != nullptr) parseAttrXMLString(buffer, length);
}

VellixEntry::VellixEntry(const VellixEntry& other) : lastError(other.lastError), type(other.type) {
    initAttribute();
    copyAttribute(other);
    copyState(other);
}

VellixEntry::VellixEntry(VellixEntry&& other) noexcept : lastError(other.lastError), type(other.type) {
    takeStore(other);
}

VellixEntry::~VellixEntry() = default;

void VellixEntry::operator=(const VellixEntry& other) {
    if (this == &other) return;
    type = other.type;
    copyAttribute(other);
    copyState(other);
}

void VellixEntry::operator=(VellixEntry&& other) noexcept {
    if (this == &other) return;
    type = other.type;
    takeStore(other);
}

void VellixEntry::copyState(const VellixEntry& other) {
    entryNamed = false;
    if (other.entryNamed) {
        try {
            entryName = other.entryName;
            entryNamed = true;
        } catch (const std::bad_alloc&) {
            entryName.clear(); // the copy goes without a name
        }
    }
    numChildDocs = other.numChildDocs;
    numEntries = other.numEntries;
    entryClosed = other.entryClosed;
}

void VellixEntry::takeStore(VellixEntry& other) noexcept {
    attrLen = std::move(other.attrLen);
    attrValue = std::move(other.attrValue);
    totalAttributes = other.totalAttributes;
    numAttributes = other.numAttributes;
    escapedTotal = other.escapedTotal;
    std::copy_n(other.present, kPresentWords, present);
    entryNamed = other.entryNamed;
    entryName = std::move(other.entryName);
    bulky = other.bulky;
    entryClosed = other.entryClosed;
    numChildDocs = other.numChildDocs;
    numEntries = other.numEntries;
    other.totalAttributes = 0;
    other.numAttributes = 0;
    other.escapedTotal = 0;
    std::fill_n(other.present, kPresentWords, 0);
    other.entryNamed = false;
}

void VellixEntry::loadFromBuffer(VELLIX_DOC_TYPE docType, const char* buffer, unsigned long length, bool /*flag*/) {
    type = docType;
    entryNamed = false;
    lastError = VELLIX_SUCCESS;
    numChildDocs = 0;
    numEntries = 0;
    entryClosed = false;
    initAttribute();
    if (buffer != nullptr) parseAttrXMLString(buffer, length);
}

// --- State ---

void VellixEntry::clear() {
    entryNamed = false;
    resetAttribute();
    type = VELLIX_DOC_NONE;
    numChildDocs = 0;
    numEntries = 0;
}

bool VellixEntry::operator==(const VellixEntry& other) const {
    if (totalAttributes != other.totalAttributes || numAttributes != other.numAttributes) return false;
    unsigned int compared = 0;
    for (unsigned int id = 0; compared < numAttributes; ++id) {
        if (isPresent(id) != other.isPresent(id)) return false;
        if (!isPresent(id)) continue;
        if (attrValue[id] != other.attrValue[id]) return false;
        ++compared;
    }
    return true;
}

void VellixEntry::setError(int code) { lastError = code; }

int VellixEntry::getLastError() const { return lastError; }

const char* VellixEntry::getEntryName() const { return entryNamed ? entryName.c_str() : nullptr; }

VELLIX_DOC_TYPE VellixEntry::getType() const { return type; }

void VellixEntry::setType(VELLIX_DOC_TYPE docType) { type = docType; }

VELLIX_DOC_TYPE VellixEntry::getParentType() const { return row().parentType; }

bool VellixEntry::includeXmlHeader() const { return row().includeXmlHeader != 0; }

bool VellixEntry::cacheData() const { return row().cacheData != 0; }

bool VellixEntry::isLeafDoc() const { return row().isLeafDoc != 0; }

bool VellixEntry::isEntryClosed() const { return entryClosed; }

void VellixEntry::setIsEntryClosed(bool closed) { entryClosed = closed; }

int VellixEntry::getNumberOfAttributes() const { return numAttributes; }

int VellixEntry::getTotalAttributes() const { return static_cast<int>(totalAttributes); }

unsigned long VellixEntry::getNumberOfChildDocs() const { return numChildDocs; }

unsigned long VellixEntry::getNumberOfEntries() const { return numEntries; }

bool VellixEntry::isEmpty() const { return numAttributes == 0; }

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
