#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

namespace velmora::testing {

/// The end of a process: by abort(), or by itself with a status, else -1.
struct Death
{
    bool aborted = false;
    int exitStatus = -1;
};

/// Runs `action` in a forked copy of this process; an action that returns ends that with the status 99.
inline Death runsToItsDeath(const std::function<void()> &action)
{
    const pid_t child = fork();
    if (child == 0) {
        // No core file, and none of the handlers that report a crash of the test itself.
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
        std::signal(SIGABRT, SIG_DFL);
        action();
        _exit(99);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

} // namespace velmora::testing
