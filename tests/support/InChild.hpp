#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <exception>
#include <string>

namespace tests {

/// Runs the action in a process of its own, once `prepare` has limited what that process can do. Returns what
/// the action's exception says, or nothing when it threw none. The process has half a minute.
template <typename Prepare, typename Action>
std::string failureInChild(Prepare prepare, Action action) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        return "there is no pipe";
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        alarm(30);
        std::string failure;
        try {
            prepare();
            action();
        } catch (const std::exception& exception) {
            failure = exception.what();
        }
        _exit(write(ends[1], failure.data(), failure.size()) == static_cast<ssize_t>(failure.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string failure;
    std::array<char, 4096> piece{};
    for (ssize_t length = 1; length > 0 || (length < 0 && errno == EINTR);) {
        length = read(ends[0], piece.data(), piece.size());
        failure.append(piece.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    close(ends[0]);
    int status = 0;
    const bool isDone = waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return isDone ? failure : "the process did not end by itself";
}

} // namespace tests
