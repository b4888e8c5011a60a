#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

struct FileManagerFaultsTest : testing::Test {
    tests::TemporaryFolder folder;
    const platform::FileManager& files = platform::FileManager::defaultManager();
};

TEST_F(FileManagerFaultsTest, LeavesAnythingButAnEmptyFolderAlone) {
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    tests::writeFile(folder / "file", "x");
    fs::create_directory(folder / "empty");
    fs::create_directory_symlink(folder / "empty", folder / "link");
    for (const char* name : {"pipe", "file", "link", "file/below", "missing"}) {
        EXPECT_FALSE(files.removeEmptyFolder(folder / name)) << name;
    }
    EXPECT_TRUE(fs::exists(folder / "pipe") && fs::exists(folder / "file") && fs::exists(folder / "link"));
    EXPECT_TRUE(files.removeEmptyFolder(folder / "empty"));
}

TEST_F(FileManagerFaultsTest, MakesAFolderDurablyWithAllAboveIt) {
    files.makeFolderDurably(folder / "a/b/c");
    files.makeFolderDurably(folder / "a/b/c");
    EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
    tests::writeFile(folder / "file", "x");
    EXPECT_THROW(files.makeFolderDurably(folder / "file/a"), platform::Error);
}

TEST_F(FileManagerFaultsTest, WritesANewFileOnlyWhereNothingStands) {
    files.writeNew(folder / "new", [](const auto& sink) { sink("contents"); });
    EXPECT_EQ(tests::readFile(folder / "new"), "contents");
    EXPECT_THROW(files.writeNew(folder / "new", [](const auto& sink) { sink("other"); }), platform::Error);
    EXPECT_EQ(tests::readFile(folder / "new"), "contents");
}

TEST_F(FileManagerFaultsTest, CreatesAWholeFileOnlyWhereNothingStands) {
    files.createAtomically(folder / "new", [](const auto& sink) { sink("contents"); });
    EXPECT_EQ(tests::readFile(folder / "new"), "contents");
    EXPECT_EQ(tests::messageOf<platform::Error>(
                  [&] { files.createAtomically(folder / "new", [](const auto& sink) { sink("other"); }); }),
              "Impossible d’écrire « " + (folder / "new").string() + " » : un élément porte déjà ce nom.");
    EXPECT_EQ(tests::readFile(folder / "new"), "contents");
    EXPECT_FALSE(fs::exists(platform::FileManager::temporaryName(folder / "new")));
}

TEST_F(FileManagerFaultsTest, DoesNotTakeAnItemThatItCannotSeeForAbsent) {
    const fs::path unseen = folder / std::string(300, 'x'); // no file system has names as long
    EXPECT_THROW(files.exists(unseen), platform::Error);
    EXPECT_THROW(files.occupied(unseen), platform::Error);
    EXPECT_THROW(files.isLink(unseen), platform::Error);
    EXPECT_THROW(files.folderPermissions(unseen), platform::Error);
    fs::create_symlink("loop", folder / "loop");
    EXPECT_FALSE(files.exists(folder / "loop"));
    EXPECT_TRUE(files.occupied(folder / "loop"));
}

TEST_F(FileManagerFaultsTest, IsNotStoppedByWhatAnEarlierRunCouldNotFinish) {
    tests::writeFile(platform::FileManager::temporaryName(folder / "file"), "half");
    files.writeAtomically(folder / "file", "whole");
    EXPECT_EQ(tests::readFile(folder / "file"), "whole");
    tests::writeFile(platform::FileManager::temporaryName(folder / "copy") / "in", "half");
    files.copyItemDurably(folder / "file", folder / "copy");
    EXPECT_EQ(tests::readFile(folder / "copy"), "whole");
}

TEST_F(FileManagerFaultsTest, NamesTheFinalPlaceOfACopyThatFails) {
    tests::writeFile(folder / "from", "x");
    tests::writeFile(folder / "to", "y");
    EXPECT_EQ(
        tests::messageOf<platform::Error>([&] { files.copyItemDurably(folder / "from", folder / "to"); }),
        "Impossible de copier « " + (folder / "from").string() + " » vers « " + (folder / "to").string() +
            " » : un élément porte déjà ce nom.");
    EXPECT_EQ(tests::readFile(folder / "to"), "y");
}

TEST_F(FileManagerFaultsTest, CountsALinkToAFolderAsAFolder) {
    fs::create_directory(folder / "target");
    fs::permissions(folder / "target", fs::perms::owner_all);
    fs::create_directory_symlink(folder / "target", folder / "link");
    EXPECT_EQ(files.folderPermissions(folder / "link"), 0700U);
}

TEST_F(FileManagerFaultsTest, LeavesNothingOfAFolderThatItMovedToAnotherFileSystem) {
    const fs::path memory = "/dev/shm";
    struct stat here {};
    struct stat there {};
    if (stat(folder.path().c_str(), &here) != 0 || stat(memory.c_str(), &there) != 0 ||
        here.st_dev == there.st_dev) {
        GTEST_SKIP() << "there is no second file system";
    }
    const tests::TemporaryFolder other(memory);
    tests::writeFile(folder / "from/a/b", "x");
    bool hasArrived = false;
    files.moveItem(folder / "from", other / "to", [&] {
        hasArrived = true;
        EXPECT_EQ(tests::readFile(folder / "from/a/b"), "x");
        EXPECT_EQ(tests::readFile(other / "to/a/b"), "x");
    });
    EXPECT_TRUE(hasArrived);
    EXPECT_TRUE(fs::is_empty(folder.path()));
    EXPECT_EQ(tests::readFile(other / "to/a/b"), "x");
}

TEST(FileErrorTest, ElidesBeforeAVowel) {
    EXPECT_STREQ(platform::fileError("écrire", "/a", ENOSPC).what(),
                 "Impossible d’écrire « /a » : le disque est plein.");
    EXPECT_STREQ(platform::fileError("lire", "/a", ENOSPC).what(),
                 "Impossible de lire « /a » : le disque est plein.");
}

} // namespace
