#include "tests/end-to-end/Administrator.hpp"

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>

namespace fs = std::filesystem;

namespace {

using namespace tests;

constexpr int callStop = SIGTRAP | 0x80; // how a traced process stops at a system call

/// Runs the program to its end and calls `atStop` with a number, from 0 on, whenever it enters or leaves a
/// system call, until `atStop` returns false. Returns the number of these stops; nothing when nobody can
/// trace here.
std::optional<int> trace(const Launch& launch, const std::function<bool(int)>& atStop) {
    const pid_t child = ::fork();
    if (child == 0) {
        for (const auto& [name, value] : launch.environment) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
        std::vector<char*> words;
        for (const std::string& word : launch.words) {
            words.push_back(const_cast<char*>(word.c_str()));
        }
        words.push_back(nullptr);
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
            ::close(stream);
        }
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
            ::execv(words.front(), words.data());
        }
        ::_exit(127);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) {
        return std::nullopt;
    }
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int stops = 0;
    int signal = 0;
    bool isWanted = true;
    while (!WIFEXITED(status) && !WIFSIGNALED(status)) {
        ::ptrace(isWanted ? PTRACE_SYSCALL : PTRACE_CONT, child, nullptr, signal);
        ::waitpid(child, &status, 0);
        signal = 0;
        if (WIFSTOPPED(status) && WSTOPSIG(status) == callStop) {
            isWanted = atStop(stops++);
        } else if (WIFSTOPPED(status)) {
            signal = WSTOPSIG(status);
        }
    }
    return stops;
}

/// The home's owner swaps folders for links to root's while an administrator's script runs.
struct SwappedFolders : Administrator {
    Home victim{folder / "victim"};
    Home prepared{folder / "prepared"};

    void SetUp() override {
        Administrator::SetUp();
        if (!IsSkipped()) {
            victim.fillAsLongUsed();
            fs::create_directories(victim.backups);
            prepared.fillAsLongUsed();
            refill();
        }
    }

    void refill() const {
        fs::remove_all(home.folder);
        fs::copy(prepared.folder, home.folder, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        giveHome();
    }

    std::vector<fs::path> folders() const {
        const fs::path library = home.folder / "Library/Application Support";
        return {home.category / "01 Ink Drop", home.category,    home.transitions, home.support,
                home.legacy / "10 Dye Bloom",  home.legacy,      home.backups,     home.folder / "Movies",
                home.folder / "Applications",  home.application, library};
    }

    /// A folder, which may be missing or a link already, and its way into the victim's home and back.
    void swapIn(const fs::path& path) const {
        std::error_code failure;
        fs::rename(path, aside, failure);
        fs::create_symlink(victim.folder / path.lexically_relative(home.folder), path, failure);
        if (!failure) {
            give(path, odile);
        }
    }

    void swapBack(const fs::path& path) const {
        std::error_code ignored;
        if (fs::is_symlink(path, ignored)) {
            fs::remove(path, ignored);
        }
        fs::rename(aside, path, ignored);
    }

    /// Runs the script again and again. Each time another folder is a link from another stop on: in one half
    /// of the runs to the end, in the other only for that call.
    void expectVictimSpared(const Arguments& arguments) const {
        Launch launch = scripted(arguments);
        launch.environment["ASAN_OPTIONS"] =
            "detect_leaks=0"; // the leak check cannot run in a traced process
        const std::optional<int> stops = trace(launch, [](int) { return true; });
        if (!stops) {
            GTEST_SKIP() << "nobody can trace here";
        }
        ASSERT_GT(*stops, 1000);
        const char* const wanted = std::getenv("ORVO_SWAPS"); // for more than a sample
        const int runs = wanted == nullptr ? 44 : std::atoi(wanted);
        const std::vector<fs::path> all = folders();
        const TreeSnapshot before = victim.everything();
        for (int run = 0; run < runs; ++run) {
            refill();
            const fs::path& path = all[static_cast<std::size_t>(run) % all.size()];
            const int first = static_cast<int>(std::int64_t{*stops} * run / runs);
            const bool stays = run / static_cast<int>(all.size()) % 2 == 0;
            trace(launch, [&](int stop) {
                if (stop == first) {
                    swapIn(path);
                } else if (stop == first + 2) {
                    swapBack(path);
                }
                return stop < first + (stays ? 0 : 2);
            });
            SCOPED_TRACE(path.string() + " at " + std::to_string(first) + " of " + std::to_string(*stops));
            ASSERT_EQ(difference(before, victim.everything()), "");
            ASSERT_EQ(itemsNotOf(victim.folder, 0), "");
            ASSERT_EQ(itemsNotOf(home.folder, odile), "");
            fs::remove_all(aside);
        }
    }

    const fs::path aside = folder / "aside";
};

TEST_F(SwappedFolders, DoNotLeadAnInstallToRootsFiles) {
    expectVictimSpared({"--install"});
}

TEST_F(SwappedFolders, DoNotLeadAnUninstallToRootsFiles) {
    expectVictimSpared({"--uninstall"});
}

TEST_F(SwappedFolders, DoNotLeadTheUndoOfACutRunToRootsFiles) {
    product.onToolCall("[ $call = 3 ] && { kill -9 $PPID; exit 0; }; :");
    EXPECT_EQ(runScripted({"--install"}).signal, SIGKILL);
    ASSERT_TRUE(fs::exists(home.journal));
    product.onToolCall("");
    fs::remove_all(prepared.folder);
    fs::rename(home.folder, prepared.folder);
    refill();
    expectVictimSpared({"--uninstall"});
}

} // namespace
