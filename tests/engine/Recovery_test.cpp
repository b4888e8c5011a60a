#include "engine/Recovery.hpp"
#include "platform/Error.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TreeSnapshot.hpp"

#include <gmock/gmock.h>

namespace {

using namespace engine;
namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

/// A home as a run that was cut short leaves it: one template replaced, one file of the application's
/// created.
struct RecoveryTest : testing::Test {
    tests::TemporaryFolder folder;
    fs::path home = folder / "home";
    fs::path outside = folder / "outside";
    PackInstaller installer{home, folder / "payload"};
    PackPaths paths{installer};
    fs::path backup = paths.backups / "B";
    fs::path place = paths.category / "01 Fade/01 Fade.motr";
    fs::path saved = backup / "Templates/01 Fade/01 Fade.motr";
    std::string path = place.lexically_relative(home).string();
    RunRecord record{"B", "Staging-S", false, {}, {{path, "Templates/01 Fade/01 Fade.motr", true}}};

    RecoveryTest() {
        tests::writeFile(place, "the run's");
        tests::writeFile(saved, "the user's");
        tests::writeFile(paths.support / "Staging-S/file", "staged");
        fs::create_directories(outside);
    }

    std::vector<std::string> undo() const { return Recovery(installer, paths, record).undoInterrupted(); }

    /// Moves a folder out of the home and puts a link to it in its place.
    void replaceByLink(const fs::path& item) const {
        fs::rename(item, outside / item.filename());
        fs::create_directory_symlink(outside / item.filename(), item);
    }

    /// What stands in the one folder of things that were set aside.
    std::vector<std::string> setAside() const {
        std::vector<std::string> found;
        for (const auto& item : fs::recursive_directory_iterator(backup)) {
            const std::string name = item.path().lexically_relative(backup).string();
            if (name.starts_with("Interrupted-") && item.is_regular_file()) {
                found.push_back(name.substr(name.find('/') + 1));
            }
        }
        return found;
    }
};

TEST_F(RecoveryTest, PutsTheSavedCopyBackAndKeepsWhatStoodThere) {
    EXPECT_THAT(undo(), IsEmpty());
    EXPECT_EQ(tests::readFile(place), "the user's");
    EXPECT_THAT(setAside(), ElementsAre(path));
    EXPECT_FALSE(fs::exists(paths.support / "Staging-S"));
}

TEST_F(RecoveryTest, UndoesNothingTwice) {
    EXPECT_THAT(undo(), IsEmpty());
    const auto after = tests::TreeSnapshot::of(home);
    EXPECT_THAT(undo(), IsEmpty());
    EXPECT_EQ(tests::difference(after, tests::TreeSnapshot::of(home)), "");
}

TEST_F(RecoveryTest, ChangesNothingWhereTheBackupBecameALink) {
    for (const fs::path& part : {saved.parent_path(), backup / "Templates", backup, paths.backups}) {
        replaceByLink(part);
        const auto before = tests::TreeSnapshot::of(folder.path());
        EXPECT_THAT(undo(), ElementsAre(testing::StartsWith("Lien symbolique refusé, conservé : "))) << part;
        EXPECT_EQ(tests::difference(before, tests::TreeSnapshot::of(folder.path())), "");
        fs::remove(part);
        fs::rename(outside / part.filename(), part);
    }
}

TEST_F(RecoveryTest, ChangesNothingWhereAPlaceLeadsOutOfTheCategory) {
    replaceByLink(place.parent_path());
    const auto before = tests::TreeSnapshot::of(folder.path());
    EXPECT_THAT(undo(), ElementsAre("Lien symbolique refusé, conservé : " + place.parent_path().string()));
    EXPECT_EQ(tests::difference(before, tests::TreeSnapshot::of(folder.path())), "");
}

TEST_F(RecoveryTest, FollowsALinkAboveTheCategories) {
    replaceByLink(home / "Movies");
    EXPECT_THAT(undo(), IsEmpty());
    EXPECT_EQ(tests::readFile(place), "the user's");
    EXPECT_TRUE(fs::is_symlink(home / "Movies"));
}

TEST_F(RecoveryTest, GivesAFolderThatWasMadeAgainItsPermissions) {
    const fs::path gone = paths.category / "02 Old Wipe";
    const fs::path madeAgain = paths.category / "01 Fade";
    const auto relative = [&](const fs::path& item) { return item.lexically_relative(home).string(); };
    record.folders = {{relative(gone), 0711U}, {relative(madeAgain), 0750U}, {"Movies", 0711U}};
    fs::create_directory(outside / "linked");
    fs::create_directory_symlink(outside / "linked", home / "link");
    record.folders.emplace("link", 0700U);
    EXPECT_THAT(undo(), IsEmpty());
    EXPECT_EQ(installer.fm.folderPermissions(gone), 0711U);
    EXPECT_EQ(installer.fm.folderPermissions(madeAgain), 0750U);
    EXPECT_NE(installer.fm.folderPermissions(home / "Movies"), 0711U); // the user's own to set
    EXPECT_NE(installer.fm.folderPermissions(outside / "linked"), 0700U);
}

TEST_F(RecoveryTest, RemovesCopiesThatWereNotFinished) {
    const auto unfinished = [](const fs::path& item) { return platform::FileManager::temporaryName(item); };
    tests::writeFile(unfinished(place), "half");
    tests::writeFile(unfinished(saved), "half");
    tests::writeFile(unfinished(backup / "Interrupted-X" / path), "half");
    EXPECT_THAT(undo(), IsEmpty());
    for (const auto& item : fs::recursive_directory_iterator(home)) {
        EXPECT_FALSE(platform::FileManager::isTemporaryName(item.path())) << item.path();
    }
}

TEST_F(RecoveryTest, LeavesAFileThatSomebodyElsePutInTheRunsPlace) {
    const fs::path other = paths.category / "x";
    Changes changes(installer, backup);
    const auto takenWhile = [&](const fs::path& taken) {
        EXPECT_THROW(changes.create(taken,
                                    [&] {
                                        tests::writeFile(taken, "somebody else's");
                                        installer.fm.writeNew(taken,
                                                              [](const auto& sink) { sink("the run's"); });
                                    }),
                     platform::Error);
    };
    changes.preserve(place, "again");
    takenWhile(place);
    takenWhile(other);
    const auto problems = Recovery(installer, paths, record).undo(changes.list(), [&](const fs::path& item) {
        installer.fm.removeItem(item);
    });
    EXPECT_EQ(tests::readFile(other), "somebody else's");
    EXPECT_EQ(tests::readFile(place), "somebody else's");
    EXPECT_EQ(tests::readFile(backup / "again"), "the run's");
    EXPECT_THAT(problems, ElementsAre(testing::HasSubstr("« " + place.string() + " »")));
}

TEST_F(RecoveryTest, NamesThePlaceThatItCannotSetAside) {
    const fs::path other = paths.category / "x";
    tests::writeFile(other, "the run's");
    record.places = {{other.lexically_relative(home).string(), "x", false}};
    fs::remove_all(backup);
    tests::writeFile(backup, "a file where the backup folder was");
    EXPECT_THAT(undo(), ElementsAre("Impossible de mettre de côté « " + other.string() +
                                    " » : un élément porte déjà ce nom."));
    EXPECT_EQ(tests::readFile(other), "the run's");
}

} // namespace
