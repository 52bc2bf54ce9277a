#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <thread>

namespace vorn::test {

// ThreadSanitizer cannot follow a child of fork() that goes on with the
// library: it takes the locks the child left behind for still held.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif

// Runs body in a child process; returns its pid. The child exits with what
// body returns, without running the parent's exit-time code.
inline pid_t spawn(const std::function<int()>& body) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::_exit(body());
    }
    return pid;
}

// The child's exit status, or -1 when it ended abnormally or has not ended
// within the bound (it is then killed): a hang fails the test instead of
// stopping the suite.
inline int waitFor(pid_t pid, std::chrono::steady_clock::duration bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    int status = 0;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace vorn::test
