#include "engine/Recovery.hpp"
#include "platform/ItemDigest.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TreeSnapshot.hpp"

#include <gmock/gmock.h>

namespace {

using namespace engine;
namespace fs = std::filesystem;
using testing::HasSubstr;

/// A home as a run that was cut short leaves it: one template replaced, another one about to be installed.
struct RecoveryTest : testing::Test {
    tests::TemporaryFolder folder;
    PackInstaller installer{folder / "home", folder / "payload"};
    PackPaths paths{installer};
    Journal journal{"01234567-89AB-CDEF-0123-456789ABCDEF", false, false, {}, {}};
    fs::path backup = journal.backup(paths);
    fs::path path = paths.category / "01 Fade/01 Fade.motr";
    fs::path saved = backup / "Templates/01 Fade/01 Fade.motr";
    fs::path fresh = paths.category / "01 Fade/small.png";

    RecoveryTest() {
        journal.entries = {
            {paths.inHome(path), platform::textDigest("the user's"), platform::textDigest("the run's")},
            {paths.inHome(fresh), "", platform::textDigest("the run's too")}};
        tests::writeFile(path, "the run's");
        tests::writeFile(saved, "the user's");
        tests::writeFile(journal.staging(paths) / "file", "staged");
    }

    Undone undo() const { return engine::undo(installer, paths, journal); }

    fs::path kept(const fs::path& item, const std::string& name = "Kept") const {
        return backup / name / paths.inHome(item);
    }
};

TEST_F(RecoveryTest, RemovesWhatIsTheRunsAndPutsWhatWasSavedBack) {
    tests::writeFile(fresh, "the run's too");
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(path), "the user's");
    EXPECT_FALSE(fs::exists(fresh));
    EXPECT_FALSE(fs::exists(saved));
    EXPECT_FALSE(fs::exists(backup / "Kept"));
    EXPECT_FALSE(fs::exists(journal.staging(paths)));
}

TEST_F(RecoveryTest, UndoesNothingTwice) {
    EXPECT_TRUE(undo().isRestored);
    const auto after = tests::TreeSnapshot::of(folder.path());
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::difference(after, tests::TreeSnapshot::of(folder.path())), "");
}

TEST_F(RecoveryTest, MovesAFileThatTheUserPutThereSinceIntoTheBackupAndNamesIt) {
    tests::writeFile(path, "saved by the user since");
    const Undone undone = undo();
    EXPECT_TRUE(undone.isRestored);
    EXPECT_EQ(tests::readFile(path), "the user's");
    EXPECT_EQ(tests::readFile(kept(path)), "saved by the user since");
    EXPECT_EQ(undone.text, "« " + path.string() + " » avait changé entre-temps, et c’est conservé dans « " +
                               kept(path).string() + " ».\n");
}

TEST_F(RecoveryTest, KeepsTwoFilesOfTheUsersApart) {
    tests::writeFile(kept(path), "of an earlier undoing");
    tests::writeFile(path, "saved by the user since");
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(kept(path)), "of an earlier undoing");
    EXPECT_EQ(tests::readFile(kept(path, "Kept-2")), "saved by the user since");
}

TEST_F(RecoveryTest, LeavesWhatTheRunNeverReachedAsItIs) {
    tests::writeFile(fresh, "the user's own");
    fs::remove(saved);
    tests::writeFile(path, "edited by the user since");
    const Undone undone = undo();
    EXPECT_TRUE(undone.isRestored);
    EXPECT_EQ(tests::readFile(fresh), "the user's own");
    EXPECT_EQ(tests::readFile(path), "edited by the user since");
    EXPECT_FALSE(fs::exists(backup / "Kept"));
}

TEST_F(RecoveryTest, ReportsWhatHasNoCopyAnyMore) {
    fs::remove_all(backup);
    const Undone undone = undo();
    EXPECT_FALSE(undone.isRestored);
    EXPECT_TRUE(undone.isComplete);
    EXPECT_EQ(undone.text,
              "« " + path.string() + " » n’a pas pu être rétabli : il n’en existe pas de copie.\n");
}

TEST_F(RecoveryTest, TellsAnOriginalThatWasCopiedFromTheRunsOwnFile) {
    tests::writeFile(path, "the user's"); // not yet taken away; what is saved is a copy
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(path), "the user's");
    EXPECT_EQ(tests::readFile(saved), "the user's");
}

TEST_F(RecoveryTest, PrefersTheOriginalThatWasSetAsideToItsCopy) {
    const fs::path aside = journal.temporary(path, 0, 'o');
    tests::writeFile(aside, "newer than the copy");
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(path), "newer than the copy");
    EXPECT_FALSE(fs::exists(aside));
}

TEST_F(RecoveryTest, TakesTheCopyOfAFolderThatIsHalfRemoved) {
    const fs::path& application = paths.installedApplication;
    const fs::path copy = backup / applicationName;
    tests::writeFile(copy / "a", "a");
    tests::writeFile(copy / "b", "b");
    journal.entries = {{paths.inHome(application), platform::itemDigest(installer.fm, copy), ""}};
    const fs::path aside = journal.temporary(application, 0, 'o');
    tests::writeFile(aside / "a", "a");
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(application / "b"), "b");
    EXPECT_FALSE(fs::exists(aside));
}

