#include "tests/end-to-end/EndToEnd.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

namespace fs = std::filesystem;

namespace {

using namespace tests;

const std::string savedMeanwhile = "saved by the user meanwhile";

/// What a user saves or deletes while a run is under way, or after it was cut short, at a path that the run
/// changes.
struct UsersFile : EndToEnd {
    const fs::path path = home.category / "01 Ink Drop/01 Ink Drop.motr";
    const std::string saving = "printf '" + savedMeanwhile + "' >'" + path.string() + "'; ";
    const std::string replacing = "printf '" + savedMeanwhile + "' >'" + (folder / "draft").string() +
                                  "'; mv '" + (folder / "draft").string() + "' '" + path.string() + "'; ";

    /// Runs the program, which must fail, put everything back and keep what the user saved at the path.
    void expectKept(const Arguments& arguments) const {
        const std::set<std::string> earlier = home.backupNames();
        const TreeSnapshot before = home.kept();
        const Outcome outcome = run(arguments);
        const fs::path backup = newBackup(home, earlier);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.error, "non\nSauvegarde : " + backup.string() + "\n" + keptText(backup, path) +
                                     "\nÉtat précédent restauré.\n");
        EXPECT_EQ(readFile(keptPath(backup, path)), savedMeanwhile);
        EXPECT_EQ(difference(before, home.kept()), "");
        EXPECT_EQ(home.supportNames(), std::set<std::string>{"Backups"});
    }

    static std::string changed(const fs::path& file) {
        return "Fichier modifié ou non reconnu, conservé : " + file.string();
    }
};

TEST_F(UsersFile, ThatIsSavedDuringAnUninstallThatFailsIsKeptAndNamed) {
    home.fillAsLongUsed();
    fs::remove_all(home.category / "Mes essais");
    product.onToolCall(saving + "printf non; exit 1");
    expectKept({"--uninstall"});
}

TEST_F(UsersFile, ThatIsSavedDuringAnInstallThatFailsIsKeptAndNamed) {
    home.fillAsLongUsed();
    for (const std::string& save : {saving, replacing}) {
        for (const char* call : {"2", "3", "4"}) {
            product.onToolCall("[ $call = " + std::string(call) + " ] && { " + save +
                               "printf non; exit 1; }; :");
            expectKept({"--install"});
        }
    }
}

TEST_F(UsersFile, ThatIsDeletedDuringAnInstallThatFailsIsRestored) {
    home.fillAsLongUsed();
    product.onToolCall("[ $call = 3 ] && { rm '" + path.string() + "'; printf non; exit 1; }; :");
    expectRestored({"--install"}, "non");
}

TEST_F(UsersFile, ThatIsSavedWhereNothingWasDuringAnInstallThatFailsStays) {
    const TreeSnapshot before = home.kept();
    product.onToolCall("[ $call = 3 ] && { " + saving + "printf non; exit 1; }; :");
    const Outcome outcome = run({"--install"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.error.ends_with("\nÉtat précédent restauré.\n")) << outcome.error;
    EXPECT_EQ(readFile(path), savedMeanwhile);
    fs::remove(path);
    for (fs::path above = path.parent_path(); above != home.folder / "Movies"; above = above.parent_path()) {
        EXPECT_TRUE(fs::remove(above)) << above; // nothing but folders is left above it
    }
    EXPECT_EQ(difference(before, home.kept()), "");
}

TEST_F(UsersFile, ThatIsSavedDuringARunThatSucceedsStays) {
    product.onToolCall("[ $call = 4 ] && { " + saving + "}; :");
    install();
    EXPECT_EQ(readFile(path), savedMeanwhile);
    writeTransition(home.category, "01 Ink Drop", "2.3");
    product.onToolCall(saving);
    uninstall();
    EXPECT_EQ(readFile(path), savedMeanwhile);
}

TEST_F(UsersFile, ThatAppearsWhereARunIsAboutToPutItsOwnIsNotReplaced) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    home.fillAsLongUsed();
    const TreeSnapshot before = home.kept();
    for (const Arguments& disk : {Arguments{}, Arguments{"-e", "inject=renameat2:error=EINVAL"}}) {
        const std::set<std::string> earlier = home.backupNames();
        StoppedRun stopped(program({"--install"}), disk, "syncfs:when=2");
        EXPECT_FALSE(fs::exists(path));
        writeFile(path, savedMeanwhile);
        const Outcome outcome = stopped.goOn();
        const fs::path backup = newBackup(home, earlier);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(
            outcome.error.ends_with(" » : un élément porte déjà ce nom.\nSauvegarde : " + backup.string() +
                                    "\n" + keptText(backup, path) + "\nÉtat précédent restauré.\n"))
            << outcome.error;
        EXPECT_EQ(readFile(keptPath(backup, path)), savedMeanwhile);
        EXPECT_EQ(difference(before, home.kept()), "");
    }
}

