#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace platform {

struct ProcessResult {
    int status = 0;     ///< the exit status; 128 plus the signal's number for a process that a signal ended
    std::string output; ///< standard output and standard error, merged in the order of writing, in UTF-8; at
                        ///< its end the signal that ended the process, if one did
};

/// Runs a program to its end, without a shell, with nothing on its standard input, and with every signal as
/// the system sets it. Throws `Error` when it cannot be started.
ProcessResult run(const std::filesystem::path& executable, const std::vector<std::string>& arguments);

/// The path of the tool with this fixed path on the running system.
std::filesystem::path locateTool(const std::filesystem::path& fixedPath);

} // namespace platform
