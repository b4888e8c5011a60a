#include "tests/end-to-end/EndToEnd.hpp"

#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

namespace fs = std::filesystem;

namespace {

using namespace tests;

const std::string anotherRun = "Une autre installation est en cours, réessayez quand elle sera terminée.";

/// Runs that are cut short and runs that meet.
struct Journal : EndToEnd {
    Journal() { home.fillAsLongUsed(); }

    /// Cuts the run short and returns what the next one has to say of that.
    std::string cutShort(const Arguments& arguments, int call) const {
        return undoneText(EndToEnd::cutShort(arguments, call));
    }

    /// The home as this request leaves one that was never cut short.
    TreeSnapshot undisturbed(const Arguments& arguments) const {
        const Home control(folder / "control");
        control.fillAsLongUsed();
        Launch launch = program(arguments);
        launch.words.insert(launch.words.end(), {"--root", control.folder.string()});
        EXPECT_EQ(Child(launch).wait().status, 0);
        return control.comparable();
    }

    /// Starts the program, whose tools then wait for `letGo`, and returns when the given call is reached.
    std::unique_ptr<Child> startAndHold(const Arguments& arguments, int call) const {
        product.onToolCall("[ $call = " + std::to_string(call) + " ] && { : >'" + reached.string() +
                           "'; until [ -e '" + released.string() + "' ]; do sleep 0.01; done; }; :");
        auto child = std::make_unique<Child>(program(arguments));
        for (int tries = 0; !fs::exists(reached) && tries < 1000; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_TRUE(fs::exists(reached));
        return child;
    }

    void letGo() const { writeFile(released, ""); }

    const fs::path reached = folder / "reached";
    const fs::path released = folder / "released";
};

TEST_F(Journal, OfARunThatWasCutShortIsUndoneBeforeAnInstall) {
    const std::string undone = cutShort({"--install"}, 2);
    succeed({"--install", "--only", "01 Ink Drop"}, undone + installedText(1));
    EXPECT_EQ(difference(undisturbed({"--install", "--only", "01 Ink Drop"}), home.comparable()), "");
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"01 Ink Drop"}) + digestsOf("02 Page Fold", "2.3") +
                                             digestsOf("10 Dye Bloom", "2.0"));
}

TEST_F(Journal, OfARunThatWasCutShortIsUndoneBeforeAnUninstall) {
    const std::string undone = cutShort({"--install"}, 4);
    succeed({"--uninstall", "--only", "09 Dye Bloom"}, undone + uninstalledText);
    EXPECT_EQ(difference(undisturbed({"--uninstall", "--only", "09 Dye Bloom"}), home.comparable()), "");
}

TEST_F(Journal, OfAnUninstallThatWasCutShortIsUndone) {
    fs::remove_all(home.category / "Mes essais");
    const TreeSnapshot before = home.kept();
    const std::string undone = cutShort({"--uninstall"}, 1);
    EXPECT_NE(difference(before, home.kept()), "");
    EXPECT_EQ(onlyUndo().error, undone + "mal signée\n");
    EXPECT_EQ(difference(before, home.kept()), "");
    EXPECT_EQ(home.supportNames(), std::set<std::string>{"Backups"});
}

TEST_F(Journal, OfARunThatWasCutShortIsUndoneToTheDateOfEachFile) {
    const TreeSnapshot before = home.kept();
    for (int call = 2; call <= 4; ++call) {
        const std::string undone = cutShort({"--install"}, call);
        EXPECT_NE(difference(before, home.kept()), "");
        EXPECT_EQ(onlyUndo().error, undone + "mal signée\n");
        EXPECT_EQ(difference(before, home.kept()), "");
        EXPECT_EQ(home.supportNames(), std::set<std::string>{"Backups"});
    }
}

TEST_F(Journal, OfARunThatWasCutShortIsUndoneInAFreshHome) {
    const Home fresh(folder / "fresh");
    const TreeSnapshot before = fresh.kept();
    product.onToolCall("[ $call = 3 ] && { kill -9 $PPID; exit 0; }; :");
    EXPECT_EQ(Child(program({"--install", "--root", fresh.folder.string()})).wait().signal, SIGKILL);
    product.onToolCall("");
    EXPECT_EQ(Child(program({"--uninstall", "--root", fresh.folder.string()})).wait().status, 0);
    EXPECT_EQ(difference(before, fresh.kept()), "");
}

TEST_F(Journal, OfTwoRunsThatWereCutShortIsUndone) {
    const TreeSnapshot before = home.kept();
    cutShort({"--install"}, 3);
    cutShort({"--install", "--only", "02 Page Fold"}, 2);
    onlyUndo();
    EXPECT_EQ(difference(before, home.kept()), "");
}

