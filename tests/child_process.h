// SPDX-License-Identifier: Apache-2.0
// Running a piece of work in a child process: to see its peak memory, to
// survive a crash or a hang, and to keep process-wide settings it makes
// (AllowEntityFolder) out of the other tests.
#ifndef XMLUTIL_TEST_CHILD_PROCESS_H
#define XMLUTIL_TEST_CHILD_PROCESS_H

#include "test_util.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <stdexcept>
#include <string>

struct ChildResult {
    bool exited = false; // ended by _exit(0), not by a signal
    std::string report;  // what the child's work returned
    long peakKiB = 0;    // its maximum resident set
};

// Runs `work` in a fresh child process, which a hang ends after a minute;
// what it returns is the child's report.
inline ChildResult in_child(const std::function<std::string()>& work)
{
    int fds[2];
    if (pipe(fds) != 0)
        throw std::runtime_error("pipe failed");
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        alarm(60);
        signal(SIGPIPE, SIG_IGN);
        std::string report;
        try {
            report = work();
        } catch (const std::exception& e) {
            report = std::string("unexpected exception: ") + e.what();
        } catch (...) {
            report = "unexpected exception";
        }
        for (std::size_t at = 0; at < report.size();) {
            const ssize_t n = write(fds[1], report.data() + at, report.size() - at);
            if (n <= 0)
                break;
            at += static_cast<std::size_t>(n);
        }
        close(fds[1]);
        _exit(0);
    }
    close(fds[1]);
    ChildResult result;
    char chunk[4096];
    for (ssize_t n; (n = read(fds[0], chunk, sizeof chunk)) > 0;)
        result.report.append(chunk, static_cast<std::size_t>(n));
    close(fds[0]);
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) == pid) {
        result.exited = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        result.peakKiB = usage.ru_maxrss;
    }
    return result;
}

// The message of the cTextException `parse` ends in, or "parsed".
inline std::string outcome(const std::function<void()>& parse)
{
    try {
        parse();
        return "parsed";
    } catch (const cTextException& e) {
        return e.what();
    }
}

// AddressSanitizer holds freed memory in quarantine and adds shadow memory,
// so a sanitized child's resident set says little about the library.
#if defined(__SANITIZE_ADDRESS__)
constexpr long kPeakLimitKiB = 1024L * 1024;
#else
constexpr long kPeakLimitKiB = 256L * 1024;
#endif

inline std::string repeat(const std::string& piece, std::size_t times)
{
    std::string out;
    out.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        out += piece;
    return out;
}

#endif // XMLUTIL_TEST_CHILD_PROCESS_H
