// SPDX-License-Identifier: Apache-2.0
#include "Processes.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

std::string joined(const Command& command) {
    std::string text;
    for (const std::string& word : command) text += (text.empty() ? "" : " ") + word;
    return text;
}

[[noreturn]] void becomeProgram(const Command& command, int output) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    dup2(output, STDOUT_FILENO);
    execv(words[0], words.data());
    _exit(127);
}

int waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) throw std::runtime_error("a driver was lost");
    }
    return status;
}

} // namespace

std::filesystem::path driverPath(const char* driver) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / (std::string("bench_") + driver);
}

std::string outputOf(const Command& command) {
    int ends[2] = {};
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process");
    if (child == 0) becomeProgram(command, ends[1]);
    close(ends[1]);
    std::string text;
    char part[512];
    for (ssize_t length = 0; (length = read(ends[0], part, sizeof part)) > 0;)
        text.append(part, static_cast<std::size_t>(length));
    close(ends[0]);
    if (waitFor(child) != 0) throw std::runtime_error(joined(command) + " failed");
    return text;
}

// Stops the child at each system call. Both its beginning and its end are such a stop.
std::optional<double> systemCallsOf(const Command& command) {
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process");
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(126);
        becomeProgram(command, open("/dev/null", O_WRONLY | O_CLOEXEC));
    }
    int status = waitFor(child);
    if (WIFEXITED(status)) return std::nullopt; // the system doesn't allow it
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    unsigned long stops = 0;
    long signal = 0;
    while (ptrace(PTRACE_SYSCALL, child, nullptr, signal) == 0) {
        status = waitFor(child);
        if (!WIFSTOPPED(status)) break;
        const bool systemCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
        stops += systemCall ? 1 : 0;
        signal = systemCall ? 0 : WSTOPSIG(status);
    }
    if (status != 0) throw std::runtime_error(joined(command) + " failed while its system calls were counted");
    return static_cast<double>(stops) / 2;
}

} // namespace bench
