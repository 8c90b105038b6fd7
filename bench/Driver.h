// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_DRIVER_H
#define BENCH_DRIVER_H

#include <cstdint>
#include <initializer_list>
#include <stdexcept>

#include "Catalog.h"

// A driver is a program that does one job and tells in one line what it cost:
//     DRIVER JOB FILE ENTRIES [--full]
//     entries=100000 checksum=85944171f73967e8 cpu_ns=51034112 wall_ns=51210482 waits=0 bytes=25690112 peak_kb=412 ...
namespace bench {

struct Task {
    const char* file;
    unsigned long entries;
    bool full; ///< fold every attribute into the checksum, not only name, size and time
};

// Measures one job. What must be ready before the job, such as the records to be written, is made before `start`.
class Meter {
public:
    void start();
    void stop();

    /// Tells that one more entry was visited or written.
    void entry() {
        if (++entries == warmUp) warm(Catalog::kRecords + 1);
    }

    /// Begins the count of allocations per entry here. Otherwise it begins behind 1000 entries, and once more when every
    /// record of the catalog has come by, the longest one too.
    void countAllocationsFromHere();

    void print(std::uint64_t checksum, const char* file) const;

private:
    void warm(unsigned long again);

    unsigned long entries = 0;
    unsigned long warmUp = 1000; // the entry at which the count of allocations begins next
    unsigned long warmEntries = 0;
    unsigned long warmAllocations = 0;
    double allocationsPerEntry = 0;
    long long cpu = 0;  // nanoseconds of user and system time
    long long wall = 0; // nanoseconds that passed
    long waits = 0;     // for a lock, for another thread or for the disk
    long long peak = 0; // kilobytes
};

struct Job {
    const char* name;
    std::uint64_t (*run)(const Task&, Meter&); ///< returns the checksum of what was read, 0 after writing
};

/// Throws if a step of a job failed.
inline void require(bool done, const char* what) {
    if (!done) throw std::runtime_error(what);
}

/// A file's descriptor, as the system gives it. `flags` are those of open(2).
struct File {
    File(const char* path, int flags);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const int descriptor;
};

/// Does the job that the command line asks for. Returns the exit status.
int driverMain(int argc, char** argv, std::initializer_list<Job> jobs);

} // namespace bench

#endif
