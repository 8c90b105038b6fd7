// SPDX-License-Identifier: Apache-2.0
#include "vellix/CatQueryCriteriaHelper.h"

#include <new>

#include "vellix/VellixWriter.h"

namespace {

constexpr unsigned short kRequester = 0;
constexpr unsigned short kRequestId = 1;

} // namespace

CatQueryCriteriaHelper::CatQueryCriteriaHelper() = default;

CatQueryCriteriaHelper::~CatQueryCriteriaHelper() {
    try {
        close();
    } catch (...) {
        // The text is gone with the helper in any case; the writer cleans up after itself.
    }
}

bool CatQueryCriteriaHelper::create(const wchar_t* path) {
    if (writer != nullptr) close();
    intact = false;
    writer.reset(new (std::nothrow) VellixWriter(VELLIX_DOC_QUERY));
    if (writer == nullptr) return false;
    if (!(path != nullptr ? writer->create(path) : writer->create())) return false;
    root = &writer->getRootDoc();
    return true;
}

void CatQueryCriteriaHelper::setRequester(const char* requester) {
    if (root != nullptr) root->addAttribute(kRequester, requester);
}

void CatQueryCriteriaHelper::setRequestId(const char* requestId) {
    if (root != nullptr) root->addAttribute(kRequestId, requestId);
}

bool CatQueryCriteriaHelper::addDoc(VellixDoc& doc) { return writer != nullptr && writer->addDoc(doc); }

const char* CatQueryCriteriaHelper::serialize() {
    const char* const text = writer != nullptr ? writer->serialize() : nullptr;
    return isIntact() ? text : nullptr;
}

bool CatQueryCriteriaHelper::isIntact() const { return writer != nullptr ? writer->isIntact() : intact; }

__int64 CatQueryCriteriaHelper::size() const { return writer != nullptr ? writer->size() : 0; }

void CatQueryCriteriaHelper::close() {
    if (writer == nullptr) return;
    root = nullptr;
    writer->close();
    intact = writer->isIntact();
    writer.reset();
}
