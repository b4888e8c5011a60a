#include "tests/end-to-end/EndToEnd.hpp"

#include <algorithm>

namespace fs = std::filesystem;

namespace {

using namespace tests;

struct RecoveryFromFailure : EndToEnd {
    static constexpr unsigned limit = 100'000;

    /// The program, in whose run no file can grow beyond the limit.
    Launch bounded(const Arguments& arguments) const {
        Launch launch = program(arguments);
        launch.largestFile = limit;
        return launch;
    }

    static std::string cannotCopy(const fs::path& from, const fs::path& to, const std::string& reason) {
        return "Impossible de copier « " + from.string() + " » vers « " + to.string() + " » : " + reason +
               ".";
    }
};

TEST_F(RecoveryFromFailure, OfTheCopyOfEachTemplateFile) {
    home.fillAsLongUsed();
    for (const std::string& transition : offeredTransitions) {
        for (const std::string& name :
             {transition + ".motr", std::string("large.png"), std::string("small.png")}) {
            const fs::path file = product.templates / transition / name;
            const std::string contents = readFile(file);
            writeFile(file, std::string(limit + 1, 'x'));
            expectRestored(bounded({"--install"}), home,
                           cannotCopy(file, home.category / transition / name, "le fichier est trop grand"));
            writeFile(file, contents);
        }
    }
}

TEST_F(RecoveryFromFailure, OfTheCopyOfATemplateInAFreshHome) {
    const fs::path file = product.templates / "10 Box Turn/small.png";
    writeFile(file, std::string(limit + 1, 'x'));
    expectRestored(bounded({"--install"}), home,
                   cannotCopy(file, home.category / "10 Box Turn/small.png", "le fichier est trop grand"));
}

TEST_F(RecoveryFromFailure, OfTheStagingOfTheApplication) {
    home.fillAsLongUsed();
    const fs::path file = product.application / "Contents/MacOS/Orvo Transitions";
    writeFile(file, std::string(limit + 1, 'x'));
    const std::set<std::string> earlier = home.backupNames();
    const TreeSnapshot before = home.kept();
    const Outcome outcome = Child(bounded({"--install"})).wait();
    const fs::path backup = newBackup(home, earlier);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.error.starts_with("Impossible de copier « " + file.string() + " » vers « " +
                                          home.support.string() + "/Staging-"))
        << outcome.error;
    EXPECT_TRUE(outcome.error.ends_with("/Orvo Transitions.app/Contents/MacOS/Orvo Transitions » : le "
                                        "fichier est trop grand.\nSauvegarde : " +
                                        backup.string() + "\nÉtat précédent restauré.\n"))
        << outcome.error;
    EXPECT_EQ(difference(before, home.kept()), "");
    EXPECT_EQ(home.supportNames(), std::set<std::string>{"Backups"});
}

TEST_F(RecoveryFromFailure, OfAFolderThatCannotBeMade) {
    const fs::path file = home.category / "10 Box Turn";
    writeFile(file, "a file where a folder is needed");
    expectRestored({"--install"}, "Impossible de créer le dossier « " + file.string() +
                                      " » : un élément porte déjà ce nom.");
}

TEST_F(RecoveryFromFailure, OfAFolderFarUpThatCannotBeMade) {
    const fs::path file = home.folder / "Movies/Motion Templates.localized";
    writeFile(file, "a file where a folder is needed");
    expectRestored({"--install"}, "Impossible de créer le dossier « " + file.string() +
                                      " » : un élément porte déjà ce nom.");
}

TEST_F(RecoveryFromFailure, OfTheApplicationsFolder) {
    const fs::path file = home.folder / "Applications";
    writeFile(file, "a file where a folder is needed");
    expectRestored({"--install"}, "Impossible de créer le dossier « " + file.string() +
                                      " » : un élément porte déjà ce nom.");
}

TEST_F(RecoveryFromFailure, OfTheSupportFolderChangesNothing) {
    writeFile(home.support, "a file where a folder is needed");
    const TreeSnapshot before = home.everything();
    const Outcome outcome = run({"--install"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_TRUE(outcome.error.starts_with("Impossible de créer le dossier « " + home.support.string() +
                                          " » : un élément porte déjà ce nom.\nSauvegarde : "))
        << outcome.error;
    EXPECT_TRUE(outcome.error.ends_with("\nÉtat précédent restauré.\n")) << outcome.error;
    EXPECT_EQ(difference(before, home.everything()), "");
}

TEST_F(RecoveryFromFailure, NamesWhatCouldNotBePutBackAndRestoresTheRest) {
    home.fillAsLongUsed();
    const TreeSnapshot before = home.kept();
    const std::string lost = "Templates/01 Ink Drop/small.png";
    product.onToolCall("[ $call = 2 ] && { rm '" + home.backups.string() + "'/*/'" + lost +
                       "'; printf 'mal signée'; exit 1; }; :");
    const Outcome outcome = run({"--install"});
    const fs::path backup = newBackup(home, {});
    const fs::path path = home.category / "01 Ink Drop/small.png";
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, "mal signée\nSauvegarde : " + backup.string() + "\n« " + path.string() +
                                 " » n’a pas pu être rétabli : il n’en existe pas de copie.\n");
    EXPECT_EQ(difference(before.without(path.lexically_relative(home.folder).string()), home.kept()), "");
}

TEST_F(RecoveryFromFailure, OfADiskThatIsFull) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    home.fillAsLongUsed();
    const fs::path file = product.templates / "09 Dye Bloom/small.png";
    expectRestored(
        injecting(program({"--install"}), {"-P", file.string(), "-e", "trace=copy_file_range,ioctl", "-e",
                                           "inject=copy_file_range,ioctl:error=ENOSPC"}),
        home, cannotCopy(file, home.category / "09 Dye Bloom/small.png", "le disque est plein"));
}

TEST_F(RecoveryFromFailure, OfEachWritingOfAFile) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    home.fillAsLongUsed();
    for (const fs::path& file :
         {home.legacy / "10 Dye Bloom/10 Dye Bloom.motr", home.legacy / "12 Pane Burst/12 Pane Burst.motr",
          home.hiddenList, home.manifest, home.legacyManifest}) {
        expectRestored(injecting(program({"--install"}),
                                 {"-P", file.string(), "-e", "inject=renameat2:error=ENOSPC:when=2"}),
                       home, "Impossible d’écrire « " + file.string() + " » : le disque est plein.");
    }
}

TEST_F(RecoveryFromFailure, OfACopyThatEndsBeforeItsFileDoes) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    home.fillAsLongUsed();
    const fs::path file = product.templates / "09 Dye Bloom/09 Dye Bloom.motr";
    const Launch launch =
        injecting(program({"--install"}), {"-P", file.string(), "-e", "trace=copy_file_range,ioctl,read",
                                           "-e", "inject=ioctl:error=EOPNOTSUPP", "-e",
                                           "inject=copy_file_range:retval=0", "-e", "inject=read:retval=0"});
    expectRestored(launch, home,
                   "Impossible de copier « " + file.string() + " » : la copie n’a pas la taille du fichier.");
}

TEST_F(RecoveryFromFailure, OfTheLastStepOfAnInstall) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    home.fillAsLongUsed();
    expectRestored(
        injecting(program({"--install"}), {"-e", "trace=syncfs", "-e", "inject=syncfs:error=EIO:when=3"}),
        home,
        "Impossible d’enregistrer sur le disque « " + (home.folder / "Applications").string() +
            " » : le disque a signalé une erreur d’entrée-sortie.");
}

} // namespace
