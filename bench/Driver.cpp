// SPDX-License-Identifier: Apache-2.0
#include "Driver.h"

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::atomic<unsigned long> allocations = 0;

// No locked addition, which would cost the peers that allocate much. Threads may lose a count; none is told for them.
void countAllocation() {
    allocations.store(allocations.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

} // namespace

// The C library lets a program put its own allocator in place of its own, for itself and all libraries it loads. These
// count and pass on. `operator new` comes here too.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size) noexcept {
    countAllocation();
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) noexcept {
    countAllocation();
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size) noexcept {
    countAllocation();
    return __libc_realloc(memory, size);
}

} // extern "C"

namespace bench {

namespace {

long long nanosecondsOf(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// User and system time of the process.
long long cpuNanoseconds() { return nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID); }

long long wallNanoseconds() { return nanosecondsOf(CLOCK_MONOTONIC); }

// How often a thread of the process gave up its processor to wait for something.
long waitsSoFar() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
}

// Lowers the process's peak of resident memory to what is resident now. If the system doesn't let us, the peak so far is
// where counting starts, which is the same for a job that nothing large came before.
void resetPeak() {
    const int file = open("/proc/self/clear_refs", O_WRONLY | O_CLOEXEC);
    if (file < 0) return;
    if (write(file, "5", 1) != 1) std::fputs("the peak of memory could not be reset\n", stderr);
    close(file);
}

long long peakKilobytes() {
    static char status[8192];
    const int file = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (file < 0) return 0;
    const ssize_t length = read(file, status, sizeof status - 1);
    close(file);
    status[length > 0 ? length : 0] = '\0';
    const char* const peak = std::strstr(status, "VmHWM:");
    return peak != nullptr ? std::atoll(peak + std::strlen("VmHWM:")) : 0;
}

} // namespace

void Meter::start() {
    resetPeak();
    peak = peakKilobytes();
    warmAllocations = allocations;
    waits = waitsSoFar();
    wall = wallNanoseconds();
    cpu = cpuNanoseconds();
}

void Meter::stop() {
    cpu = cpuNanoseconds() - cpu;
    wall = wallNanoseconds() - wall;
    waits = waitsSoFar() - waits;
    const unsigned long made = allocations - warmAllocations;
    allocationsPerEntry =
        entries > warmEntries ? static_cast<double>(made) / static_cast<double>(entries - warmEntries) : 0;
    peak = peakKilobytes() - peak;
}

void Meter::countAllocationsFromHere() { warm(0); }

void Meter::warm(unsigned long again) {
    warmUp = again;
    warmEntries = entries;
    warmAllocations = allocations;
}

void Meter::print(std::uint64_t checksum, const char* file) const {
    struct stat facts = {};
    require(stat(file, &facts) == 0, "the file is not there");
    std::printf("entries=%lu checksum=%016llx cpu_ns=%lld wall_ns=%lld waits=%ld bytes=%lld peak_kb=%lld "
                "allocations=%.6g\n",
                entries, static_cast<unsigned long long>(checksum), cpu, wall, waits,
                static_cast<long long>(facts.st_size), peak, allocationsPerEntry);
}

File::File(const char* path, int flags) : descriptor(open(path, flags | O_CLOEXEC, 0666)) {
    require(descriptor >= 0, "the file can't be opened");
}

File::~File() { close(descriptor); }

int driverMain(int argc, char** argv, std::initializer_list<Job> jobs) {
    try {
        const bool full = argc == 5 && std::strcmp(argv[4], "--full") == 0;
        if (argc == 4 || full) {
            const Task task = {argv[2], std::strtoul(argv[3], nullptr, 10), full};
            for (const Job& job : jobs) {
                if (std::strcmp(job.name, argv[1]) != 0) continue;
                Meter meter;
                const std::uint64_t checksum = job.run(task, meter);
                meter.print(checksum, task.file);
                return 0;
            }
        }
        std::fprintf(stderr, "usage: %s JOB FILE ENTRIES [--full], where JOB is one of", argv[0]);
        for (const Job& job : jobs) std::fprintf(stderr, " %s", job.name);
        std::fputs("\n", stderr);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}

} // namespace bench
