#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tests {

/// How a program is started.
struct Launch {
    std::vector<std::string> words; ///< the program's path and its arguments
    std::filesystem::path workingFolder = "/";
    std::map<std::string, std::string> environment = {}; ///< set over the test's own
    std::optional<unsigned> largestFile = {};            ///< bytes; writing more fails with EFBIG
    std::optional<unsigned> openFiles = {};              ///< how many; opening more fails with EMFILE
    std::optional<uid_t> user = {};                      ///< who starts it, where the test runs as root
};

/// How it ended.
struct Outcome {
    int status = 0; ///< the exit status
    int signal = 0; ///< the signal that ended it, or 0
    std::string output;
    std::string error;
};

/// A program that runs as a child process, killed with the object.
class Child {
public:
    explicit Child(const Launch& launch);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t id() const { return process; }

    /// Waits for its end.
    Outcome wait();

private:
    int output;
    int error;
    pid_t process = 0;
};

} // namespace tests
