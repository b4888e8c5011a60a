#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace platform {

struct ProcessResult {
    int status = 0;     ///< the exit status; 128 plus the signal's number for a process that a signal ended
    std::string output; ///< standard output and standard error, merged in the order of writing
};

/// Runs a program to its end, without a shell and with nothing on its standard input. Throws `Error` when it
/// cannot be started.
ProcessResult run(const std::filesystem::path& executable, const std::vector<std::string>& arguments);

/// Where the tool with this fixed path stands on the running system.
std::filesystem::path locateTool(const std::filesystem::path& fixedPath);

} // namespace platform
