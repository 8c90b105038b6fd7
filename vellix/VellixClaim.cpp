// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixClaim.h"

#include <mutex>

namespace {

// All claims of the process, for as long as their writers may still look at their files.
std::mutex listMutex;
VellixClaim* newest = nullptr;

} // namespace

void VellixClaim::take(std::FILE* stream) {
    drop();
    if (!platform::stateOf(stream, file)) return;
    const std::lock_guard<std::mutex> lock(listMutex);
    for (VellixClaim* other = newest; other != nullptr; other = other->behind) {
        if (isSameFile(other->file, file)) other->lost.store(true, std::memory_order_relaxed);
    }
    behind = newest;
    if (newest != nullptr) newest->before = this;
    newest = this;
    taken = true;
}

void VellixClaim::keep(std::FILE* stream) {
    if (!taken) return;
    kept = platform::keepOpen(stream);
    if (kept < 0) leave(); // what is lost stays so
}

void VellixClaim::drop() {
    leave();
    lost.store(false, std::memory_order_relaxed);
}

// Takes the claim out of the list of all.
void VellixClaim::leave() {
    if (!taken) return;
    if (kept >= 0) platform::letGo(kept);
    kept = -1;
    const std::lock_guard<std::mutex> lock(listMutex);
    (before != nullptr ? before->behind : newest) = behind;
    if (behind != nullptr) behind->before = before;
    before = nullptr;
    behind = nullptr;
    taken = false;
}