TEST_F(Journal, KeepsWhatTheUserPutInPlaceSinceTheRunWasCutShort) {
    cutShort({"--install"}, 2);
    writeFile(home.category / "01 Ink Drop/01 Ink Drop.motr", "made by the user meanwhile");
    onlyUndo();
    EXPECT_EQ(readFile(home.category / "01 Ink Drop/01 Ink Drop.motr"), templateText("01 Ink Drop", "2.0"));
    bool isKept = false;
    for (const auto& item : fs::recursive_directory_iterator(home.backups)) {
        isKept = isKept || (item.is_regular_file() && readFile(item.path()) == "made by the user meanwhile");
    }
    EXPECT_TRUE(isKept);
}

TEST_F(Journal, OfAnUninstallThatWasCutShortGivesTheExtensionItsRegistrationBack) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    fs::remove_all(home.category / "Mes essais");
    const std::string extension = home.application.string() + "/Contents/PlugIns/OrvoTransitions.pluginkit";
    fs::create_directories(extension);
    const Launch cut =
        injecting(program({"--uninstall"}), {"-P", home.application.string(), "-e", "trace=renameat2", "-e",
                                             "inject=renameat2:signal=KILL"});
    EXPECT_EQ(Child(cut).wait().signal, SIGKILL);
    EXPECT_EQ(product.toolCalls(), (std::vector<Arguments>{{"pluginkit", "-r", extension}}));
    onlyUndo();
    EXPECT_EQ(product.toolCalls().at(0), (Arguments{"pluginkit", "-a", extension}));

    product.onToolCall("");
    EXPECT_EQ(Child(cut).wait().signal, SIGKILL);
    const std::string error = onlyUndo({"--no-register"}).error;
    EXPECT_NE(error.find("n’est plus enregistrée"), std::string::npos) << error;
    EXPECT_EQ(product.toolCalls().size(), 1U); // of the signature
    EXPECT_FALSE(fs::exists(home.journal));
}

TEST_F(Journal, OfAnUninstallThatWasCutShortBeforeItUnregisteredRegistersNothing) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    fs::remove_all(home.category / "Mes essais");
    fs::create_directories(home.application / "Contents/PlugIns/OrvoTransitions.pluginkit");
    const Launch cut = injecting(program({"--uninstall"}),
                                 {"-P", (home.category / "01 Ink Drop/small.png").string(), "-e",
                                  "trace=?rename,renameat2", "-e", "inject=?rename,renameat2:signal=KILL"});
    EXPECT_EQ(Child(cut).wait().signal, SIGKILL);
    EXPECT_TRUE(fs::exists(home.journal));
    product.onToolCall("");
    EXPECT_EQ(run({"--install", "--only", "01 Ink Drop"}).status, 0);
    EXPECT_EQ(product.toolCalls().at(0).front(), "codesign");
    EXPECT_EQ(product.toolCalls().size(), 4U);
}

TEST_F(Journal, IsNotBlockedByARegistrationThatCannotBeGivenBack) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    fs::remove_all(home.category / "Mes essais");
    fs::create_directories(home.application / "Contents/PlugIns/OrvoTransitions.pluginkit");
    const TreeSnapshot before = home.kept();
    const Launch cut =
        injecting(program({"--uninstall"}), {"-P", home.application.string(), "-e", "trace=renameat2", "-e",
                                             "inject=renameat2:signal=KILL"});
    EXPECT_EQ(Child(cut).wait().signal, SIGKILL);
    product.onToolCall("printf 'jamais'; exit 1");
    const std::string error = run({"--install"}).error;
    EXPECT_NE(error.find("n’est plus enregistrée : jamais"), std::string::npos) << error;
    EXPECT_EQ(difference(before, home.kept()), "");
    EXPECT_FALSE(fs::exists(home.journal));
}

TEST_F(Journal, LeavesThePermissionsThatTheUserChangedSinceTheRunWasCutShort) {
    cutShort({"--install"}, 2);
    fs::permissions(home.folder / "Movies", fs::perms(0700));
    onlyUndo();
    EXPECT_EQ(fs::status(home.folder / "Movies").permissions(), fs::perms(0700));
}

