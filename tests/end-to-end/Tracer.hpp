#pragma once

#include "tests/end-to-end/Child.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace tests {

/// Whether system calls can be made to fail here.
bool canInject();

/// The launch under a tracer that makes system calls fail; `what` is in strace's words.
Launch injecting(const Launch& launch, const std::vector<std::string>& what);

/// Runs the program, which must end with this status, and returns these calls of its main thread, a line each
/// in strace's words.
std::vector<std::string> callsOf(const Launch& launch, const std::string& calls, int status = 0);

/// A run that stops at a system call, so that a test can do then what a user might.
class StoppedRun {
public:
    /// Returns once the program has stopped behind the call; `where` is in strace's words, without the
    /// signal.
    StoppedRun(const Launch& launch, const std::vector<std::string>& where, const std::string& call);

    /// Lets the program go on to its end.
    Outcome goOn();

private:
    TemporaryFolder folder;
    Child child;
};

} // namespace tests
