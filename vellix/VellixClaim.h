// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_CLAIM_H
#define VELLIX_CLAIM_H

#include <atomic>
#include <cstdio>

#include "vellix/platform/Platform.h"

// A writer's claim on the file that it writes, by the identity of the open file, whatever becomes of its path. Of the
// writers of a process the last one that opened a file has it: that one emptied it, and what the others wrote is gone.
// Internal, not installed. A claim belongs to one thread; those of different threads may meet at a file.
class VellixClaim {
public:
    VellixClaim() = default;
    ~VellixClaim() { drop(); }
    VellixClaim(const VellixClaim&) = delete;
    VellixClaim& operator=(const VellixClaim&) = delete;

    /// Claims the file behind `stream`, and takes it from whoever has claimed it. Nothing is claimed in what is no regular
    /// file. The stream is what keeps the file's identity from being given to another one.
    void take(std::FILE* stream);

    /// Goes on without the stream, which is about to be closed. Not before: a system writes more slowly to a file that is
    /// open twice in this way. Where that fails the claim ends.
    void keep(std::FILE* stream);

    /// Ends the claim.
    void drop();

    /// Whether a file is claimed, whoever has it now.
    bool isTaken() const { return taken; }

    /// Whether another claim has taken the file since.
    bool isLost() const { return lost.load(std::memory_order_relaxed); }

    /// Whether that is the file that is claimed.
    bool isOn(const platform::FileState& state) const { return taken && isSameFile(file, state); }

private:
    static bool isSameFile(const platform::FileState& left, const platform::FileState& right) {
        return left.volume == right.volume && left.number == right.number;
    }

    void leave();

    platform::FileState file;
    int kept = -1; // what keeps the identity behind the stream
    bool taken = false;
    std::atomic<bool> lost{false};
    VellixClaim* before = nullptr; // in the list of all claims
    VellixClaim* behind = nullptr;
};

#endif
