#include "platform/FileManager.hpp"
#include "tests/support/InChild.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

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

    /// Runs the action in a process of an ordinary user, who owns the folder. Returns what its failure says.
    std::string failureOf(const std::function<void()>& action) const {
        const auto becomeOrdinary = [&] {
            constexpr uid_t nobody = 65534;
            if (geteuid() == 0 && (chown(folder.path().c_str(), nobody, nobody) != 0 || setgid(nobody) != 0 ||
                                   setuid(nobody) != 0)) {
                throw std::runtime_error("there is no ordinary user");
            }
        };
        return tests::failureInChild(becomeOrdinary, action);
    }

    static fs::perms permissions(const fs::path& item) { return fs::status(item).permissions(); }
};

TEST_F(ReadOnlyFoldersTest, AreRemovedWithAllInThem) {
    EXPECT_THAT(failureOf([&] {
                    makeBundle();
                    files.removeItem(bundle);
                }),
                IsEmpty());
    EXPECT_FALSE(fs::exists(bundle));
}

TEST_F(ReadOnlyFoldersTest, AreRemovedAlsoWhenTheirOwnerMayNotListThem) {
    EXPECT_THAT(failureOf([&] {
                    makeBundle();
                    fs::permissions(bundle / "Contents", fs::perms(0));
                    files.removeItem(bundle);
                }),
                IsEmpty());
    EXPECT_FALSE(fs::exists(bundle));
}

TEST_F(ReadOnlyFoldersTest, AreCopiedAsTheyAre) {
    EXPECT_THAT(failureOf([&] {
                    makeBundle();
                    files.copyItem(bundle, folder / "to/A.app");
                }),
                IsEmpty());
    EXPECT_EQ(tests::readFile(folder / "to/A.app/Contents/MacOS/tool"), "program");
    EXPECT_EQ(permissions(folder / "to/A.app"), fs::perms(0555));
    EXPECT_EQ(permissions(folder / "to/A.app/Contents/MacOS"), fs::perms(0555));
}

TEST_F(ReadOnlyFoldersTest, AreMovedAsTheyAre) {
    EXPECT_THAT(failureOf([&] {
                    makeBundle();
                    files.renameItem(bundle, folder / "from/aside");
                    files.renameItem(folder / "from/aside", folder / "to/A.app");
                }),
                IsEmpty());
    EXPECT_TRUE(fs::is_empty(folder / "from"));
    EXPECT_EQ(tests::readFile(folder / "to/A.app/Contents/MacOS/tool"), "program");
    EXPECT_EQ(permissions(folder / "to/A.app"), fs::perms(0555));
}

TEST_F(ReadOnlyFoldersTest, StayAsTheyAreWhereTheirNewPathIsTaken) {
    EXPECT_EQ(failureOf([&] {
                  makeBundle();
                  tests::writeFile(folder / "to/A.app/mine", "the user's");
                  files.renameItem(bundle, folder / "to/A.app");
              }),
              "Impossible de déplacer « " + bundle.string() + " » vers « " + (folder / "to/A.app").string() +
                  " » : un élément porte déjà ce nom.");
    EXPECT_EQ(permissions(bundle), fs::perms(0555));
    EXPECT_EQ(tests::readFile(folder / "to/A.app/mine"), "the user's");
}

TEST_F(ReadOnlyFoldersTest, StayWhereTheFolderAboveThemIsReadOnly) {
    EXPECT_EQ(failureOf([&] {
                  makeBundle();
                  fs::permissions(folder / "from", fs::perms(0555));
                  files.renameItem(bundle, folder / "to/A.app");
              }),
              "Impossible de déplacer « " + bundle.string() + " » vers « " + (folder / "to/A.app").string() +
                  " » : l’accès est refusé.");
    EXPECT_EQ(permissions(bundle), fs::perms(0555));
    EXPECT_TRUE(fs::exists(bundle / "Contents/MacOS/tool"));
}

TEST_F(ReadOnlyFoldersTest, AreNotTakenForEmptyWhenTheyCannotBeListed) {
    const auto unlistable = [&] {
        tests::writeFile(bundle / "Contents/file", "x");
        fs::permissions(bundle / "Contents", fs::perms(0300));
        fs::create_directory(folder / "to");
    };
    const std::string text =
        "Impossible de parcourir le dossier « " + (bundle / "Contents").string() + " » : l’accès est refusé.";
    EXPECT_EQ(failureOf([&] {
                  unlistable();
                  files.enumerate(bundle, [](const auto&, const auto&) {});
              }),
              text);
    EXPECT_EQ(failureOf([&] { files.list(bundle / "Contents"); }), text);
    EXPECT_EQ(failureOf([&] { files.copyItem(bundle, folder / "to/A.app"); }), text);
}

TEST_F(ReadOnlyFoldersTest, OfAnotherUserAreNamedWhenTheyCannotBeRemoved) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can make folders of two users";
    }
    tests::writeFile(bundle / "Contents/foreign/file", "x");
    ASSERT_EQ(chown((folder / "from").c_str(), 65534, 65534), 0);
    ASSERT_EQ(chown(bundle.c_str(), 65534, 65534), 0);
    ASSERT_EQ(chown((bundle / "Contents").c_str(), 65534, 65534), 0);
    EXPECT_EQ(failureOf([&] { files.removeItem(bundle); }), "Impossible de supprimer « " +
                                                                (bundle / "Contents/foreign/file").string() +
                                                                " » : l’accès est refusé.");
}

} // namespace