TEST_F(UsersFile, AtAPathThatARunNeverReachedStaysAfterACut) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    const Outcome cut = Child(injecting(program({"--install"}), {"-P", path.string(), "-e", "trace=renameat2",
                                                                 "-e", "inject=renameat2:signal=KILL"}))
                            .wait();
    EXPECT_EQ(cut.signal, SIGKILL);
    const fs::path backup = newBackup(home, {});
    const fs::path own = home.category / "10 Box Turn/10 Box Turn.motr";
    EXPECT_FALSE(fs::exists(own));
    writeFile(own, savedMeanwhile);
    succeed({"--install", "--only", "01 Ink Drop"}, undoneText(backup) + installedText(1));
    EXPECT_EQ(readFile(own), savedMeanwhile);
    EXPECT_FALSE(fs::exists(backup / "Kept"));
}

TEST_F(UsersFile, InTheWayOfAnUndoAfterACutIsKeptAndNamed) {
    home.fillAsLongUsed();
    const fs::path own = home.category / "10 Box Turn/10 Box Turn.motr"; // nothing was there before
    const fs::path backup = cutShort({"--install"}, 2);
    writeFile(path, savedMeanwhile);
    writeFile(own, savedMeanwhile);
    succeed({"--install", "--only", "02 Page Fold"}, undoneText(backup, {path}) + installedText(1));
    EXPECT_EQ(readFile(path), templateText("01 Ink Drop", "2.0"));
    EXPECT_EQ(readFile(keptPath(backup, path)), savedMeanwhile);
    EXPECT_EQ(readFile(own), savedMeanwhile);
}

/// What is saved of a user's files, where everybody may read and write what is new.
struct Backup : EndToEnd {
    const mode_t umask = ::umask(0);

    void TearDown() override { ::umask(umask); }

    /// Nobody but the owner can go through the folders down to the run's own backup.
    void expectPrivate(const fs::path& backup) const {
        for (const fs::path& inner : {home.support, home.backups, backup}) {
            EXPECT_EQ(fs::status(inner).permissions(), fs::perms(0700)) << inner;
        }
    }
};

TEST_F(Backup, IsReadableToItsOwnerOnly) {
    home.fillAsLongUsed();
    expectPrivate(install());
}

TEST_F(Backup, IsReadableToItsOwnerOnlyInABareHome) {
    fs::remove_all(home.folder / "Library");
    expectPrivate(install());
}

TEST_F(Backup, IsReadableToItsOwnerOnlyAfterAnUninstall) {
    home.fillAsLongUsed();
    expectPrivate(uninstall());
}

TEST_F(UsersFile, WithTheNameOfAnUnfinishedItemSurvives) {
    home.fillAsLongUsed();
    const fs::path file = path.parent_path() / ".01 Ink Drop.motr.orvo-partial";
    const fs::path application = home.folder / "Applications/.Orvo Transitions.app.orvo-partial/file";
    writeFile(file, "a");
    writeFile(application, "b");
    product.onToolCall("[ $call = 3 ] && { printf non; exit 1; }; :");
    expectRestored({"--install"}, "non");
    const fs::path backup = cutShort({"--install"}, 3);
    succeed({"--install"}, undoneText(backup) + installedText());
    uninstall();
    EXPECT_EQ(readFile(file), "a");
    EXPECT_EQ(readFile(application), "b");
}

TEST_F(UsersFile, OfTheLongestNameIsInstalledAndUndoneLikeAnother) {
    const std::string title(250, 'x'); // with the ending the longest name of a file
    writeFile(product.catalog, R"([{"name": ")" + title + R"("}])");
    writeTransition(product.templates, title, "2.3");
    const TreeSnapshot before = home.kept();
    const fs::path fresh = cutShort({"--install"}, 2);
    EXPECT_EQ(onlyUndo().error, undoneText(fresh) + "mal signée\n");
    EXPECT_EQ(difference(before, home.kept()), "");
    product.onToolCall("");
    install({}, 1);
    const TreeSnapshot installed = home.kept();
    product.onToolCall("[ $call = 4 ] && { printf non; exit 1; }; :");
    expectRestored({"--install"}, "non");
    const fs::path backup = cutShort({"--uninstall"}, 1);
    EXPECT_EQ(onlyUndo().error, undoneText(backup) + "mal signée\n");
    EXPECT_EQ(difference(installed, home.kept()), "");
    product.onToolCall("");
    uninstall();
    EXPECT_TRUE(fs::is_empty(home.category));
}

