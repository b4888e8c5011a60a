#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"
#include "tests/support/TreeSnapshot.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using platform::Error;
using tests::messageOf;
using tests::readFile;
using tests::TemporaryFolder;
using tests::TreeSnapshot;
using tests::writeFile;

/// An extended attribute of a file; a disk that keeps none has nothing to give.
void setNote(const fs::path& path, const std::string& text) {
#ifdef __APPLE__
    setxattr(path.c_str(), "user.note", text.data(), text.size(), 0, 0);
#else
    setxattr(path.c_str(), "user.note", text.data(), text.size(), 0);
#endif
}

std::optional<std::string> note(const fs::path& path) {
    std::string text(64, '\0');
#ifdef __APPLE__
    const ssize_t length = getxattr(path.c_str(), "user.note", text.data(), text.size(), 0, 0);
#else
    const ssize_t length = getxattr(path.c_str(), "user.note", text.data(), text.size());
#endif
    return length < 0 ? std::nullopt : std::optional(text.substr(0, static_cast<std::size_t>(length)));
}

struct FileManagerTest : testing::Test {
    TemporaryFolder folder;
    const platform::FileManager& files = platform::FileManager::defaultManager();

    fs::path makeBundle() {
        const fs::path bundle = folder / "A.app";
        writeFile(bundle / "Contents/MacOS/tool", "program");
        writeFile(bundle / "Contents/Resources/empty", "");
        fs::create_directory(bundle / "Contents/Empty");
        fs::create_symlink("MacOS/tool", bundle / "Contents/link");
        fs::create_symlink("nowhere", bundle / "Contents/dangling");
        fs::permissions(bundle / "Contents/MacOS/tool", fs::perms(0755));
        fs::permissions(bundle / "Contents/Empty", fs::perms(0500));
        setNote(bundle / "Contents/MacOS/tool", "hello");
        return bundle;
    }
};

struct TwoFileSystemsTest : FileManagerTest {
    void SetUp() override {
        if (!tests::areOnTwoFileSystems(folder.path(), "/dev/shm")) {
            GTEST_SKIP() << "there is no second file system";
        }
    }
};

TEST_F(FileManagerTest, CopiesATreeWithLinksPermissionsAndDates) {
    const fs::path bundle = makeBundle();
    files.copyItem(bundle, folder / "B.app");
    EXPECT_EQ(TreeSnapshot::of(bundle), TreeSnapshot::of(folder / "B.app"))
        << difference(TreeSnapshot::of(bundle), TreeSnapshot::of(folder / "B.app"));
}

TEST_F(FileManagerTest, CopiesExtendedAttributes) {
    const fs::path bundle = makeBundle();
    if (!note(bundle / "Contents/MacOS/tool")) {
        GTEST_SKIP() << "this file system keeps no extended attributes";
    }
    files.copyItem(bundle, folder / "B.app");
    EXPECT_EQ(note(folder / "B.app/Contents/MacOS/tool"), "hello");
}

TEST_F(TwoFileSystemsTest, CopiesALargeFileAcrossFileSystems) {
    const TemporaryFolder elsewhere("/dev/shm");
    const std::string contents(3'000'001, 'x');
    writeFile(folder / "large", contents);
    files.copyItem(folder / "large", elsewhere / "large");
    EXPECT_EQ(readFile(elsewhere / "large"), contents);
}

TEST_F(FileManagerTest, DoesNotCopyOverAnything) {
    writeFile(folder / "a", "new");
    writeFile(folder / "b", "kept");
    fs::create_symlink(folder / "c", folder / "dangling");
    EXPECT_EQ(messageOf<Error>([&] { files.copyItem(folder / "a", folder / "b"); }),
              "Impossible de copier « " + (folder / "a").string() + " » vers « " + (folder / "b").string() +
                  " » : un élément porte déjà ce nom.");
    EXPECT_THROW(files.copyItem(folder / "a", folder / "dangling"), Error);
    EXPECT_EQ(readFile(folder / "b"), "kept");
    EXPECT_FALSE(fs::exists(folder / "c"));
}

TEST_F(FileManagerTest, DoesNotMoveOverAnything) {
    writeFile(folder / "a", "new");
    writeFile(folder / "b", "kept");
    EXPECT_THROW(files.moveItem(folder / "a", folder / "b"), Error);
    EXPECT_EQ(readFile(folder / "b"), "kept");
    EXPECT_EQ(readFile(folder / "a"), "new");
}

