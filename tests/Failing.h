// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_FAILING_H
#define VELLIX_TESTS_FAILING_H

#include "vellix/VellixTypes.h"
#include <gtest/gtest.h>
#include <new>
#include <string>

// Running out of memory on demand, and reads that fail. The program's operator new and what it is linked with ask here.

/// Makes a call; false if memory ran out in it, in one of the ways that the headers name.
inline constexpr auto attempt = [](const auto& call) {
    try {
        call();
        return true;
    } catch (const std::bad_alloc&) {
    } catch (VELLIX_ERROR code) {
        EXPECT_EQ(code, VELLIX_ERR_NO_MEMORY);
    }
    return false;
};

/// Request number `first` of this thread fails, alone or with all that follow: a request for memory, and where the program is
/// linked so, one for a stream, a view, a write or that a file be stored; or a read of a page.
class Failing {
public:
    enum Kind { kMemory, kReads };

    Failing(Kind what, long number, bool onwards) : first(number), all(onwards), kind(what) {}
    ~Failing() { armed[kind] = nullptr; } // also where a call threw something else

    /// Attempts a call, whose requests count, as do those of the calls before.
    template <class Call> bool during(const Call& call) {
        armed[kind] = this;
        const bool done = attempt(call);
        armed[kind] = nullptr;
        return done;
    }

    /// Whether a request has failed.
    bool failed() const { return asked > first; }

    /// Asked at each request: null if it may succeed.
    static const Failing* failing(Kind kind = kMemory);

    const long first;
    const bool all;

private:
    static thread_local Failing* armed[2];
    const Kind kind;
    long asked = 0;
};

/// Runs a job again and again, with each of its requests failing in turn, until it has them all.
template <class Job> void failEachRequest(const Job& job, Failing::Kind kind = Failing::kMemory) {
    for (const bool onwards : {false, true}) {
        long runs = 0;
        for (bool failed = true; failed && !testing::Test::HasFatalFailure(); ++runs) {
            ASSERT_LT(runs, 100000) << "the job never gets through";
            SCOPED_TRACE("request " + std::to_string(runs) + (onwards ? " and all that follow" : ""));
            Failing failing(kind, runs, onwards);
            job(failing);
            failed = failing.failed();
        }
        EXPECT_GT(runs, 1) << "the job requested nothing";
    }
}

#endif
