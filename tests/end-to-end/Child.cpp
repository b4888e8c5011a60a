#include "tests/end-to-end/Child.hpp"

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace tests {
namespace {

/// A file without a name. Unlike a pipe it never fills up, so that nobody has to read while the child runs.
int unnamedFile() {
    std::FILE* file = std::tmpfile();
    const int descriptor = file == nullptr ? -1 : ::fcntl(::fileno(file), F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) {
        throw std::runtime_error("cannot make a temporary file");
    }
    std::fclose(file);
    return descriptor;
}

std::string contents(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    ::lseek(descriptor, 0, SEEK_SET);
    for (ssize_t length = 0; (length = ::read(descriptor, piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(length));
    }
    return text;
}

bool becomeUser(std::optional<uid_t> user) {
    return !user || (::setgroups(0, nullptr) == 0 && ::setgid(*user) == 0 && ::setuid(*user) == 0);
}

[[noreturn]] void become(const Launch& launch, int output, int error) {
    for (const auto& [name, value] : launch.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    if (launch.largestFile) {
        const rlimit limit{*launch.largestFile, *launch.largestFile};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (launch.openFiles) {
        const rlimit limit{*launch.openFiles, *launch.openFiles};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    std::vector<char*> words;
    for (const std::string& word : launch.words) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    if (::dup2(output, STDOUT_FILENO) >= 0 && ::dup2(error, STDERR_FILENO) >= 0 &&
        ::chdir(launch.workingFolder.c_str()) == 0 && becomeUser(launch.user)) {
        ::execvp(words.front(), words.data());
    }
    ::_exit(127);
}

} // namespace

Child::Child(const Launch& launch) : output(unnamedFile()), error(unnamedFile()), process(::fork()) {
    if (process < 0) {
        throw std::runtime_error("cannot start a process");
    }
    if (process == 0) {
        become(launch, output, error);
    }
}

Child::~Child() {
    if (process > 0) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    ::close(output);
    ::close(error);
}

Outcome Child::wait() {
    int status = 0;
    ::waitpid(process, &status, 0);
    process = 0;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
            contents(output), contents(error)};
}

} // namespace tests
