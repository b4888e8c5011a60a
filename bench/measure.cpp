// Runs a command and writes what it cost, with everything that it started and waited for, as one line of
// JSON: measure RESULT COMMAND [ARGUMENT ...]. It is a program of its own because a process that forks counts
// its own memory as the child's first peak: this one is smaller than anything it measures.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

namespace {

/// What the kernel has counted for a process that has ended but not been waited for yet.
std::map<std::string, long long> inputAndOutput(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/io");
    std::map<std::string, long long> counters;
    std::string name;
    for (long long value = 0; file >> name >> value;) {
        counters[name] = value;
    }
    return counters;
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("usage: measure RESULT COMMAND [ARGUMENT ...]\n", stderr);
        return EXIT_FAILURE;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t process = ::fork();
    if (process == 0) {
        ::execvp(argv[2], argv + 2);
        std::perror(argv[2]);
        ::_exit(127);
    }
    siginfo_t ended{};
    if (process < 0 || ::waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) != 0) {
        std::perror("measure");
        return EXIT_FAILURE;
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    std::map<std::string, long long> io = inputAndOutput(process);
    int status = 0;
    rusage used{};
    ::wait4(process, &status, 0, &used);

    std::ofstream result(argv[1]);
    result << "{\"wall\":" << wall.count()
           << ",\"processor\":" << seconds(used.ru_utime) + seconds(used.ru_stime)
           << ",\"memory\":" << used.ru_maxrss * 1024 << ",\"read\":" << io["rchar:"]
           << ",\"written\":" << io["wchar:"] << ",\"disk\":" << io["write_bytes:"] << "}\n";
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}
