#include "engine/PackInstaller.hpp"
#include "platform/Error.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using engine::InstallError;
using engine::PackInstaller;
using testing::ElementsAre;
using tests::messageOf;
using tests::TemporaryFolder;
using tests::writeFile;

struct PackInstallerTest : testing::Test {
    TemporaryFolder folder;
    PackInstaller installer{folder / "home", folder / "payload"};
    fs::path catalogFile = folder / "payload/catalog.json";
    fs::path manifestFile = folder / "home/manifest.json";
};

TEST_F(PackInstallerTest, KnowsItsFixedNames) {
    EXPECT_EQ(installer.owner, "orvo.lumopack01");
    EXPECT_EQ(installer.category, "Orvo Transitions");
    EXPECT_EQ(installer.legacyCategory, "Orvo Transitions \u2014 Lumo Pack 01");
    EXPECT_TRUE(installer.register_);
}

TEST_F(PackInstallerTest, ResolvesLinksInHomeAndPayload) {
    fs::create_directory(folder / "real");
    fs::create_directory_symlink(folder / "real", folder / "link");
    const PackInstaller linked(folder / "link", folder / "link/payload");
    EXPECT_EQ(linked.home, folder / "real");
    EXPECT_EQ(linked.payload, folder / "real/payload");
}

TEST_F(PackInstallerTest, TakesAnEmptyHomeForTheCurrentFolder) {
    EXPECT_EQ(PackInstaller("", "").home, fs::canonical("."));
}

TEST_F(PackInstallerTest, CatalogThrowsWithoutAFile) {
    EXPECT_EQ(messageOf<platform::Error>([&] { installer.catalog(); }),
              "Impossible de lire « " + catalogFile.string() + " » : ce fichier ou ce dossier n’existe pas.");
    EXPECT_THROW(installer.names(), platform::Error);
}

TEST_F(PackInstallerTest, CatalogThrowsWhenItIsNotAnArray) {
    writeFile(catalogFile, R"({"name": "01 A"})");
    EXPECT_EQ(messageOf<platform::Error>([&] { installer.catalog(); }),
              "Impossible de lire « " + catalogFile.string() + " » : un tableau JSON est attendu.");
    EXPECT_THROW(installer.names(), platform::Error);
}

TEST_F(PackInstallerTest, NamesLeaveOutRetiredEntriesOnly) {
    writeFile(catalogFile, R"([{"name": "B", "retired": false}, {"name": "A", "retired": null}, {"name": "C"},
                               {"name": "Old", "retired": true, "other": [1]}])");
    EXPECT_THAT(installer.names(), ElementsAre("B", "A", "C"));
    ASSERT_EQ(installer.catalog().size(), 4U);
    EXPECT_EQ(installer.catalog()[3].name, "Old");
    EXPECT_EQ(installer.catalog()[3].retired, true);
    EXPECT_EQ(installer.catalog()[1].retired, std::nullopt);
}

TEST_F(PackInstallerTest, NamesYieldANameThatStandsTwiceTwice) {
    writeFile(catalogFile, R"([{"name": "A"}, {"name": "A"}])");
    EXPECT_THAT(installer.names(), ElementsAre("A", "A"));
}

TEST_F(PackInstallerTest, ReadyYieldsAnEmptyManifestWithoutAFile) {
    EXPECT_EQ(installer.ready(manifestFile), (engine::Manifest{"orvo.lumopack01", {}}));
}

TEST_F(PackInstallerTest, ReadyReadsAManifest) {
    writeFile(manifestFile,
              R"({"files": {"A\/A.motr": "1", "B/small.png": "2"}, "owner": "orvo.lumopack01", "x": 1})");
    EXPECT_EQ(installer.ready(manifestFile),
              (engine::Manifest{"orvo.lumopack01", {{"A/A.motr", "1"}, {"B/small.png", "2"}}}));
}

TEST_F(PackInstallerTest, ReadyRefusesAnotherOwner) {
    writeFile(manifestFile, R"({"owner": "orvo.lumopack02", "files": {}})");
    EXPECT_EQ(messageOf<InstallError>([&] { (void)installer.ready(manifestFile); }),
              "Manifeste inconnu : " + manifestFile.string());
}

TEST_F(PackInstallerTest, ReadyRefusesAManifestWithoutFiles) {
    writeFile(manifestFile, R"({"owner": "orvo.lumopack01"})");
    EXPECT_EQ(messageOf<platform::Error>([&] { (void)installer.ready(manifestFile); }),
              "Impossible de lire « " + manifestFile.string() + " » : la clé « files » manque.");
}