TEST_F(RecoveryTest, RemovesItemsThatWereNotFinished) {
    const fs::path unfinished = journal.temporary(fresh, 1, 'n');
    const fs::path unfinishedCopy = journal.temporary(saved, 0, 'c');
    tests::writeFile(unfinished, "half");
    tests::writeFile(unfinishedCopy, "half");
    const fs::path others = path.parent_path() / ".01 Fade.motr.orvo-partial";
    tests::writeFile(others, "a name that a user may give");
    EXPECT_TRUE(undo().isRestored);
    EXPECT_FALSE(fs::exists(unfinished));
    EXPECT_FALSE(fs::exists(unfinishedCopy));
    EXPECT_TRUE(fs::exists(others));
}

TEST_F(RecoveryTest, SettlesWhatAnUndoingWasLookingAtWhenItWasCutShort) {
    fs::rename(path, journal.temporary(path, 0, 'u'));
    tests::writeFile(journal.temporary(fresh, 1, 'u'), "the user's own");
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(path), "the user's");
    EXPECT_FALSE(fs::exists(journal.temporary(path, 0, 'u')));
    EXPECT_EQ(tests::readFile(kept(fresh)), "the user's own");
}

TEST_F(RecoveryTest, GivesATransitionFolderBackAsItWas) {
    const fs::path gone = paths.category / "02 Old Wipe";
    const std::string emptied = paths.inHome(gone);
    journal.entries = {{emptied + "/small.png", platform::textDigest("x"), ""}};
    journal.folders = {{emptied, FolderState{0711, 1582934400'123456789}}};
    tests::writeFile(backup / "Templates/02 Old Wipe/small.png", "x");
    const fs::path copy = journal.emptied(paths, emptied);
    fs::create_directories(copy);
    const auto inode = installer.fm.status(copy)->inode;
    tests::writeFile(journal.temporary(gone, 1, 'c') / "half", "of what an undo was copying");
    EXPECT_TRUE(undo().isRestored);
    const auto status = installer.fm.status(gone);
    EXPECT_EQ(status->inode, inode); // with its extended attributes
    EXPECT_EQ(status->permissions, 0711U);
    EXPECT_EQ(status->modified, 1582934400'123456789);
    EXPECT_EQ(tests::readFile(gone / "small.png"), "x");
    EXPECT_FALSE(fs::exists(journal.temporary(gone, 1, 'c')));
    EXPECT_FALSE(fs::exists(copy));
}

TEST_F(RecoveryTest, LeavesATransitionFolderThatExistsAgain) {
    const fs::path again = paths.category / "02 Old Wipe";
    const std::string emptied = paths.inHome(again);
    journal.entries = {{emptied + "/small.png", platform::textDigest("x"), ""}};
    journal.folders = {{emptied, FolderState{0755, 0}}};
    tests::writeFile(backup / "Templates/02 Old Wipe/small.png", "x");
    fs::create_directories(journal.emptied(paths, emptied));
    tests::writeFile(again / "mine.txt", "put there since");
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(again / "mine.txt"), "put there since");
    EXPECT_EQ(tests::readFile(again / "small.png"), "x");
    EXPECT_FALSE(fs::exists(journal.emptied(paths, emptied)));
}

TEST_F(RecoveryTest, RemovesTheFoldersThatTheRunMadeWhenTheyAreEmpty) {
    fs::remove_all(paths.home / "Movies");
    fs::remove_all(backup);
    tests::writeFile(fresh, "the run's too");
    tests::writeFile(paths.home / "Applications/mine.txt", "the user's");
    journal.entries.erase(journal.entries.begin());
    for (fs::path above = paths.inHome(fresh.parent_path()); !above.empty(); above = above.parent_path()) {
        journal.folders.emplace(above.string(), std::nullopt);
    }
    journal.folders.emplace("Applications", std::nullopt);
    EXPECT_TRUE(undo().isRestored);
    EXPECT_FALSE(fs::exists(paths.home / "Movies"));
    EXPECT_TRUE(fs::exists(paths.home / "Applications/mine.txt"));
}

TEST_F(RecoveryTest, FollowsALinkAboveTheCategories) {
    fs::rename(paths.home / "Movies", folder / "Movies");
    fs::create_directory_symlink(folder / "Movies", paths.home / "Movies");
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(path), "the user's");
    EXPECT_TRUE(fs::is_symlink(paths.home / "Movies"));
}

TEST_F(RecoveryTest, NamesWhatItCannotPutBackAndLeavesTheRestForAnotherTry) {
    fs::remove_all(path.parent_path());
    tests::writeFile(path.parent_path(), "a file where the folder was");
    const Undone undone = undo();
    EXPECT_FALSE(undone.isComplete);
    EXPECT_THAT(undone.text, HasSubstr("« " + path.string() + " » n’a pas pu être rétabli : "));
    EXPECT_EQ(tests::readFile(saved), "the user's");
    fs::remove(path.parent_path());
    EXPECT_TRUE(undo().isRestored);
    EXPECT_EQ(tests::readFile(path), "the user's");
}

} // namespace
