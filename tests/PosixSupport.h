// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_POSIX_SUPPORT_H
#define VELLIX_TESTS_POSIX_SUPPORT_H

#include <cstdlib>
#include <string>

/// Sets the directory of temporary files for its lifetime.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(const std::string& path) {
        const char* const value = std::getenv("TMPDIR");
        wasSet = value != nullptr;
        if (wasSet) before = value;
        setenv("TMPDIR", path.c_str(), 1);
    }
    ~TemporaryDirectory() { wasSet ? setenv("TMPDIR", before.c_str(), 1) : unsetenv("TMPDIR"); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

private:
    bool wasSet;
    std::string before;
};

#endif
