// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_WALK_SOURCE_H
#define VELLIX_WALK_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "vellix/VellixWalk.h"

// The bytes under a walk, seen through a window that slides forward. Internal, not installed.
//
// A "<" begins a tag unless it belongs to the character of a lead byte in front of it, and whether that byte is a lead byte
// at all may depend on everything back to the last tag. But where none of the three bytes in front of a "<" can reach it,
// there is a tag in any case: it is *certain*. All that a library of ours writes is full of those, so a part finds where
// tags begin by looking back a little.
namespace vellix {

// How many bytes in front of a "<" can be a lead byte that covers it.
constexpr std::uint64_t kReach = 3;

// Windows end at multiples of this. Larger reads are no faster, and this much stays in the processor's cache.
constexpr std::uint64_t kWindow = std::uint64_t{64} * 1024;

// Where the bytes of a window come from.
class WalkBytes {
public:
    virtual ~WalkBytes() = default;

    /// Reads up to `room` bytes at `offset`. 0 at the end, and with `error` set for a failure.
    virtual std::size_t read(std::uint64_t offset, char* out, std::size_t room, WalkError& error) = 0;

    /// The number of bytes, where it is known from the start.
    virtual std::uint64_t size() const { return 0; }

    /// Whether `read` takes any offset, from any thread.
    virtual bool hasParts() const { return false; }
};

std::shared_ptr<WalkBytes> openFile(const std::filesystem::path& path, WalkError& error);
std::shared_ptr<WalkBytes> callFor(ReadBytes read);

class WalkSource {
public:
    explicit WalkSource(std::string_view wholeText) : text(wholeText), isText(true) {}
    explicit WalkSource(std::shared_ptr<WalkBytes> from) : bytes(std::move(from)) {}

    /// A source over the same bytes, with its window still empty.
    WalkSource again() const;

    std::uint64_t size() const { return isText ? text.size() : bytes != nullptr ? bytes->size() : 0; }
    const WalkError& error() const { return failure; }
    void fail(const WalkError& error) { failure = error; }

    /// The window: `length()` bytes at `data()`, the first of them at `start()`.
    const char* data() const { return first; }
    std::uint64_t start() const { return firstOffset; }
    std::size_t length() const { return count; }
    std::uint64_t end() const { return firstOffset + count; }

    /// Changes with every change of the window.
    std::uint64_t generation() const { return changes; }

    /// Makes an empty window at `offset`, with what `isCertain` needs in front of it.
    void seek(std::uint64_t offset);

    /// Reads at least `least` bytes behind the window, but none behind `upTo`, and lets go of those in front of `keep`.
    /// False if there are none any more or they can't be had; then the window ends where it ended.
    bool grow(std::uint64_t keep, std::size_t least, std::uint64_t upTo);

    /// True if a "<" at `offset`, which is in the window, begins a tag whatever stands in front.
    bool isCertain(std::uint64_t offset) const {
        const char* const at = first + (offset - firstOffset);
        const bool isAscii = at - first >= 3 && ((at[-1] | at[-2] | at[-3]) & 0x80) == 0;
        return isAscii || isBeyondReach(offset);
    }

    /// Finds the last "<" in [low, before) that is certain. False if there is none or the bytes can't be had. The window
    /// is of no use afterwards.
    bool findCertain(std::uint64_t low, std::uint64_t before, std::uint64_t& found);

private:
    bool isBeyondReach(std::uint64_t offset) const;
    bool growText(std::uint64_t keep, std::uint64_t upTo);
    bool growBytes(std::uint64_t keep, std::size_t least, std::uint64_t upTo);
    void slideTo(std::uint64_t keep, std::uint64_t upTo);

    std::string_view text;
    bool isText = false;
    std::shared_ptr<WalkBytes> bytes;
    std::vector<char> buffer; // what was read of `bytes`, from `firstOffset` on
    const char* first = nullptr;
    std::uint64_t firstOffset = 0;
    std::size_t count = 0;
    std::uint64_t changes = 0;
    bool atEnd = false;
    WalkError failure;
};

} // namespace vellix

#endif