TEST_F(PackInstallerTest, RelativeDropsTheBase) {
    EXPECT_EQ(installer.relative("/x/y/z", "/x/y"), "z");
    EXPECT_EQ(installer.relative("/x/y/z/a", "/x/y/"), "z/a");
    EXPECT_EQ(installer.relative("/x/y", "/x/y"), "");
    EXPECT_EQ(installer.relative("/x/y/./a/../b", "/x/y"), "b");
}

TEST_F(PackInstallerTest, RelativeRefusesWhatIsNotBelowTheBase) {
    EXPECT_EQ(installer.relative("/x/yz", "/x/y"), "<outside>");
    EXPECT_EQ(installer.relative("/x/Y/z", "/x/y"), "<outside>");
    EXPECT_EQ(installer.relative("/x", "/x/y"), "<outside>");
    EXPECT_EQ(installer.relative("/x/y/../z", "/x/y"), "<outside>");
}

TEST_F(PackInstallerTest, RelativeFollowsALinkIntoTheBase) {
    fs::create_directories(folder / "base/inner");
    fs::create_directory_symlink(folder / "base/inner", folder / "link");
    EXPECT_EQ(installer.relative(folder / "link/file", folder / "base"), "inner/file");
}

TEST_F(PackInstallerTest, RelativeFollowsALinkOutOfTheBase) {
    fs::create_directories(folder / "base");
    fs::create_directory_symlink(folder.path(), folder / "base/link");
    EXPECT_EQ(installer.relative(folder / "base/link/file", folder / "base"), "<outside>");
}

TEST_F(PackInstallerTest, HashesAnEmptyFile) {
    writeFile(folder / "empty", "");
    EXPECT_EQ(installer.hash(folder / "empty"),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST_F(PackInstallerTest, HashesAFileLongerThanItsBuffer) {
    writeFile(folder / "long", std::string(1'000'000, 'a')); // the third example of FIPS 180-2, appendix B
    EXPECT_EQ(installer.hash(folder / "long"),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST_F(PackInstallerTest, HashThrowsForAMissingFile) {
    EXPECT_EQ(messageOf<platform::Error>([&] { (void)installer.hash(folder / "absent"); }),
              "Impossible de lire « " + (folder / "absent").string() +
                  " » : ce fichier ou ce dossier n’existe pas.");
}

TEST_F(PackInstallerTest, MkdirCreatesTheWholeChainAndAcceptsAnExistingFolder) {
    installer.mkdir(folder / "a/b/c");
    EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
    EXPECT_NO_THROW(installer.mkdir(folder / "a/b/c"));
}

TEST_F(PackInstallerTest, MkdirThrowsUnderAFile) {
    writeFile(folder / "file", "");
    EXPECT_EQ(messageOf<platform::Error>([&] { installer.mkdir(folder / "file/folder"); }),
              "Impossible de créer le dossier « " + (folder / "file").string() +
                  " » : un élément porte déjà ce nom.");
    EXPECT_EQ(messageOf<platform::Error>([&] { installer.mkdir(folder / "file"); }),
              "Impossible de créer le dossier « " + (folder / "file").string() +
                  " » : un élément porte déjà ce nom.");
}

TEST_F(PackInstallerTest, ExistsCountsALinkByItsTarget) {
    fs::create_symlink(folder / "absent", folder / "dangling");
    fs::create_symlink(folder.path(), folder / "link");
    EXPECT_FALSE(installer.exists(folder / "dangling"));
    EXPECT_TRUE(installer.exists(folder / "link"));
    EXPECT_TRUE(installer.exists(folder.path()));
}

TEST_F(PackInstallerTest, ProcessThrowsWhatAFailingToolPrinted) {
    EXPECT_EQ(messageOf<InstallError>([&] {
                  installer.process("/bin/sh", {"-c", "echo non >&2; exit 1"});
              }),
              "non\n");
}

TEST_F(PackInstallerTest, ProcessIgnoresWhatASuccessfulToolPrints) {
    EXPECT_NO_THROW(installer.process("/bin/sh", {"-c", "echo oui; echo oui >&2"}));
}

TEST_F(PackInstallerTest, ProcessThrowsTheLaunchErrorUnchanged) {
    EXPECT_THROW(installer.process(folder / "absent", {}), platform::Error);
}

} // namespace
