#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"
#include "tests/support/TreeSnapshot.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <new>

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

    /// True for the sources of macOS.
    bool isMac() const { return !files.hiddenList(folder.path()); }

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
    for (const char* part : {"Contents/dangling", "Contents/MacOS", "Contents", ""}) {
        const timespec dates[2]{{1'000'000'000, 0}, {1'234'567'890, 123'456'700}};
        ASSERT_EQ(utimensat(AT_FDCWD, (bundle / part).lexically_normal().c_str(), dates, AT_SYMLINK_NOFOLLOW),
                  0);
    }
    files.copyItem(bundle, folder / "B.app");
    EXPECT_EQ(TreeSnapshot::of(bundle), TreeSnapshot::of(folder / "B.app"))
        << difference(TreeSnapshot::of(bundle), TreeSnapshot::of(folder / "B.app"));
    for (const char* part : {"Contents/dangling", "Contents/MacOS", "Contents", "."}) {
        EXPECT_EQ(files.status(folder / "B.app" / part)->modified, 1'234'567'890'123'456'700) << part;
    }
}

TEST_F(FileManagerTest, CopiesNoBitsThatNobodyAskedFor) {
    writeFile(folder / "A.app/tool", "program");
    fs::permissions(folder / "A.app/tool", fs::perms(07755));
    fs::permissions(folder / "A.app", fs::perms(03775));
    files.copyItem(folder / "A.app", folder / "B.app");
    EXPECT_EQ(files.status(folder / "B.app")->permissions, 0775U);
    EXPECT_EQ(files.status(folder / "B.app/tool")->permissions, 0755U);
}

TEST_F(FileManagerTest, NamesTheItemThatCannotBeCopied) {
    ASSERT_TRUE(fs::create_directories(folder / "A.app/Contents"));
    ASSERT_EQ(mkfifo((folder / "A.app/Contents/pipe").c_str(), 0600), 0);
    EXPECT_EQ(messageOf<Error>([&] { files.copyItem(folder / "A.app", folder / "B.app"); }),
              "Impossible de copier « " + (folder / "A.app/Contents/pipe").string() +
                  " » : ce n’est pas un fichier.");
}

TEST_F(FileManagerTest, LosesNoCompanionOfWhatItCopies) {
    writeFile(folder / "A.app/a", "a");
    writeFile(folder / "A.app/._a", "attributes");
    writeFile(folder / "A.app/._orphan", "orphan");
    files.copyItem(folder / "A.app", folder / "B.app");
    EXPECT_EQ(readFile(folder / "B.app/._orphan"), "orphan");
    EXPECT_EQ(fs::exists(folder / "B.app/._a"), !isMac()) << "a Mac makes it with the item";
}

TEST_F(FileManagerTest, CopiesExtendedAttributes) {
    const fs::path bundle = makeBundle();
    fs::permissions(bundle / "Contents/MacOS/tool", fs::perms(0444));
    setNote(bundle / "Contents/Resources", "hello");
    if (!note(bundle / "Contents/MacOS/tool")) {
        GTEST_SKIP() << "this file system keeps no extended attributes";
    }
    files.copyItem(bundle, folder / "B.app");
    EXPECT_EQ(note(folder / "B.app/Contents/MacOS/tool"), "hello");
    EXPECT_EQ(note(folder / "B.app/Contents/Resources"), "hello");
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

TEST_F(FileManagerTest, RenamesOverNothing) {
    writeFile(folder / "a", "new");
    writeFile(folder / "b", "kept");
    fs::create_symlink("nowhere", folder / "dangling");
    fs::create_directory(folder / "empty");
    for (const char* taken : {"b", "dangling", "empty"}) {
        EXPECT_EQ(messageOf<Error>([&] { files.renameItem(folder / "a", folder / taken); }),
                  "Impossible de déplacer « " + (folder / "a").string() + " » vers « " +
                      (folder / taken).string() + " » : un élément porte déjà ce nom.");
    }
    EXPECT_EQ(readFile(folder / "b"), "kept");
    EXPECT_EQ(readFile(folder / "a"), "new");
    files.renameItem(folder / "a", folder / "free");
    EXPECT_EQ(readFile(folder / "free"), "new");
}

TEST_F(FileManagerTest, MovesOverNothing) {
    writeFile(folder / "a", "new");
    writeFile(folder / "b", "kept");
    EXPECT_THROW(files.moveItem(folder / "a", folder / "b", folder / "partial"), Error);
    EXPECT_EQ(readFile(folder / "b"), "kept");
    files.moveItem(folder / "a", folder / "free", folder / "partial");
    EXPECT_EQ(readFile(folder / "free"), "new");
    EXPECT_THAT(files.list(folder.path()), testing::ElementsAre("b", "free"));
}

TEST_F(FileManagerTest, MovesWhatMayBeGone) {
    writeFile(folder / "a", "a");
    EXPECT_TRUE(files.moveExisting(folder / "a", folder / "b", folder / "partial"));
    EXPECT_FALSE(files.moveExisting(folder / "a", folder / "b", folder / "partial"));
    EXPECT_THROW(void(files.moveExisting(folder / "b", folder / "none/b", folder / "partial")), Error);
    EXPECT_EQ(readFile(folder / "b"), "a");
}

TEST_F(TwoFileSystemsTest, RenamesOnlyWithinOne) {
    const TemporaryFolder elsewhere("/dev/shm");
    writeFile(folder / "a", "a");
    try {
        files.renameItem(folder / "a", elsewhere / "a");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.number(), EXDEV);
    }
    EXPECT_EQ(readFile(folder / "a"), "a");
    EXPECT_TRUE(fs::is_empty(elsewhere.path()));
}

