#pragma once

#include <QTemporaryFile>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

namespace velmora::testing {

/// The end of a process: by abort(), or by itself with a status, else -1; and what it wrote to standard
/// output.
struct Death
{
    bool aborted = false;
    int exitStatus = -1;
    QByteArray standardOutput;
};

/// Runs `action` in a forked copy of this process; an action that returns ends that with the status 99.
inline Death runsToItsDeath(const std::function<void()> &action)
{
    QTemporaryFile output;
    output.open();
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        // No core file, and none of the handlers that report a crash of the test itself.
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
        std::signal(SIGABRT, SIG_DFL);
        dup2(output.handle(), STDOUT_FILENO);
        action();
        _exit(99);
    }
    int status = 0;
    waitpid(child, &status, 0);
    output.reset();
    return {WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT, WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            output.readAll()};
}

} // namespace velmora::testing
