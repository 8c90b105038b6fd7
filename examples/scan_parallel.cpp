// SPDX-License-Identifier: Apache-2.0
// Prints the entries of a catalog whose name holds a word, as find_entries does, with as many threads as asked for.
//
//     scan_parallel WORD CATALOG THREADS [BYTES]    in parts of so many bytes
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "vellix/VellixAttributes.h"
#include "vellix/VellixWalk.h"

namespace {

constexpr unsigned long kPartLength = 4000000;

// [part]
// What one thread alone would print of a part. Throws if the part can't be read.
std::string scanPart(const vellix::Walk& whole, std::uint64_t begin, std::uint64_t end, const std::string& word) {
    std::string lines;
    vellix::Walk part = whole.part(begin, end, VELLIX_DOC_FH);
    for (const VellixEntry& file : part.entries(VELLIX_DOC_FH)) {
        const std::string& name = file.getAttributeStr(vellix::fh::NM.number);
        if (name.find(word) != std::string::npos) lines += name + '\n';
    }
    if (!part) throw std::runtime_error(part.error().message());
    return lines;
}
// [part]

// [threads]
// Each thread takes the next part that nobody has taken; the lines come out in the order of the file.
void scan(const vellix::Walk& whole, std::uint64_t partLength, const std::string& word, unsigned long threadCount) {
    partLength = std::min(partLength, std::max<std::uint64_t>(whole.size(), 1));
    const std::size_t partCount = static_cast<std::size_t>((whole.size() + partLength - 1) / partLength);
    std::vector<std::promise<std::string>> results(partCount);
    std::atomic<std::size_t> nextPart{0};
    const auto work = [&] {
        for (std::size_t part = nextPart++; part < partCount; part = nextPart++) {
            try {
                results[part].set_value(scanPart(whole, part * partLength, (part + 1) * partLength, word));
            } catch (...) {
                results[part].set_exception(std::current_exception());
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned long i = 0; i < threadCount; ++i) threads.emplace_back(work);
    std::exception_ptr failure;
    for (std::promise<std::string>& result : results) {
        try {
            const std::string lines = result.get_future().get();
            if (failure == nullptr) std::fwrite(lines.data(), 1, lines.size(), stdout);
        } catch (...) {
            if (failure == nullptr) failure = std::current_exception();
        }
    }
    for (std::thread& thread : threads) thread.join();
    if (failure != nullptr) std::rethrow_exception(failure);
}
// [threads]

unsigned long numberOr(unsigned long otherwise, const char* text) {
    const unsigned long number = text != nullptr ? std::strtoul(text, nullptr, 10) : 0;
    return number != 0 ? number : otherwise;
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 4 && argumentCount != 5) {
        std::fputs("usage: scan_parallel WORD CATALOG THREADS [BYTES]\n", stderr);
        return 2;
    }
    try {
        const vellix::Walk whole(arguments[2]);
        if (!whole) throw std::runtime_error(whole.error().message());
        const unsigned long threads = std::min(numberOr(1, arguments[3]), 256UL);
        scan(whole, numberOr(kPartLength, arguments[4]), arguments[1], threads); // null behind the last argument
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "scan_parallel: %s\n", problem.what());
        return 1;
    }
}