TEST_F(UsersFile, ThatReplacesANewTemplateBeforeItIsVerifiedIsKept) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    const TreeSnapshot before = home.kept();
    StoppedRun stopped(program({"--install"}), {"-P", path.string()}, "renameat2:when=1");
    writeFile(path, savedMeanwhile);
    const Outcome outcome = stopped.goOn();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(
        outcome.error.starts_with("Vérification du template échouée : 01 Ink Drop/01 Ink Drop.motr\n"))
        << outcome.error;
    EXPECT_EQ(readFile(path), savedMeanwhile);
    fs::remove_all(home.folder / "Movies/Motion Templates.localized"); // with what leads to the file
    EXPECT_EQ(difference(before, home.kept()), "");
}

/// Movies on a file system of its own, so that originals reach the backup as copies.
struct UsersFileOnAnotherDisk : UsersFile {
    std::optional<TemporaryFolder> disk;

    void SetUp() override {
        if (!canInject() || !areOnTwoFileSystems(folder.path(), fs::temp_directory_path())) {
            GTEST_SKIP() << "no second file system, or strace cannot trace here";
        }
        home.fillAsLongUsed();
        disk.emplace();
        fs::copy(home.folder / "Movies", disk->path(), fs::copy_options::recursive);
        fs::remove_all(home.folder / "Movies");
        dateLongAgo(disk->path());
        fs::create_directory_symlink(disk->path(), home.folder / "Movies");
    }

    fs::path onDisk(const fs::path& item) const {
        return disk->path() / item.lexically_relative(home.folder / "Movies");
    }
};

TEST_F(UsersFileOnAnotherDisk, ThatAnOpenEditorWritesToWhileItIsCopiedIsNotRemovedWithTheOldOne) {
    struct Moment {
        const char* direction;
        Arguments where;
        const char* call;
    };
    const Arguments thisPath{"-P", path.string(), "-P", onDisk(path).string()};
    for (const auto& [direction, where, call] :
         {Moment{"--install", thisPath, "renameat2:when=1"}, Moment{"--uninstall", {}, "utimensat:when=1"}}) {
        const std::string old = templateText("01 Ink Drop", "2.0");
        writeFile(path, old);
        TreeSnapshot before = TreeSnapshot::of(disk->path());
        std::fstream editor(path, std::ios::in | std::ios::out);
        StoppedRun stopped(program({direction}), where, call);
        editor << savedMeanwhile << std::flush;
        const Outcome outcome = stopped.goOn();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(outcome.error.starts_with(changed(path))) << outcome.error;
        EXPECT_TRUE(outcome.error.ends_with("\nÉtat précédent restauré.\n")) << outcome.error;
        EXPECT_EQ(readFile(path), savedMeanwhile + old.substr(savedMeanwhile.size()));
        const std::string own = onDisk(path).lexically_relative(disk->path()).string();
        EXPECT_EQ(difference(before.without(own), TreeSnapshot::of(disk->path()).without(own)), "");
    }
}

TEST_F(UsersFileOnAnotherDisk, ThatIsSavedAnewWhileTheOldOneIsMovedIsKept) {
    const std::string old = readFile(path);
    const std::set<std::string> earlier = home.backupNames();
    StoppedRun install(program({"--install"}), {"-P", path.string(), "-P", onDisk(path).string()},
                       "renameat2:when=1");
    writeFile(path, savedMeanwhile);
    const fs::path backup = newBackup(home, earlier);
    EXPECT_EQ(install.goOn().error,
              "Impossible d’écrire « " + path.string() + " » : un élément porte déjà ce nom.\nSauvegarde : " +
                  backup.string() + "\n" + keptText(backup, path) + "\nÉtat précédent restauré.\n");
    EXPECT_EQ(readFile(path), old);
    EXPECT_EQ(readFile(keptPath(backup, path)), savedMeanwhile);

    StoppedRun uninstall(program({"--uninstall"}), {}, "utimensat:when=1");
    writeFile(path, savedMeanwhile);
    EXPECT_EQ(uninstall.goOn().status, 0);
    EXPECT_EQ(readFile(path), savedMeanwhile);
}

TEST_F(UsersFileOnAnotherDisk, WhoseCopyIsNotWhatItWasIsNotRemoved) {
    const TreeSnapshot before = TreeSnapshot::of(disk->path());
    const std::string otherBytes = readFile(path).replace(0, 1, "?");
    for (const std::string& copied : {std::string("short"), otherBytes}) {
        const std::set<std::string> earlier = home.backupNames();
        StoppedRun stopped(program({"--uninstall"}), {}, "utimensat:when=1");
        for (const auto& item : fs::directory_iterator(newBackup(home, earlier) / "Templates/01 Ink Drop")) {
            writeFile(item.path(), copied); // a disk that keeps something else
        }
        const Outcome outcome = stopped.goOn();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.error, testing::StartsWith("Impossible de copier « " + path.string() + " »"));
        EXPECT_THAT(outcome.error, testing::EndsWith("\nÉtat précédent restauré.\n"));
        EXPECT_EQ(difference(before, TreeSnapshot::of(disk->path())), "");
    }
}

} // namespace
