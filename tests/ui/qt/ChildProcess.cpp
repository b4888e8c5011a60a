#include "tests/ui/qt/ChildProcess.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <thread>

namespace tests {
namespace {

[[noreturn]] void become(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment,
                         const std::filesystem::path& output) {
    for (const auto& [name, value] : environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    if (!output.empty()) {
        const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(file, STDOUT_FILENO);
        ::dup2(file, STDERR_FILENO);
    }
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    ::execvp(arguments.front(), arguments.data());
    ::_exit(127);
}

} // namespace

bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::map<std::string, std::string>& environment,
                           const std::filesystem::path& output)
    : pid(::fork()) {
    if (pid == 0) {
        become(command, environment, output);
    }
}

ChildProcess::~ChildProcess() {
    if (running()) {
        ::kill(pid, SIGKILL);
        reap(0);
    }
}

bool ChildProcess::running() {
    reap(WNOHANG);
    return !status;
}

int ChildProcess::exitStatus() {
    eventually([this] { return !running(); });
    return status && WIFEXITED(*status) ? WEXITSTATUS(*status) : -1;
}

void ChildProcess::reap(int options) {
    int result = 0;
    if (!status && ::waitpid(pid, &result, options) == pid) {
        status = result;
    }
}

} // namespace tests
