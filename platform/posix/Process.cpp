#include "platform/Process.hpp"

#include "platform/Error.hpp"
#include "platform/Unicode.hpp"
#include "platform/posix/Descriptor.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>

extern char** environ; // NOLINT: POSIX gives the environment no header of its own

namespace platform {
namespace {

class SpawnActions {
public:
    SpawnActions() { posix_spawn_file_actions_init(&actions); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    posix_spawn_file_actions_t* get() { return &actions; }

private:
    posix_spawn_file_actions_t actions{};
};

/// With these a child has every signal as the system sets it. It would inherit those that this program
/// ignores, and those that the calling thread blocks, which a worker of the window's does with nearly all.
class SpawnAttributes {
public:
    SpawnAttributes() {
        posix_spawnattr_init(&attributes);
        sigset_t signals{};
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes, &signals);
        sigfillset(&signals);
        sigdelset(&signals, SIGKILL); // these two nobody can set
        sigdelset(&signals, SIGSTOP);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &attributes; }

private:
    posix_spawnattr_t attributes{};
};

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        throw Error("Impossible de lancer un outil : " + reason(errno) + ".", errno);
    }
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::string readToEnd(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    for (;;) {
        const ssize_t length = retrying([&] { return ::read(descriptor, piece.data(), piece.size()); });
        if (length <= 0) {
            return text;
        }
        text.append(piece.data(), static_cast<std::size_t>(length));
    }
}

/// The output with a line that names the signal.
std::string ended(std::string output, const std::filesystem::path& executable, int signal) {
    if (!output.empty() && !output.ends_with('\n')) {
        output += '\n';
    }
    return output + "Le programme « " + executable.string() + " » a été arrêté par le signal " +
           std::to_string(signal) + " (" + ::strsignal(signal) + ").";
}

} // namespace

ProcessResult run(const std::filesystem::path& executable, const std::vector<std::string>& arguments) {
    Pipe pipe = makePipe();
    const SpawnAttributes attributes;
    SpawnActions actions;
    posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(actions.get(), pipe.writing.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(actions.get(), pipe.writing.get(), STDERR_FILENO);

    std::vector<std::string> words{executable.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers(words.size() + 1, nullptr);
    std::ranges::transform(words, pointers.begin(), [](std::string& word) { return word.data(); });

    pid_t child = 0;
    const int failure =
        posix_spawn(&child, executable.c_str(), actions.get(), attributes.get(), pointers.data(), environ);
    if (failure != 0) {
        throw fileError("lancer", executable, failure);
    }
    pipe.writing.close();
    // The output is read before the wait, so that a tool that prints much cannot block on a full pipe.
    const std::string output = readToEnd(pipe.reading.get());
    int status = 0;
    if (retrying([&] { return ::waitpid(child, &status, 0); }) != child) {
        throw fileError("attendre", executable, errno);
    }
    if (WIFSIGNALED(status)) {
        return {128 + WTERMSIG(status), ended(repairedUtf8(output), executable, WTERMSIG(status))};
    }
    return {WEXITSTATUS(status), repairedUtf8(output)};
}

} // namespace platform