TEST_F(Journal, StaysWhenSomethingCannotBePutBack) {
    const std::string undone = cutShort({"--install"}, 2);
    const fs::path backup = newBackup(home, {});
    const fs::path transition = home.category / "01 Ink Drop";
    fs::remove_all(transition);
    writeFile(transition, "a file where the folder was");
    const Outcome outcome = run({"--install"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_NE(outcome.error.find((transition / "01 Ink Drop.motr").string()), std::string::npos)
        << outcome.error;
    EXPECT_NE(outcome.error.find(backup.string()), std::string::npos) << outcome.error;
    EXPECT_TRUE(fs::exists(home.journal));
    EXPECT_EQ(readFile(transition), "a file where the folder was");

    fs::remove(transition); // and once the obstacle is gone, the next run gets on with it
    EXPECT_EQ(onlyUndo().error, undone + "mal signée\n");
    EXPECT_EQ(readFile(transition / "01 Ink Drop.motr"), templateText("01 Ink Drop", "2.0"));
    EXPECT_FALSE(fs::exists(home.journal));
}

TEST_F(Journal, OfARunWhoseBackupIsGoneIsNotSaidToBeUndone) {
    fs::remove_all(home.legacy); // whose templates nobody would know without their manifest
    cutShort({"--install"}, 2);
    const fs::path backup = newBackup(home, {});
    fs::remove_all(backup);
    const Outcome outcome = run({"--install"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_TRUE(outcome.error.starts_with("Une installation précédente a été interrompue et l’état d’avant "
                                          "n’a pas pu être rétabli entièrement.\n"))
        << outcome.error;
    for (const fs::path& lost : {home.category / "01 Ink Drop/01 Ink Drop.motr",
                                 home.category / "10 Dye Bloom/small.png", home.manifest, home.application}) {
        EXPECT_NE(outcome.error.find("« " + lost.string() +
                                     " » n’a pas pu être rétabli : il n’en existe pas de copie.\n"),
                  std::string::npos)
            << outcome.error;
    }
    EXPECT_TRUE(outcome.error.ends_with("\nSauvegarde : " + backup.string() + "\n")) << outcome.error;
    EXPECT_EQ(outcome.error.find("a d’abord été rétabli"), std::string::npos) << outcome.error;
    EXPECT_FALSE(fs::exists(home.journal));
    EXPECT_EQ(readFile(home.category / "Mes essais/Mes essais.motr"), "<ozml/>");
    install();
}

TEST_F(Journal, OfARunThatWasCutShortWaitsForARequestThatCanBeMet) {
    cutShort({"--install"}, 2);
    expectRefusal({"--uninstall", "--only", "Nope"}, "Sélection de transitions invalide.");
    writeFile(product.catalog, "[");
    const TreeSnapshot before = home.everything();
    EXPECT_EQ(run({"--install"}).status, 1);
    EXPECT_EQ(difference(before, home.everything()), "");
    EXPECT_TRUE(fs::exists(home.journal));
}

TEST_F(Journal, ThatCannotBeReadStopsTheRunAndStays) {
    writeFile(home.journal, "{\"backup\":");
    const TreeSnapshot before = home.everything();
    const Outcome outcome = run({"--install"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error,
              "« " + home.journal.string() + " » n’est pas un journal d’installation.\nDéplacez « " +
                  home.journal.string() + " » ailleurs, puis réessayez. Les sauvegardes sont dans « " +
                  home.backups.string() + " ».\n");
    EXPECT_EQ(difference(before, home.everything()), "");
}

TEST_F(Journal, OfALiveRunStopsAnother) {
    const std::unique_ptr<Child> first = startAndHold({"--install"}, 2);
    ASSERT_TRUE(fs::exists(home.journal));
    expectRefusal({"--install"}, anotherRun);
    expectRefusal({"--uninstall"}, anotherRun);
    letGo();
    EXPECT_EQ(first->wait().status, 0);
    EXPECT_EQ(home.supportNames(), std::set<std::string>{"Backups"});
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
    install();
}

TEST_F(Journal, IsGoneAfterAFailureThatWasUndone) {
    product.onToolCall("[ $call = 4 ] && { echo non; exit 1; }; :");
    expectRestored({"--install"}, "non\n");
    EXPECT_FALSE(fs::exists(home.journal));
}

TEST_F(Journal, IsNotNeededYetForARunToStopAnother) {
    const std::unique_ptr<Child> first = startAndHold({"--install"}, 1); // it has changed nothing so far
    ASSERT_FALSE(fs::exists(home.journal));
    expectRefusal({"--uninstall"}, anotherRun);
    letGo();
    EXPECT_EQ(first->wait().status, 0);
}

TEST_F(Journal, IsNotNeededForARunThatWasOvertakenToChangeNothing) {
    const Home fresh(folder / "fresh");
    fs::remove_all(fresh.folder); // a home that is not there yet cannot be locked
    const Arguments request{"--install", "--no-register", "--root", fresh.folder.string()};
    const std::unique_ptr<Child> slow = startAndHold(request, 1);
    EXPECT_EQ(run(request).status, 0);
    const TreeSnapshot after = fresh.everything();
    letGo();
    const Outcome outcome = slow->wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error, "Une autre installation vient de se terminer, réessayez.\n");
    EXPECT_EQ(difference(after, fresh.everything()), "");
}

} // namespace
