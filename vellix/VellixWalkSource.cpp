// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixWalkSource.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "vellix/VellixPath.h"
#include "vellix/VellixUtils.h"
#include "vellix/platform/Platform.h"

namespace vellix {

namespace {

// Of a place in memory that bytes are copied to quickly.
constexpr std::size_t kAlignment = 64;

class FileBytes : public WalkBytes {
public:
    FileBytes() = default;
    ~FileBytes() override { platform::CloseHandle(file); }
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    bool open(const std::filesystem::path& path) {
        file = platform::CreateFileW(widePath(path).c_str(), platform::kGenericRead,
                                     platform::kShareRead | platform::kShareWrite | platform::kShareDelete, nullptr,
                                     platform::kOpenExisting, platform::kAttributeNormal, nullptr);
        if (file == platform::kInvalidHandle) return false;
        unsigned long high = 0;
        const unsigned long low = platform::GetFileSize(file, &high);
        fileLength = std::uint64_t{high} << 32 | low;
        return low != 0xFFFFFFFFUL || platform::GetLastError() == 0;
    }

    std::size_t read(std::uint64_t offset, char* out, std::size_t room, WalkError& error) override {
        room = static_cast<std::size_t>(std::min<std::uint64_t>(room, fileLength - std::min(offset, fileLength)));
        if (room == 0) return 0;
        std::size_t got = 0;
        if (!platform::readAt(file, static_cast<__int64>(offset), out, room, got) && got == 0)
            error = {WalkStatus::notRead, platform::systemError(), offset};
        else if (got == 0)
            error = {WalkStatus::shortened, {}, offset};
        return got;
    }

    std::uint64_t size() const override { return fileLength; }
    bool hasParts() const override { return true; }

private:
    void* file = platform::kInvalidHandle;
    std::uint64_t fileLength = 0;
};

class CalledBytes : public WalkBytes {
public:
    explicit CalledBytes(ReadBytes function) : call(std::move(function)) {}

    std::size_t read(std::uint64_t offset, char* out, std::size_t room, WalkError& error) override {
        std::error_code reason;
        const std::size_t got = std::min(call(out, room, reason), room);
        if (reason) error = {WalkStatus::notRead, reason, offset + got};
        return got;
    }

private:
    ReadBytes call;
};

// The last "<" of `length` bytes, null if there is none.
const char* lastTag(const char* text, std::size_t length) {
    while (length != 0 && text[length - 1] != '<') --length;
    return length != 0 ? text + length - 1 : nullptr;
}

} // namespace

std::shared_ptr<WalkBytes> openFile(const std::filesystem::path& path, WalkError& error) {
    const auto bytes = std::make_shared<FileBytes>(); // comes first, since what is open needs an owner
    if (bytes->open(path)) return bytes;
    error = {WalkStatus::notOpened, platform::systemError(), 0};
    return nullptr;
}

std::shared_ptr<WalkBytes> callFor(ReadBytes read) { return std::make_shared<CalledBytes>(std::move(read)); }

WalkSource WalkSource::again() const {
    if (isText) return WalkSource(text);
    WalkSource other(bytes);
    if (bytes == nullptr) other.failure = failure;
    if (bytes != nullptr && !bytes->hasParts()) other.failure.status = WalkStatus::noParts;
    return other;
}

void WalkSource::seek(std::uint64_t offset) {
    firstOffset = offset - std::min(offset, kReach);
    if (isText) firstOffset = std::min<std::uint64_t>(firstOffset, text.size());
    first = isText ? text.data() + firstOffset : buffer.data();
    count = 0;
    atEnd = false;
    ++changes;
}

bool WalkSource::grow(std::uint64_t keep, std::size_t least, std::uint64_t upTo) {
    if (atEnd || failure.status != WalkStatus::good) return false; // and the window stays as it is
    ++changes;
    keep = std::min(std::max(keep, firstOffset), end());
    return isText ? growText(keep, upTo) : growBytes(keep, least, upTo);
}

bool WalkSource::growText(std::uint64_t keep, std::uint64_t upTo) {
    const std::uint64_t before = end();
    firstOffset = keep;
    first = text.data() + keep;
    count = static_cast<std::size_t>(std::max(before, std::min<std::uint64_t>(upTo, text.size())) - keep);
    atEnd = end() == text.size();
    return end() > before;
}

bool WalkSource::growBytes(std::uint64_t keep, std::size_t least, std::uint64_t upTo) {
    slideTo(keep, upTo);
    const std::size_t kept = count;
    const auto room = static_cast<std::size_t>(std::max(upTo, end()) - keep);
    char* const out = buffer.data() + (first - buffer.data());
    while (count - kept < least && count < room) {
        const std::size_t got = bytes->read(end(), out + count, room - count, failure);
        count += got;
        atEnd = got == 0;
        if (got == 0 || failure.status != WalkStatus::good) break;
    }
    return count > kept;
}

// Makes `keep` the start of the window, in a buffer with room up to `upTo` and not for very much more. What is read next
// goes to a place that the processor copies to quickly.
void WalkSource::slideTo(std::uint64_t keep, std::uint64_t upTo) {
    const auto passed = static_cast<std::size_t>(keep - firstOffset);
    const std::size_t kept = count - passed;
    const std::size_t room = static_cast<std::size_t>(std::max(upTo, end()) - keep) + kAlignment;
    const bool tooLarge = buffer.size() > 16 * kWindow && room < buffer.size() / 4;
    if (room <= buffer.size() && !tooLarge && passed == 0) return;
    std::vector<char> other(room <= buffer.size() && !tooLarge ? 0
                                                               : std::max<std::size_t>(room, kWindow + kWindow / 4));
    char* to = other.empty() ? buffer.data() : other.data();
    to += (kAlignment - (reinterpret_cast<std::uintptr_t>(to) + kept) % kAlignment) % kAlignment;
    if (kept != 0) std::memmove(to, first + passed, kept);
    if (!other.empty()) buffer.swap(other);
    first = to;
    firstOffset = keep;
    count = kept;
}

bool WalkSource::isBeyondReach(std::uint64_t offset) const {
    const char* const at = first + (offset - firstOffset);
    for (std::ptrdiff_t back = 1; back <= std::min<std::ptrdiff_t>(kReach, at - first); ++back) {
        if (xmlStepTable[static_cast<unsigned char>(at[-back])] > back) return false;
    }
    return true;
}

bool WalkSource::findCertain(std::uint64_t low, std::uint64_t before, std::uint64_t& found) {
    while (before > low) {
        const std::uint64_t chunk = before - std::min<std::uint64_t>(before - low, kWindow);
        seek(chunk);
        while (end() < before && grow(firstOffset, static_cast<std::size_t>(before - end()), before)) {
        }
        if (end() < before) return false;
        const char* const from = first + (chunk - firstOffset);
        auto length = static_cast<std::size_t>(before - chunk);
        while (const char* at = lastTag(from, length)) {
            found = chunk + static_cast<std::uint64_t>(at - from);
            if (isCertain(found)) return true;
            length = static_cast<std::size_t>(at - from);
        }
        before = chunk;
    }
    return false;
}

} // namespace vellix
