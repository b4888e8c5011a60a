#include "tests/end-to-end/Tracer.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace tests {
namespace {

using Words = std::vector<std::string>;

Launch traced(const Launch& launch, const fs::path& trace, const Words& options) {
    Launch result = launch;
    result.words = {"strace", "-e", "quiet=attach,path-resolution", "-o", trace.string()};
    result.words.insert(result.words.end(), options.begin(), options.end());
    result.words.insert(result.words.end(), launch.words.begin(), launch.words.end());
    result.environment["ASAN_OPTIONS"] = "detect_leaks=0"; // the leak check cannot run in a traced process
    return result;
}

/// The program stays the child of the test, so that the test can send it signals.
Launch stopping(const Launch& launch, const fs::path& trace, Words where, const std::string& call) {
    const std::size_t name = call.find(':');
    where.insert(where.begin(), "-D");
    where.insert(where.end(), {"-e", "trace=" + call.substr(0, name), "-e",
                               "inject=" + call.substr(0, name) + ":signal=STOP" +
                                   (name == std::string::npos ? "" : call.substr(name))});
    return traced(launch, trace, where);
}

} // namespace

bool canInject() {
    return Child({{"strace", "-o", "/dev/null", "-e", "trace=none", "true"}}).wait().status == 0;
}

Launch injecting(const Launch& launch, const Words& what) {
    return traced(launch, "/dev/null", what);
}

std::vector<std::string> callsOf(const Launch& launch, const std::string& calls, int status) {
    const TemporaryFolder folder;
    const fs::path trace = folder / "trace";
    EXPECT_EQ(Child(traced(launch, trace, {"-s", "9999", "-e", "signal=none", "-e", "trace=" + calls}))
                  .wait()
                  .status,
              status);
    std::istringstream text(readFile(trace));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line) && !line.starts_with("+++");) {
        lines.push_back(line);
    }
    return lines;
}

StoppedRun::StoppedRun(const Launch& launch, const Words& where, const std::string& call)
    : child(stopping(launch, folder / "trace", where, call)) {
    const auto says = [trace = folder / "trace"](const char* words) {
        return fs::exists(trace) && readFile(trace).find(words) != std::string::npos;
    };
    const char* stopped = "--- stopped by SIGSTOP ---";
    for (int tries = 0; !says(stopped) && !says("+++ ") && tries < 2000; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(says(stopped));
}

Outcome StoppedRun::goOn() {
    ::kill(child.id(), SIGCONT);
    return child.wait();
}

} // namespace tests
