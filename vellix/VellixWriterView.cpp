// SPDX-License-Identifier: Apache-2.0
// What a writer does with its finished file: views of it, and the completion mark.
#include "vellix/VellixWriter.h"

#include <cstdint>
#include <cstring>
#include <limits>

#include "vellix/VellixClaim.h"
#include "vellix/VellixFormat.h"
#include "vellix/VellixMMap.h"
#include "vellix/platform/Platform.h"

namespace {

constexpr int kReadWrite = 2; // mode of VellixMMap::open
constexpr int kProtWrite = 4; // of VellixMMap::map
constexpr int kShared = 2;

} // namespace

// --- The view ---

bool VellixWriter::remap(unsigned long length) {
    const __int64 want = length != 0 ? static_cast<__int64>(length) : position;
    if (mappedSize >= want) return false;
    endView();
    if (!openFinished()) {
        setError(VELLIX_ERR_FILE_OPEN);
        return false;
    }
    mappedSize = want;
    mapFront(static_cast<std::uint64_t>(want));
    if (complete && mappedAddr != nullptr) storeMark();
    return true;
}

// Opens the file again, if its path still leads to it. The path may name another one by now, or nothing.
bool VellixWriter::openFinished() {
    mapHandle = platform::kInvalidHandle;
    if (!claim->isTaken() || claim->isLost()) return false;
    platform::FileState state;
    if (mmap->openFile(path.c_str(), kReadWrite, false) == VELLIX_SUCCESS && platform::stateOf(mmap->handle(), state) &&
        claim->isOn(state)) {
        mapHandle = mmap->handle();
        return true;
    }
    mmap->close();
    return false;
}

// Maps the first `length` bytes of the file, if it is as long as it was made.
void VellixWriter::mapFront(std::uint64_t length) {
    if (mmap->fileSize() != fileLength) {
        setError(VELLIX_ERR_FILE_SIZE);
        return;
    }
    if (length <= std::numeric_limits<std::size_t>::max()) {
        mmap->mapView(static_cast<std::size_t>(length), kProtWrite, kShared, 0);
        mappedAddr = static_cast<char*>(mmap->addr());
    }
    if (mappedAddr == nullptr) setError(VELLIX_ERR_NOT_MAPPED);
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

// --- The mark ---

void VellixWriter::markComplete() { complete = true; }

// Sets the mark in the closed file, or tells what prevents it.
void VellixWriter::mark() {
    if (!claim->isTaken()) {
        setError(VELLIX_ERR_FILE_OPEN);
    } else if (!intact) {
        setError(VELLIX_ERR_BAD_HANDLE);
    } else if (completeOffset == 0) {
        setError(VELLIX_ERR_SYNTAX);
    } else if (mappedSize >= completeOffset + 2) {
        setError(VELLIX_ERR_NOT_MAPPED); // the view is in a caller's hands
    } else {
        remap(static_cast<unsigned long>(completeOffset) + 2);
    }
}

// Stores the mark through the view. It is a promise, so the rest of the file is on the disk before, and it is there behind.
void VellixWriter::storeMark() {
    if (marked || mappedSize < completeOffset + 2) return;
    if (!intact) return setError(VELLIX_ERR_BAD_HANDLE);
    if (!hasPlaceForMark()) return setError(VELLIX_ERR_SYNTAX);
    if (!stored) stored = platform::syncFile(mapHandle);
    if (!stored) {
        intact = false;
        return setError(VELLIX_ERR_BAD_HANDLE);
    }
    char& place = mappedAddr[completeOffset];
    const char before = place;
    place = '1';
    marked = platform::syncView(mapHandle, mappedAddr, static_cast<std::size_t>(completeOffset) + 2);
    if (marked) return;
    place = before;
    setError(VELLIX_ERR_BAD_HANDLE);
}

// Whether the file still begins as it was written: the mark must never damage one.
bool VellixWriter::hasPlaceForMark() const {
    if (completeOffset == 0 || std::memcmp(mappedAddr, kXmlHeader, kXmlHeaderLength) != 0) return false;
    const char* at = mappedAddr + completeOffset;
    return std::memcmp(at - kMarkLength, kMark, kMarkLength) == 0 && at[0] >= '0' && at[0] <= '9' && at[1] == '"';
}
