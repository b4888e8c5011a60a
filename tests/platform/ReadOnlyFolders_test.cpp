#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <iostream>

namespace {

namespace fs = std::filesystem;

/// Folders that their owner may not write to, in the hands of an ordinary user: nothing binds the superuser.
struct ReadOnlyFoldersTest : testing::Test {
    tests::TemporaryFolder folder;
    const platform::FileManager& files = platform::FileManager::defaultManager();
    fs::path bundle = folder / "from/A.app";

    void makeBundle() const {
        tests::writeFile(bundle / "Contents/MacOS/tool", "program");
        for (const char* part : {"Contents/MacOS", "Contents", ""}) {
            fs::permissions(bundle / part, fs::perms(0555));
        }
        fs::create_directory(folder / "to");
    }

    /// Runs the action in a process of an ordinary user, who owns the folder; false when it fails.
    bool succeeds(const std::function<void()>& action) const {
        constexpr uid_t nobody = 65534;
        const pid_t child = fork();
        if (child == 0) {
            if (geteuid() == 0 && (chown(folder.path().c_str(), nobody, nobody) != 0 || setgid(nobody) != 0 ||
                                   setuid(nobody) != 0)) {
                _exit(2);
            }
            try {
                action();
            } catch (const std::exception& failure) {
                std::cerr << failure.what() << '\n';
                _exit(1);
            }
            _exit(0);
        }
        int status = 0;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    static fs::perms permissions(const fs::path& item) { return fs::status(item).permissions(); }
};

TEST_F(ReadOnlyFoldersTest, AreRemovedWithAllInThem) {
    EXPECT_TRUE(succeeds([&] {
        makeBundle();
        files.removeItem(bundle);
    }));
    EXPECT_FALSE(fs::exists(bundle));
}

TEST_F(ReadOnlyFoldersTest, AreMovedAsTheyAre) {
    EXPECT_TRUE(succeeds([&] {
        makeBundle();
        files.moveItem(bundle, folder / "to/A.app");
    }));
    EXPECT_FALSE(fs::exists(bundle));
    EXPECT_EQ(tests::readFile(folder / "to/A.app/Contents/MacOS/tool"), "program");
    EXPECT_EQ(permissions(folder / "to/A.app"), fs::perms(0555));
}

TEST_F(ReadOnlyFoldersTest, StayAsTheyAreWhereTheirNewPlaceIsTaken) {
    EXPECT_FALSE(succeeds([&] {
        makeBundle();
        tests::writeFile(folder / "to/A.app/mine", "the user's");
        files.moveItem(bundle, folder / "to/A.app");
    }));
    EXPECT_EQ(permissions(bundle), fs::perms(0555));
    EXPECT_EQ(tests::readFile(folder / "to/A.app/mine"), "the user's");
}

TEST_F(ReadOnlyFoldersTest, StayWhereTheFolderAboveThemIsReadOnly) {
    EXPECT_FALSE(succeeds([&] {
        makeBundle();
        fs::permissions(folder / "from", fs::perms(0555));
        files.moveItem(bundle, folder / "to/A.app");
    }));
    EXPECT_EQ(permissions(bundle), fs::perms(0555));
    EXPECT_TRUE(fs::exists(bundle / "Contents/MacOS/tool"));
}

} // namespace