TEST_F(TwoFileSystemsTest, MovesATreeAcrossFileSystems) {
    const TemporaryFolder elsewhere("/dev/shm");
    const fs::path bundle = makeBundle();
    const TreeSnapshot before = TreeSnapshot::of(bundle);
    bool hasArrived = false;
    files.moveItem(bundle, elsewhere / "B.app", [&] {
        hasArrived = true;
        EXPECT_EQ(TreeSnapshot::of(elsewhere / "B.app"), before);
        EXPECT_EQ(TreeSnapshot::of(bundle), before);
    });
    EXPECT_TRUE(hasArrived);
    EXPECT_EQ(TreeSnapshot::of(elsewhere / "B.app"), before);
    EXPECT_EQ(TreeSnapshot::of(elsewhere.path()).items.size(), before.items.size() + 1);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(TwoFileSystemsTest, LeavesNothingBehindWhenAMoveAcrossFileSystemsFails) {
    const TemporaryFolder elsewhere("/dev/shm");
    const fs::path bundle = makeBundle();
    ASSERT_EQ(mkfifo((bundle / "Contents/pipe").c_str(), 0600), 0);
    const TreeSnapshot before = TreeSnapshot::of(bundle);
    EXPECT_THROW(files.moveItem(bundle, elsewhere / "B.app"), Error);
    EXPECT_EQ(TreeSnapshot::of(bundle), before);
    EXPECT_TRUE(fs::is_empty(elsewhere.path()));
}

TEST_F(FileManagerTest, WritesAtomicallyOverAFileAndOverALink) {
    writeFile(folder / "target", "kept");
    writeFile(folder / "a", "old");
    fs::create_symlink(folder / "target", folder / "link");
    files.writeAtomically(folder / "a", "new");
    files.writeAtomically(folder / "link", "new");
    EXPECT_EQ(readFile(folder / "a"), "new");
    EXPECT_EQ(readFile(folder / "link"), "new");
    EXPECT_EQ(readFile(folder / "target"), "kept");
    EXPECT_THAT(TreeSnapshot::of(folder.path()).items, testing::SizeIs(3));
}

TEST_F(FileManagerTest, LeavesNothingBehindWhenAnAtomicWriteFails) {
    fs::create_directory(folder / "a");
    EXPECT_THROW(files.writeAtomically(folder / "a", "new"), Error);
    EXPECT_THAT(TreeSnapshot::of(folder.path()).items, testing::SizeIs(1));
}

TEST_F(FileManagerTest, RefusesToReadWhatIsNoFile) {
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(messageOf<Error>([&] { files.read(folder / "pipe"); }),
              "Impossible de lire « " + (folder / "pipe").string() + " » : ce n’est pas un fichier.");
    EXPECT_EQ(messageOf<Error>([&] { files.read(folder.path()); }),
              "Impossible de lire « " + folder.path().string() + " » : c’est un dossier.");
}

TEST_F(FileManagerTest, RemovesATreeButNotWhatItsLinksLeadTo) {
    const fs::path bundle = makeBundle();
    writeFile(folder / "outside/file", "kept");
    fs::create_directory_symlink(folder / "outside", bundle / "out");
    files.removeItem(bundle);
    EXPECT_FALSE(files.occupied(bundle));
    EXPECT_EQ(readFile(folder / "outside/file"), "kept");
}

TEST_F(FileManagerTest, RemovesOnlyEmptyFolders) {
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    writeFile(folder / "full/file", "");
    fs::create_directory(folder / "empty");
    fs::create_directory_symlink("empty", folder / "link");
    const TreeSnapshot before = TreeSnapshot::of(folder.path());
    for (const char* name : {"full", "full/file", "full/file/absent", "absent", "pipe", "link"}) {
        EXPECT_FALSE(files.removeEmptyFolder(folder / name)) << name;
    }
    EXPECT_EQ(TreeSnapshot::of(folder.path()), before);
    EXPECT_TRUE(files.removeEmptyFolder(folder / "empty"));
    EXPECT_FALSE(fs::exists(folder / "empty"));
}

TEST_F(FileManagerTest, MakesAFolderDurablyWithAllAboveIt) {
    files.makeFolderDurably(folder / "a/b/c");
    files.makeFolderDurably(folder / "a/b/c");
    EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
    writeFile(folder / "file", "x");
    EXPECT_THROW(files.makeFolderDurably(folder / "file/a"), Error);
}

TEST_F(FileManagerTest, WritesANewFileOnlyWhereNothingStands) {
    files.writeNew(folder / "new", [](const auto& sink) { sink("contents"); });
    EXPECT_EQ(readFile(folder / "new"), "contents");
    EXPECT_THROW(files.writeNew(folder / "new", [](const auto& sink) { sink("other"); }), Error);
    EXPECT_EQ(readFile(folder / "new"), "contents");
}

TEST_F(FileManagerTest, CreatesAWholeFileOnlyWhereNothingStands) {
    files.createAtomically(folder / "new", [](const auto& sink) { sink("contents"); });
    EXPECT_EQ(readFile(folder / "new"), "contents");
    EXPECT_EQ(messageOf<Error>(
                  [&] { files.createAtomically(folder / "new", [](const auto& sink) { sink("other"); }); }),
              "Impossible d’écrire « " + (folder / "new").string() + " » : un élément porte déjà ce nom.");
    EXPECT_EQ(readFile(folder / "new"), "contents");
    EXPECT_FALSE(fs::exists(platform::FileManager::temporaryName(folder / "new")));
}

TEST_F(FileManagerTest, DoesNotTakeAnItemThatItCannotSeeForAbsent) {
    const fs::path unseen = folder / std::string(300, 'x'); // no file system has names as long
    EXPECT_THROW(files.exists(unseen), Error);
    EXPECT_THROW(files.occupied(unseen), Error);
    EXPECT_THROW(files.isLink(unseen), Error);
    EXPECT_THROW(files.folderPermissions(unseen), Error);
    fs::create_symlink("loop", folder / "loop");
    EXPECT_FALSE(files.exists(folder / "loop"));
    EXPECT_TRUE(files.occupied(folder / "loop"));
}

TEST_F(FileManagerTest, IsNotStoppedByWhatAnEarlierRunCouldNotFinish) {
    writeFile(platform::FileManager::temporaryName(folder / "file"), "half");
    files.writeAtomically(folder / "file", "whole");
    EXPECT_EQ(readFile(folder / "file"), "whole");
    writeFile(platform::FileManager::temporaryName(folder / "copy") / "in", "half");
    files.copyItemDurably(folder / "file", folder / "copy");
    EXPECT_EQ(readFile(folder / "copy"), "whole");
}

TEST_F(FileManagerTest, NamesTheFinalPlaceOfACopyThatFails) {
    writeFile(folder / "from", "x");
    writeFile(folder / "to", "y");
    EXPECT_EQ(messageOf<Error>([&] { files.copyItemDurably(folder / "from", folder / "to"); }),
              "Impossible de copier « " + (folder / "from").string() + " » vers « " +
                  (folder / "to").string() + " » : un élément porte déjà ce nom.");
    EXPECT_EQ(readFile(folder / "to"), "y");
}

TEST_F(FileManagerTest, CountsALinkToAFolderAsAFolder) {
    fs::create_directory(folder / "target");
    fs::permissions(folder / "target", fs::perms::owner_all);
    fs::create_directory_symlink(folder / "target", folder / "link");
    EXPECT_EQ(files.folderPermissions(folder / "link"), 0700U);
}

TEST_F(FileManagerTest, EnumeratesEveryDepthWithoutFollowingLinks) {
    makeBundle();
    fs::create_directory_symlink(folder.path(), folder / "loop");
    fs::create_symlink("itself", folder / "itself");
    std::vector<std::string> found;
    files.enumerate(folder.path(), [&](const fs::path& item, bool isFolder) {
        found.push_back(item.lexically_relative(folder.path()).string() + (isFolder ? "/" : ""));
    });
    EXPECT_THAT(found, testing::UnorderedElementsAre("A.app/", "A.app/Contents/", "A.app/Contents/MacOS/",
                                                     "A.app/Contents/MacOS/tool", "A.app/Contents/Resources/",
                                                     "A.app/Contents/Resources/empty",
                                                     "A.app/Contents/Empty/", "A.app/Contents/link",
                                                     "A.app/Contents/dangling", "loop", "itself"));
    EXPECT_NO_THROW(files.enumerate(folder / "absent", [](const fs::path&, bool) { FAIL(); }));
}

TEST_F(FileManagerTest, LooksForNoHiddenListWhenTheFolderIsNotThere) {
    fs::create_directory(folder / ".hidden"); // no list
    EXPECT_FALSE(files.isHidden(folder / "absent"));
}

TEST_F(FileManagerTest, HidesAndShowsAFolder) {
    fs::create_directory(folder / "a");
    EXPECT_FALSE(files.isHidden(folder / "a"));
    files.setHidden(folder / "a", true);
    EXPECT_TRUE(files.isHidden(folder / "a"));
    EXPECT_FALSE(files.isHidden(folder / "b"));
    files.setHidden(folder / "a", false);
    EXPECT_FALSE(files.isHidden(folder / "a"));
    EXPECT_THAT(TreeSnapshot::of(folder.path()).items, testing::SizeIs(1));
}

#ifndef __APPLE__
TEST_F(FileManagerTest, KeepsTheOtherNamesInTheListOfHiddenItems) {
    fs::create_directory(folder / "a");
    writeFile(folder / ".hidden", "x\na\ny");
    EXPECT_TRUE(files.isHidden(folder / "a"));
    files.setHidden(folder / "a", false);
    EXPECT_EQ(readFile(folder / ".hidden"), "x\ny\n");
}
#endif

TEST_F(FileManagerTest, ResolvesLinksDotsAndMissingParts) {
    fs::create_directory(folder / "real");
    fs::create_directory_symlink("real", folder / "link");
    EXPECT_EQ(files.resolved(folder / "link/./x/../missing/file"), folder / "real/missing/file");
    EXPECT_EQ(files.resolved((folder / "real").string() + "/"), folder / "real");
    EXPECT_EQ(files.resolved(""), fs::canonical("."));
    EXPECT_EQ(files.resolved("relative"), fs::canonical(".") / "relative");
}

TEST_F(FileManagerTest, TouchSetsTheModificationDateToNow) {
    writeFile(folder / "a", "");
    fs::last_write_time(folder / "a", fs::file_time_type::clock::now() - std::chrono::hours(48));
    files.touch(folder / "a");
    EXPECT_LT(fs::file_time_type::clock::now() - fs::last_write_time(folder / "a"), std::chrono::minutes(1));
}

} // namespace
