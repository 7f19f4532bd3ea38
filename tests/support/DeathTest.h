#pragma once

#include <QByteArray>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <functional>

namespace velmora::testing {

struct Death
{
    /// Whether the process ended by abort().
    bool aborted = false;
    /// The status that the process ended with by itself; -1 when a signal ended it.
    int exitStatus = -1;
    /// What it wrote to standard output.
    QByteArray standardOutput;
};

/// Runs `action` in a forked copy of this process and tells how that ended; an action that returns ends with
/// the status 99.
inline Death runsToItsDeath(const std::function<void()> &action)
{
    std::array<int, 2> ends{};
    std::fflush(stdout);
    if (pipe(ends.data()) != 0)
        return {};
    const pid_t child = fork();
    if (child == 0) {
        // No core file, and none of the handlers that report a crash of the test itself.
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
        std::signal(SIGABRT, SIG_DFL);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        action();
        _exit(99);
    }
    close(ends[1]);
    Death death;
    std::array<char, 4096> piece{};
    for (ssize_t size = 0; (size = read(ends[0], piece.data(), piece.size())) > 0;)
        death.standardOutput.append(piece.data(), size);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    death.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    death.aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
    return death;
}

} // namespace velmora::testing
