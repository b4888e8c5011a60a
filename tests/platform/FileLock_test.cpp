#include "platform/Error.hpp"
#include "platform/FileLock.hpp"
#include "tests/support/InChild.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <stdexcept>

namespace {

namespace fs = std::filesystem;
using platform::Error;
using platform::FileLock;

struct FileLockTest : testing::Test {
    tests::TemporaryFolder folder;
};

TEST_F(FileLockTest, LocksAFileOrAFolderForOneProcess) {
    tests::writeFile(folder / "file", "");
    for (const fs::path& path : {folder / "file", folder.path()}) {
        std::optional<FileLock> lock = FileLock::lock(path);
        ASSERT_TRUE(lock);
        const auto lockElsewhere = [&] {
            try {
                FileLock::lock(path);
                throw std::runtime_error("locked twice");
            } catch (const Error& error) {
                if (error.number() != EWOULDBLOCK) {
                    throw;
                }
            }
        };
        EXPECT_THAT(tests::failureInChild([] {}, lockElsewhere), testing::IsEmpty());
        lock.reset();
        EXPECT_TRUE(FileLock::lock(path));
    }
}

TEST_F(FileLockTest, KnowsWhenAnotherFileHasTakenThePath) {
    tests::writeFile(folder / "file", "");
    const std::optional<FileLock> lock = FileLock::lock(folder / "file");
    EXPECT_TRUE(lock->locks(folder / "file"));
    fs::rename(folder / "file", folder / "aside");
    EXPECT_FALSE(lock->locks(folder / "file"));
    tests::writeFile(folder / "file", "");
    EXPECT_FALSE(lock->locks(folder / "file"));
    EXPECT_TRUE(lock->locks(folder / "aside"));
}

TEST_F(FileLockTest, RefusesWhatIsNeitherAFileNorAFolder) {
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    tests::writeFile(folder / "file", "");
    fs::create_symlink("file", folder / "link");
    for (const char* name : {"pipe", "link"}) {
        EXPECT_THROW(FileLock::lock(folder / name), Error) << name;
    }
    for (const char* name : {"absent", "file/below"}) {
        EXPECT_FALSE(FileLock::lock(folder / name)) << name;
    }
}

} // namespace
