// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_FUZZ_GUARDED_H
#define VELLIX_FUZZ_GUARDED_H

#include <cstddef>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

// Bytes that end where a memory page ends, with a page behind them that can't be touched: one byte read or written too far
// ends the program, with or without a sanitizer. For POSIX systems, and for one thread.
class Guarded {
public:
    explicit Guarded(std::size_t size)
        : length(size), usable((size + pageSize() - 1) / pageSize() * pageSize()), base(take(usable)) {}

    Guarded(const void* source, std::size_t size) : Guarded(size) {
        if (size != 0) std::memcpy(data(), source, size);
    }

    explicit Guarded(const std::string& text) : Guarded(text.data(), text.size()) {}

    /// The text and the NUL behind it.
    static Guarded terminated(const std::string& text) { return {text.c_str(), text.size() + 1}; }

    ~Guarded() { unused()[usable].push_back(base); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    const char* data() const { return base + (usable - length); }
    char* data() { return base + (usable - length); }
    unsigned long size() const { return static_cast<unsigned long>(length); }

private:
    // What was mapped once is kept for the next of its size, as two calls of the system for each cost more than what a
    // target does with it.
    static std::map<std::size_t, std::vector<char*>>& unused() {
        static std::map<std::size_t, std::vector<char*>> areas;
        return areas;
    }

    static std::size_t pageSize() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }

    static char* take(std::size_t usable) {
        std::vector<char*>& kept = unused()[usable];
        if (kept.empty()) {
            const int rights = PROT_READ | PROT_WRITE;
            void* const area = ::mmap(nullptr, usable + pageSize(), rights, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            kept.push_back(static_cast<char*>(area));
            if (area == MAP_FAILED || ::mprotect(kept.back() + usable, pageSize(), PROT_NONE) != 0)
                throw std::bad_alloc();
        }
        char* const area = kept.back();
        kept.pop_back();
        return area;
    }

    std::size_t length;
    std::size_t usable; // whole pages
    char* base;
};

#endif