TEST_F(TwoFileSystemsTest, MovesATreeAcrossThem) {
    const TemporaryFolder elsewhere("/dev/shm");
    const fs::path bundle = makeBundle();
    const TreeSnapshot before = TreeSnapshot::of(bundle);
    files.moveItem(bundle, elsewhere / "B.app", elsewhere / "partial");
    EXPECT_EQ(TreeSnapshot::of(elsewhere / "B.app"), before);
    EXPECT_EQ(TreeSnapshot::of(elsewhere.path()).items.size(), before.items.size() + 1);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(TwoFileSystemsTest, KeepTheItemWholeAtItsPathWhenAMoveAcrossThemFails) {
    const TemporaryFolder elsewhere("/dev/shm");
    const fs::path bundle = makeBundle();
    ASSERT_EQ(mkfifo((bundle / "Contents/pipe").c_str(), 0600), 0);
    const TreeSnapshot before = TreeSnapshot::of(bundle);
    EXPECT_EQ(messageOf<Error>([&] { files.moveItem(bundle, elsewhere / "B.app", elsewhere / "partial"); }),
              "Impossible de copier « " + (bundle / "Contents/pipe").string() +
                  " » : ce n’est pas un fichier.");
    EXPECT_EQ(TreeSnapshot::of(bundle), before);
    EXPECT_FALSE(fs::exists(elsewhere / "B.app"));
}

TEST_F(TwoFileSystemsTest, AreMovedAcrossOnlyToFreePaths) {
    const TemporaryFolder elsewhere("/dev/shm");
    writeFile(folder / "a", "a");
    writeFile(elsewhere / "b", "b");
    writeFile(elsewhere / "partial", "the user's");
    EXPECT_THROW(files.moveItem(folder / "a", elsewhere / "free", elsewhere / "partial"), Error);
    EXPECT_THROW(files.moveItem(folder / "a", elsewhere / "b", elsewhere / "other"), Error);
    EXPECT_EQ(readFile(folder / "a"), "a");
    EXPECT_EQ(readFile(elsewhere / "b"), "b");
    EXPECT_EQ(readFile(elsewhere / "partial"), "the user's");
    EXPECT_FALSE(fs::exists(elsewhere / "free"));
}

TEST_F(FileManagerTest, RefusesToReadWhatIsNoFile) {
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(messageOf<Error>([&] { files.read(folder / "pipe"); }),
              "Impossible de lire « " + (folder / "pipe").string() + " » : ce n’est pas un fichier.");
    EXPECT_EQ(messageOf<Error>([&] { files.read(folder.path()); }),
              "Impossible de lire « " + folder.path().string() + " » : c’est un dossier.");
}

TEST_F(FileManagerTest, RefusesToReadMoreThanItMay) {
    writeFile(folder / "file", "12345");
    EXPECT_EQ(files.read(folder / "file", 5), "12345");
    EXPECT_EQ(messageOf<Error>([&] { files.read(folder / "file", 4); }),
              "Impossible de lire « " + (folder / "file").string() + " » : le fichier est trop grand.");
    fs::resize_file(folder / "file", std::uintmax_t{1} << 40);
    EXPECT_THROW(files.read(folder / "file", 1 << 20), Error);
}

TEST_F(FileManagerTest, RemovesATreeButNotWhatItsLinksLeadTo) {
    const fs::path bundle = makeBundle();
    writeFile(folder / "outside/file", "kept");
    fs::create_directory_symlink(folder / "outside", bundle / "out");
    files.removeItem(bundle);
    EXPECT_FALSE(files.existsNoFollow(bundle));
    EXPECT_EQ(readFile(folder / "outside/file"), "kept");
}

TEST_F(FileManagerTest, RemovesOnlyEmptyFolders) {
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    writeFile(folder / "full/file", "");
    fs::create_directory(folder / "empty");
    fs::create_directory_symlink("empty", folder / "link");
    const TreeSnapshot before = TreeSnapshot::of(folder.path());
    for (const char* name : {"full", "full/file", "full/file/absent", "absent", "pipe", "link"}) {
        EXPECT_NO_THROW(files.removeEmptyFolder(folder / name)) << name;
    }
    EXPECT_EQ(TreeSnapshot::of(folder.path()), before);
    files.removeEmptyFolder(folder / "empty");
    EXPECT_FALSE(fs::exists(folder / "empty"));
}

TEST_F(FileManagerTest, MakesAFolderWithAllAboveIt) {
    files.makeFolder(folder / "a/b/c");
    files.makeFolder(folder / "a/b/c");
    EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
    fs::create_directory_symlink("a", folder / "link");
    files.makeFolder(folder / "link");
    writeFile(folder / "file", "x");
    EXPECT_THROW(files.makeFolder(folder / "file"), Error);
    EXPECT_THROW(files.makeFolder(folder / "file/a"), Error);
    fs::create_symlink("nowhere", folder / "dangling");
    EXPECT_EQ(messageOf<Error>([&] { files.makeFolder(folder / "dangling/a"); }),
              "Impossible de créer le dossier « " + (folder / "dangling").string() +
                  " » : c’est un lien vers un emplacement qui n’existe pas.");
}

TEST_F(FileManagerTest, MakesEveryMissingFolderWithThePermissions) {
    fs::create_directory(folder / "a");
    fs::permissions(folder / "a", fs::perms(0755));
    files.makeFolder(folder / "a/b/c", 0700);
    EXPECT_EQ(files.status(folder / "a")->permissions, 0755U);
    EXPECT_EQ(files.status(folder / "a/b")->permissions, 0700U);
    EXPECT_EQ(files.status(folder / "a/b/c")->permissions, 0700U);
}

TEST_F(FileManagerTest, WritesANewFileOnlyWhereNothingExists) {
    fs::create_symlink("nowhere", folder / "dangling");
    files.writeNew(folder / "new", [](const auto& sink) { sink("contents"); });
    EXPECT_EQ(readFile(folder / "new"), "contents");
    EXPECT_EQ(
        messageOf<Error>([&] { files.writeNew(folder / "new", [](const auto& sink) { sink("other"); }); }),
        "Impossible d’écrire « " + (folder / "new").string() + " » : un élément porte déjà ce nom.");
    EXPECT_THROW(files.writeNew(folder / "dangling", [](const auto& sink) { sink("other"); }), Error);
    EXPECT_EQ(readFile(folder / "new"), "contents");
    EXPECT_FALSE(fs::exists(folder / "nowhere"));
}

TEST_F(FileManagerTest, LeavesNothingOfANewFileWhoseSourceFails) {
    const auto failing = [](const auto& sink) {
        sink(std::string(200'000, 'x'));
        throw std::bad_alloc();
    };
    EXPECT_THROW(files.writeNew(folder / "new", failing), std::bad_alloc);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(FileManagerTest, DoesNotTakeAnItemThatItCannotLookAtForAbsent) {
    const fs::path unseen = folder / std::string(300, 'x'); // no file system has names as long
    EXPECT_THROW(files.exists(unseen), Error);
    EXPECT_THROW(files.existsNoFollow(unseen), Error);
    EXPECT_THROW(files.isFolder(unseen), Error);
    EXPECT_THROW(files.list(unseen), Error);
    EXPECT_THROW(files.removeItem(unseen), Error);
}

TEST_F(FileManagerTest, TakesForAbsentWhatNoPathLeadsTo) {
    fs::create_symlink("loop", folder / "loop");
    writeFile(folder / "file", "");
    EXPECT_FALSE(files.exists(folder / "loop"));
    EXPECT_TRUE(files.existsNoFollow(folder / "loop"));
    for (const char* path : {"absent", "absent/a", "file/a", "loop/a"}) {
        EXPECT_FALSE(files.exists(folder / path)) << path;
        EXPECT_FALSE(files.status(folder / path)) << path;
        EXPECT_THAT(files.list(folder / path), testing::IsEmpty()) << path;
        EXPECT_NO_THROW(files.removeItem(folder / path)) << path;
    }
}

TEST_F(FileManagerTest, TellsWhatAnItemIs) {
    using Kind = platform::ItemStatus::Kind;
    writeFile(folder / "file", "12345");
    fs::permissions(folder / "file", fs::perms(0640));
    fs::create_directory(folder / "folder");
    fs::create_symlink("folder", folder / "link");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(files.status(folder / "folder")->kind, Kind::folder);
    EXPECT_EQ(files.status(folder / "link")->kind, Kind::link);
    EXPECT_EQ(files.status(folder / "pipe")->kind, Kind::other);
    EXPECT_TRUE(files.isFolder(folder / "link"));
    EXPECT_EQ(files.linkTarget(folder / "link"), "folder");

    const platform::ItemStatus file = *files.status(folder / "file");
    EXPECT_EQ(file.kind, Kind::file);
    EXPECT_EQ(file.size, 5U);
    EXPECT_EQ(file.permissions, 0640U);
    EXPECT_EQ(file.owner, geteuid());
    EXPECT_TRUE(files.belongsToUser(folder / "file"));
    EXPECT_FALSE(files.belongsToUser(folder / "absent"));
    fs::rename(folder / "file", folder / "moved");
    EXPECT_EQ(files.status(folder / "moved"), file);
    writeFile(folder / "file", "12345");
    EXPECT_NE(files.status(folder / "file"), file);
}

TEST_F(FileManagerTest, EnumeratesEveryDepthInOrderWithoutFollowingLinks) {
    makeBundle();
    fs::create_directory_symlink(folder.path(), folder / "loop");
    fs::create_symlink("itself", folder / "itself");
    const auto itemsBelow = [&](const fs::path& start) {
        std::vector<std::string> found;
        files.enumerate(start, [&](const fs::path& item, const platform::ItemStatus& status) {
            EXPECT_EQ(status, files.status(item));
            found.push_back(item.lexically_relative(start).string());
        });
        return found;
    };
    const std::vector<std::string> all{"A.app",
                                       "A.app/Contents",
                                       "A.app/Contents/Empty",
                                       "A.app/Contents/MacOS",
                                       "A.app/Contents/MacOS/tool",
                                       "A.app/Contents/Resources",
                                       "A.app/Contents/Resources/empty",
                                       "A.app/Contents/dangling",
                                       "A.app/Contents/link",
                                       "itself",
                                       "loop"};
    EXPECT_EQ(itemsBelow(folder.path()), all);
    EXPECT_EQ(itemsBelow(folder / "loop"), all);
    EXPECT_THAT(itemsBelow(folder / "absent"), testing::IsEmpty());
    EXPECT_THAT(files.list(folder.path()), testing::ElementsAre("A.app", "itself", "loop"));
}

TEST_F(FileManagerTest, LeavesOutTheCompanionsOfItemsOnly) {
    for (const char* name : {"a", "._a", "._orphan", "._", "._._a"}) {
        writeFile(folder / "A.app" / name, name);
    }
    EXPECT_THAT(files.list(folder / "A.app"), testing::ElementsAre("._", "._orphan", "a"));
    files.removeItem(folder / "A.app");
    EXPECT_FALSE(fs::exists(folder / "A.app"));
}

TEST_F(FileManagerTest, LooksForNoHiddenListWhenTheFolderIsNotThere) {
    fs::create_directory(folder / ".hidden"); // no list
    EXPECT_FALSE(files.isHidden(folder / "absent"));
}

TEST_F(FileManagerTest, HidesAndShowsAFolderThatRecordsItItself) {
    fs::create_directory(folder / "a");
    EXPECT_FALSE(files.isHidden(folder / "a"));
    files.setHidden(folder / "a", true);
    EXPECT_EQ(files.isHidden(folder / "a"), isMac()); // elsewhere a list hides folders
    EXPECT_FALSE(files.isHidden(folder / "b"));
    files.setHidden(folder / "a", false);
    EXPECT_FALSE(files.isHidden(folder / "a"));
    EXPECT_THAT(TreeSnapshot::of(folder.path()).items, testing::SizeIs(1));
}

TEST_F(FileManagerTest, ReadsTheListOfHiddenItems) {
    if (isMac()) { // a flag hides folders there
        EXPECT_EQ(files.hiddenList(folder / "a"), std::nullopt);
        return;
    }
    const auto withoutFolder = [&] { return files.hiddenListWithout(folder / "a"); };
    fs::create_directory(folder / "a");
    EXPECT_FALSE(files.isHidden(folder / "a"));
    EXPECT_EQ(withoutFolder(), "");
    writeFile(folder / ".hidden", "x\na\ny");
    EXPECT_TRUE(files.isHidden(folder / "a"));
    EXPECT_EQ(files.hiddenList(folder / "a"), folder / ".hidden");
    EXPECT_EQ(withoutFolder(), "x\ny\n");
    writeFile(folder / ".hidden", "a\n");
    EXPECT_EQ(withoutFolder(), "");
    fs::resize_file(folder / ".hidden", std::uintmax_t{1} << 40);
    EXPECT_EQ(messageOf<Error>([&] { files.isHidden(folder / "a"); }),
              "Impossible de lire « " + (folder / ".hidden").string() + " » : le fichier est trop grand.");
}

TEST_F(FileManagerTest, ResolvesLinksDotsAndMissingParts) {
    fs::create_directory(folder / "real");
    fs::create_directory_symlink("real", folder / "link");
    EXPECT_EQ(files.resolved(folder / "link/./x/../missing/file"), folder / "real/missing/file");
    EXPECT_EQ(files.resolved((folder / "real").string() + "/"), folder / "real");
    EXPECT_EQ(files.resolved((folder / "absent").string() + "/"), folder / "absent");
    EXPECT_EQ(files.resolved(""), fs::canonical("."));
    EXPECT_EQ(files.resolved("relative"), fs::canonical(".") / "relative");
    EXPECT_EQ(files.resolved("/"), "/");
    EXPECT_EQ(files.resolved("/absent/a"), "/absent/a");
}

TEST_F(FileManagerTest, LeavesAsItIsWhatCannotBeResolved) {
    fs::create_directory(folder / "real");
    fs::create_directory_symlink("real", folder / "link");
    fs::create_symlink("loop", folder / "real/loop");
    fs::create_symlink("nowhere", folder / "real/dangling");
    writeFile(folder / "real/file", "");
    for (const std::string& name : {std::string("loop"), std::string("loop/a"), std::string("dangling"),
                                    std::string("file/a"), std::string(300, 'x')}) {
        EXPECT_EQ(files.resolved(folder / "link" / name), folder / "real" / name);
    }
}

TEST_F(FileManagerTest, TouchSetsTheModificationDateToNow) {
    writeFile(folder / "a", "");
    fs::last_write_time(folder / "a", fs::file_time_type::clock::now() - std::chrono::hours(48));
    files.touch(folder / "a");
    EXPECT_LT(fs::file_time_type::clock::now() - fs::last_write_time(folder / "a"), std::chrono::minutes(1));
}

TEST_F(FileManagerTest, SetsPermissionsAndDates) {
    writeFile(folder / "a", "");
    files.setPermissions(folder / "a", 0604);
    EXPECT_EQ(files.status(folder / "a")->permissions, 0604U);
    for (const std::int64_t date : {std::int64_t{1'234'567'890'123'456'700}, std::int64_t{-1'500'000'000}}) {
        files.setModified(folder / "a", date);
        EXPECT_EQ(files.status(folder / "a")->modified, date);
    }
    fs::create_symlink("a", folder / "link");
    EXPECT_THROW(files.setPermissions(folder / "link", 0777), Error);
    EXPECT_EQ(files.status(folder / "a")->permissions, 0604U);
    EXPECT_THROW(files.setPermissions(folder / "absent", 0777), Error);
}

TEST_F(FileManagerTest, KeepsADateThatNoNumberOfNanosecondsReaches) {
    const TemporaryFolder elsewhere(fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : folder.path());
    writeFile(elsewhere / "a", "");
    const timespec year5000[2]{{95'617'584'000, 0}, {95'617'584'000, 0}};
    struct stat found {};
    if (utimensat(AT_FDCWD, (elsewhere / "a").c_str(), year5000, 0) != 0 ||
        stat((elsewhere / "a").c_str(), &found) != 0 || found.st_mtime != year5000[1].tv_sec) {
        GTEST_SKIP() << "this file system has no such date";
    }
    EXPECT_EQ(files.status(elsewhere / "a")->modified, std::numeric_limits<std::int64_t>::max());
    files.copyItem(elsewhere / "a", elsewhere / "b");
    ASSERT_EQ(stat((elsewhere / "b").c_str(), &found), 0);
    EXPECT_EQ(found.st_mtime, year5000[1].tv_sec);
}

TEST_F(FileManagerTest, SynchronizesItemsAndTheDisksOfMissingOnes) {
    makeBundle();
    EXPECT_NO_THROW(files.synchronize(
        {folder / "A.app", folder / "A.app/Contents/MacOS/tool", folder / "A.app/Contents/dangling"}));
    EXPECT_THROW(files.synchronize({folder / "absent"}), Error);
    EXPECT_NO_THROW(files.synchronizeFileSystems({folder / "absent/a", folder / "A.app", "/"}));
}

} // namespace
