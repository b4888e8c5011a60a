#include "engine/Changes.hpp"
#include "platform/Error.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

namespace {

using namespace engine;
using tests::readFile;
using tests::writeFile;

struct ChangesTest : testing::Test {
    tests::TemporaryFolder folder;
    PackInstaller installer{folder.path(), folder / "payload"};
    Changes changes{installer, folder / "backup"};
};

TEST_F(ChangesTest, PreserveMovesAFileIntoTheBackup) {
    writeFile(folder / "a", "contents");
    changes.preserve(folder / "a", "Templates/x/a");
    EXPECT_FALSE(installer.fm.occupied(folder / "a"));
    EXPECT_EQ(readFile(folder / "backup/Templates/x/a"), "contents");
    ASSERT_EQ(changes.list().size(), 1U);
    EXPECT_EQ(changes.list()[0].place, "a");
    EXPECT_EQ(changes.list()[0].saved, "Templates/x/a");
}

TEST_F(ChangesTest, PreserveDoesNothingWithoutAFile) {
    changes.preserve(folder / "a", "a");
    EXPECT_TRUE(changes.list().empty());
    EXPECT_FALSE(installer.fm.occupied(folder / "backup"));
}

TEST_F(ChangesTest, PreserveLeavesFileAndListAloneWhenTheMoveFails) {
    writeFile(folder / "a", "mine");
    writeFile(folder / "backup/a", "taken");
    EXPECT_THROW(changes.preserve(folder / "a", "a"), platform::Error);
    EXPECT_THROW(changes.preserve(folder / "a", "a/b"), platform::Error);
    EXPECT_TRUE(changes.list().empty());
    EXPECT_EQ(readFile(folder / "a"), "mine");
    EXPECT_EQ(readFile(folder / "backup/a"), "taken");
}

TEST_F(ChangesTest, PreserveMovesALinkAndNotItsTarget) {
    writeFile(folder / "target", "kept");
    std::filesystem::create_symlink(folder / "target", folder / "link");
    changes.preserve(folder / "link", "link");
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "backup/link"));
    EXPECT_EQ(readFile(folder / "target"), "kept");
}

TEST_F(ChangesTest, PreserveCopyKeepsThePlace) {
    writeFile(folder / "a", "contents");
    changes.preserveCopy(folder / "a", "a");
    EXPECT_EQ(readFile(folder / "a"), "contents");
    EXPECT_EQ(readFile(folder / "backup/a"), "contents");
    EXPECT_EQ(changes.list().size(), 1U);
}

TEST_F(ChangesTest, CreateIsOnTheListBeforeItsActionRuns) {
    EXPECT_THROW(changes.create(folder / "a",
                                [&] {
                                    EXPECT_EQ(changes.list().size(), 1U);
                                    throw platform::Error("half written");
                                }),
                 platform::Error);
    EXPECT_EQ(changes.list().size(), 1U);
}

TEST_F(ChangesTest, CreateAddsNoSecondEntryForAPlaceThatWasJustSaved) {
    writeFile(folder / "a", "old");
    changes.preserve(folder / "a", "a");
    changes.create(folder / "a", [] {});
    changes.create(folder / "b", [] {});
    ASSERT_EQ(changes.list().size(), 2U);
    EXPECT_EQ(changes.list()[0].saved, "a");
    EXPECT_EQ(changes.list()[1].saved, "");
}

TEST_F(ChangesTest, CreateRefusesAPlaceThatIsTaken) {
    writeFile(folder / "a", "mine");
    EXPECT_THROW(changes.create(folder / "a", [] { FAIL(); }), platform::Error);
    EXPECT_TRUE(changes.list().empty());
}

TEST_F(ChangesTest, WriteMakesTheFolderOfItsFile) {
    changes.write(folder / "new/folder/a", "a", [](const auto& sink) { sink("contents"); });
    EXPECT_EQ(readFile(folder / "new/folder/a"), "contents");
    ASSERT_EQ(changes.list().size(), 1U);
    EXPECT_EQ(changes.list()[0].saved, "");
}

TEST_F(ChangesTest, WritePreservesWhatItReplaces) {
    writeFile(folder / "a", "old");
    changes.write(folder / "a", "saved", [](const auto& sink) { sink("new"); });
    EXPECT_EQ(readFile(folder / "a"), "new");
    EXPECT_EQ(readFile(folder / "backup/saved"), "old");
    EXPECT_EQ(changes.list().size(), 1U);
}

} // namespace
