// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixMMap.h"

#include <cstddef>

#include "vellix/platform/Platform.h"

namespace {

// The bits of `prot` and `flags`.
constexpr int kProtRead = 2;
constexpr int kProtWrite = 4;
constexpr int kFlagPrivate = 1;
constexpr int kFlagShared = 2;

constexpr __int64 kTwoTo32 = 1LL << 32;

struct OpenRow {
    unsigned long access;
    unsigned long shareMode;
};

const OpenRow kOpenToRead = {platform::kGenericRead, platform::kShareRead};
const OpenRow kOpenToWrite = {platform::kGenericRead | platform::kGenericWrite,
                              platform::kShareRead | platform::kShareWrite | platform::kShareDelete};

unsigned long pageProtection(int prot) {
    return (prot & kProtRead) != 0 ? platform::kPageReadOnly : platform::kSecCommit | platform::kPageReadWrite;
}

unsigned long viewAccess(int prot, int flags) {
    if ((flags & kFlagPrivate) != 0) return platform::kMapCopy;
    if ((flags & kFlagShared) == 0) return 0;
    if ((prot & kProtWrite) != 0) return platform::kMapWrite;
    return (prot & kProtRead) != 0 ? platform::kMapRead : 0;
}

void closeHandle(void*& handle) {
    if (handle == platform::kInvalidHandle) return;
    platform::CloseHandle(handle);
    handle = platform::kInvalidHandle;
}

} // namespace

VellixMMap::VellixMMap() : fileHandle(platform::kInvalidHandle), mappingHandle(platform::kInvalidHandle) {}

VellixMMap::~VellixMMap() { close(); }

int VellixMMap::open(const wchar_t* path, int mode) { return openFile(path, mode, mode != 0); }

int VellixMMap::openFile(const wchar_t* path, int mode, bool mayCreate) {
    close();
    if (path == nullptr) return VELLIX_ERR_NULL_ARGUMENT;
    filePath = path;
    const OpenRow& row = mode == 0 ? kOpenToRead : kOpenToWrite;
    const unsigned long disposition = mayCreate ? platform::kOpenAlways : platform::kOpenExisting;
    fileHandle = platform::CreateFileW(filePath.c_str(), row.access, row.shareMode, nullptr, disposition,
                                       platform::kAttributeNormal, nullptr);
    return LoadFileInfo() == VELLIX_SUCCESS ? VELLIX_SUCCESS : VELLIX_ERR_FILE_OPEN;
}

int VellixMMap::map(void* /*start*/, int length, int prot, int flags, void* /*fd*/, __int64 offset) {
    if (length < 0) offset = -1; // no view begins there or ends there
    mapView(length < 0 ? 0 : static_cast<std::size_t>(length), prot, flags, offset);
    return VELLIX_SUCCESS;
}

void VellixMMap::mapView(std::size_t length, int prot, int flags, __int64 offset) {
    // Made once. A null that came of it stays until `close`, and every view of it is null.
    if (mappingHandle == platform::kInvalidHandle) {
        mappingHandle = platform::CreateFileMappingW(fileHandle, nullptr, pageProtection(prot), 0, 0, nullptr);
    }
    viewAddress = nullptr;
    if (offset < 0) return;
    const auto high = static_cast<unsigned long>(offset / kTwoTo32);
    const auto low = static_cast<unsigned long>(offset % kTwoTo32);
    viewAddress = platform::MapViewOfFile(mappingHandle, viewAccess(prot, flags), high, low, length);
}

int VellixMMap::unmap(void* view) {
    if (view != viewAddress) return VELLIX_ERR_NOT_MAPPED;
    if (view != nullptr && !platform::UnmapViewOfFile(view)) {
        const auto error = static_cast<int>(platform::GetLastError());
        if (error != 0) return error;
    }
    viewAddress = nullptr;
    return VELLIX_SUCCESS;
}

int VellixMMap::close() {
    unmap(viewAddress);
    closeHandle(mappingHandle);
    closeHandle(fileHandle);
    return VELLIX_SUCCESS;
}

void* VellixMMap::addr() const { return viewAddress; }

void* VellixMMap::handle() const { return fileHandle; }

__int64 VellixMMap::fileSize() const { return fileLength; }

int VellixMMap::LoadFileInfo() {
    if (fileHandle == platform::kInvalidHandle) return VELLIX_ERR_BAD_HANDLE;
    constexpr unsigned long kUnknown = 0xFFFFFFFFUL; // or a true size, if no error is told
    unsigned long high = 0;
    const unsigned long low = platform::GetFileSize(fileHandle, &high);
    if (low == kUnknown && platform::GetLastError() != 0) return VELLIX_ERR_FILE_SIZE;
    fileLength = static_cast<__int64>(high) * kTwoTo32 + static_cast<__int64>(low);
    return VELLIX_SUCCESS;
}
