// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_PROCESSES_H
#define BENCH_PROCESSES_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// Starts drivers as processes of their own.
namespace bench {

/// A program and its arguments.
using Command = std::vector<std::string>;

/// The path of the driver of that name, which is built next to this program.
std::filesystem::path driverPath(const char* driver);

/// Returns what a command prints. Throws std::runtime_error if it fails.
std::string outputOf(const Command& command);

/// Returns the number of system calls that a command makes; nothing if the system doesn't let us count. Throws
/// std::runtime_error if it fails.
std::optional<double> systemCallsOf(const Command& command);

} // namespace bench

#endif
