#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "platform/RunningApplications.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

/// The allocation of this thread that fails, counted down; none at 0.
thread_local int failing = 0;

/// The largest allocation of this thread that does not fail.
thread_local std::size_t largest = std::numeric_limits<std::size_t>::max();

} // namespace

void* operator new(std::size_t size) {
    const bool fails = size > largest || (failing > 0 && --failing == 0);
    void* memory = fails ? nullptr : std::malloc(size > 0 ? size : 1);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

std::optional<std::string> listWithout(const fs::path& folder, int failingAllocation) {
    const platform::FileManager files;
    failing = failingAllocation;
    try {
        std::string list = files.hiddenListWithout(folder);
        return list;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

TEST(HiddenList, LosesNoLineWhenMemoryEnds) {
    const tests::TemporaryFolder home;
    const std::string before = "a name that is too long to lie in the string itself\n";
    const std::string after = "another name that is too long to lie in the string itself\n";
    tests::writeFile(home.path() / ".hidden", before + "Older\n" + after);
    int failures = 0;
    for (int number = 1;; ++number) {
        const std::optional<std::string> list = listWithout(home.path() / "Older", number);
        const bool hasFailed = failing == 0;
        failing = 0;
        if (list) {
            EXPECT_EQ(*list, before + after) << "with allocation " << number << " failing";
        } else {
            ++failures;
        }
        if (!hasFailed) {
            break;
        }
    }
    EXPECT_GT(failures, 3);
}

/// A process of an application with this many bytes of information about itself.
class RunningApplication {
public:
    explicit RunningApplication(std::size_t bytes) {
        const fs::path contents = folder / "Any.app/Contents";
        const std::string program = contents / "MacOS/any";
        tests::writeFile(
            contents / "Info.plist",
            "<plist><dict><key>CFBundleIdentifier</key><string>any.application</string></dict></plist>" +
                std::string(bytes, '\n'));
        fs::create_directory(contents / "MacOS");
        fs::copy_file("/bin/sleep", program);
        std::array words{std::string("sleep"), std::string("60")};
        std::array<char*, 3> arguments{words[0].data(), words[1].data(), nullptr};
        if (posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments.data(), nullptr) != 0) {
            throw std::runtime_error("cannot start " + program);
        }
    }
    ~RunningApplication() {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    RunningApplication(const RunningApplication&) = delete;
    RunningApplication& operator=(const RunningApplication&) = delete;

private:
    tests::TemporaryFolder folder;
    pid_t process = 0;
};

TEST(RunningApplications, AreNotMissedWhenMemoryEnds) {
    constexpr std::size_t size = 1'000'000;
    const RunningApplication application(size);
    EXPECT_THAT(platform::runningApplications(), testing::Contains("any.application"));
    largest = size;
    EXPECT_THROW(platform::runningApplications(), platform::Error);
    largest = std::numeric_limits<std::size_t>::max();
}

} // namespace
