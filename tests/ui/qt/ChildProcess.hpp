#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tests {

/// Long enough for a loaded machine; nothing waits longer than it must.
inline constexpr std::chrono::seconds patience{60};

/// Asks again and again until the condition holds or patience is at its end.
bool eventually(const std::function<bool()>& condition);

/// A program that runs beside the test and ends with the object at the latest.
class ChildProcess {
public:
    /// Starts the program, found along PATH, with these variables added to the environment. Both output
    /// streams go to `output` unless that is empty.
    ChildProcess(const std::vector<std::string>& command,
                 const std::map<std::string, std::string>& environment,
                 const std::filesystem::path& output = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool running();

    /// Waits for the end and returns the exit status; -1 for a process that a signal ended or that never
    /// ends.
    int exitStatus();

private:
    void reap(int options);

    pid_t pid;
    std::optional<int> status;
};

} // namespace tests
