#include "engine/Plan.hpp"
#include "platform/Error.hpp"
#include "platform/ItemDigest.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

namespace {

using namespace engine;
using tests::messageOf;
using tests::writeFile;

struct VerificationTest : testing::Test {
    tests::TemporaryFolder folder;
    PackInstaller installer{folder / "home", folder / "payload"};
    std::string digest; // of the file "a" in the folder

    VerificationTest() {
        writeFile(folder / "a", "contents");
        digest = installer.hash(folder / "a");
    }

    void expectRefused(const FileTable& files, const FileTable& known, bool uninstall) {
        EXPECT_EQ(messageOf<InstallError>([&] { verify(installer, folder.path(), files, known, uninstall); }),
                  "Fichier modifié ou non reconnu, conservé : " + (folder / "a").string());
    }
};

TEST_F(VerificationTest, AcceptsAnEmptyTable) {
    EXPECT_NO_THROW(verify(installer, folder / "absent", {}, {}, true));
}

TEST_F(VerificationTest, AcceptsAFileThatIsNotThere) {
    EXPECT_NO_THROW(verify(installer, folder.path(), {{"b", "x"}}, {}, true));
}

TEST_F(VerificationTest, AcceptsAKnownFileWhateverThePayloadSays) {
    EXPECT_NO_THROW(verify(installer, folder.path(), {{"a", "other"}}, {{"a", digest}}, false));
    EXPECT_NO_THROW(verify(installer, folder.path(), {{"a", "other"}}, {{"a", digest}}, true));
}

TEST_F(VerificationTest, AcceptsThePayloadsContentsOnInstallWhateverIsKnown) {
    EXPECT_NO_THROW(verify(installer, folder.path(), {{"a", digest}}, {}, false));
    EXPECT_NO_THROW(verify(installer, folder.path(), {{"a", digest}}, {{"a", "other"}}, false));
}

TEST_F(VerificationTest, RefusesThePayloadsContentsOnUninstall) {
    expectRefused({{"a", digest}}, {}, true);
    expectRefused({{"a", digest}}, {{"a", "other"}}, true);
}

TEST_F(VerificationTest, RefusesEveryFileOnUninstallWhenNothingIsKnown) {
    expectRefused({{"a", "x"}}, {}, true);
}

TEST_F(VerificationTest, RefusesAChangedFile) {
    expectRefused({{"a", "payload"}}, {{"a", "installed"}}, false);
}

TEST_F(VerificationTest, RefusesADigestInCapitals) {
    std::string capitals = digest;
    for (char& character : capitals) {
        character = static_cast<char>(std::toupper(character));
    }
    expectRefused({{"a", capitals}}, {{"a", capitals}}, false);
    expectRefused({{"a", capitals}}, {{"a", capitals}}, true);
}

TEST_F(VerificationTest, CountsALinkByItsTarget) {
    std::filesystem::rename(folder / "a", folder / "real");
    std::filesystem::create_symlink(folder / "real", folder / "a");
    const FoundItems found = verify(installer, folder.path(), {{"a", digest}}, {{"a", digest}}, false);
    EXPECT_EQ(found.at("a").status->kind, platform::ItemStatus::Kind::link);
    EXPECT_EQ(found.at("a").digest, platform::itemDigest(installer.fm, folder / "a"));
    tests::writeFile(folder / "real", "other contents");
    expectRefused({{"a", digest}}, {{"a", digest}}, false);
    std::filesystem::remove(folder / "real");
    expectRefused({{"a", digest}}, {{"a", digest}}, false);
}

TEST_F(VerificationTest, ThrowsTheReadErrorForAFolder) {
    std::filesystem::create_directory(folder / "folder");
    EXPECT_EQ(messageOf<platform::Error>([&] {
                  verify(installer, folder.path(), {{"folder", "x"}}, {}, false);
              }),
              "Impossible de lire « " + (folder / "folder").string() + " » : c’est un dossier.");
}

} // namespace
