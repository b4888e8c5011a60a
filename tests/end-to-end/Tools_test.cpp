#include "tests/end-to-end/EndToEnd.hpp"

#include <csignal>
#include <cstring>

namespace fs = std::filesystem;

namespace {

using namespace tests;
using Calls = std::vector<std::vector<std::string>>;

struct Tools : EndToEnd {
    const std::string installed = home.application.string();
    const std::string extension = installed + "/Contents/PlugIns/OrvoTransitions.pluginkit";
    const std::string shipped = product.application.string();
};

TEST_F(Tools, OfAnInstallAreCalledInOrder) {
    const Calls expected{{"codesign", "--verify", "--deep", "--strict", shipped},
                         {"codesign", "--verify", "--deep", "--strict", installed},
                         {"lsregister", "-f", installed},
                         {"pluginkit", "-a", extension}};
    install();
    EXPECT_EQ(product.toolCalls(), expected);
}

TEST_F(Tools, OfAnInstallOverAnotherDoNotUnregisterTheOldExtension) {
    home.fillAsLongUsed();
    install();
    const Calls calls = product.toolCalls();
    ASSERT_EQ(calls.size(), 4U);
    EXPECT_EQ(calls.back(), (std::vector<std::string>{"pluginkit", "-a", extension}));
}

TEST_F(Tools, OfAnInstallWithoutRegistrationOnlyCheckSignatures) {
    const Calls expected{{"codesign", "--verify", "--deep", "--strict", shipped},
                         {"codesign", "--verify", "--deep", "--strict", installed}};
    install({"--no-register"});
    EXPECT_EQ(product.toolCalls(), expected);
}

TEST_F(Tools, OfAnUninstallUnregisterTheExtensionWhileItIsThere) {
    putApplication(home);
    product.onToolCall("[ -d \"$2\" ] || { echo 'no such extension' >&2; exit 1; }");
    uninstall();
    EXPECT_EQ(product.toolCalls(), (Calls{{"pluginkit", "-r", extension}}));
    EXPECT_FALSE(fs::exists(home.application));
}

TEST_F(Tools, OfAnUninstallWithoutRegistrationAreNotCalled) {
    putApplication(home);
    uninstall({"--no-register"});
    EXPECT_TRUE(product.toolCalls().empty());
    EXPECT_FALSE(fs::exists(home.application));
}

TEST_F(Tools, OfAnUninstallThatKeepsTheApplicationAreNotCalled) {
    install();
    product.onToolCall("");
    uninstall({"--only", "01 Ink Drop"});
    EXPECT_TRUE(product.toolCalls().empty());
}

TEST_F(Tools, ThatSucceedMayPrintWhatTheyLike) {
    product.onToolCall("echo text; echo more >&2; exit 0");
    install();
    EXPECT_EQ(product.toolCalls().size(), 4U);
}

TEST_F(Tools, ThatPrintMoreThanAPipeHoldsDoNotBlock) {
    product.onToolCall("head -c 300000 /dev/zero | tr '\\0' x; [ $call = 2 ] && exit 3; exit 0");
    expectRestored({"--install"}, std::string(300000, 'x'));
}

TEST_F(Tools, FailureBeforeTheFirstChangeIsTheToolsTextAlone) {
    home.fillAsLongUsed();
    product.onToolCall("echo 'la sortie'; echo 'et l’erreur' >&2; exit 1");
    expectRefusal({"--install"}, "la sortie\net l’erreur\n");
    EXPECT_EQ(product.toolCalls().size(), 1U);
    product.onToolCall("exit 1");
    expectRefusal({"--install"}, "");
    product.onToolCall("printf 'un seul mot' >&2; exit 2");
    expectRefusal({"--install"}, "un seul mot");
}

TEST_F(Tools, FailureAtEachLaterCallIsUndone) {
    home.fillAsLongUsed();
    for (const char* call : {"2", "3", "4"}) {
        product.onToolCall("[ $call = " + std::string(call) +
                           " ] && { printf 'échec de %s' $tool >&2; exit 1; }; :");
        const std::vector<std::string> tools{"codesign", "lsregister", "pluginkit"};
        expectRestored({"--install"}, "échec de " + tools.at(static_cast<std::size_t>(*call - '2')));
        EXPECT_EQ(product.toolCalls().size(), static_cast<std::size_t>(*call - '0'));
    }
}

TEST_F(Tools, FailureInAFreshHomeIsUndone) {
    for (const char* call : {"2", "3", "4"}) {
        product.onToolCall("[ $call = " + std::string(call) + " ] && { echo non; exit 1; }; :");
        expectRestored({"--install"}, "non\n");
    }
}

TEST_F(Tools, FailureInAnEmptyHomeLeavesNothingButTheBackup) {
    const Home empty(folder / "empty");
    fs::remove_all(empty.folder);
    fs::create_directory(empty.folder);
    product.onToolCall("[ $call = 4 ] && { echo non; exit 1; }; :");
    const Outcome outcome = Child(program({"--install", "--root", empty.folder.string()})).wait();
    EXPECT_EQ(outcome.error,
              "non\n\nSauvegarde : " + newBackup(empty, {}).string() + "\nÉtat précédent restauré.\n");
    EXPECT_EQ(TreeSnapshot::of(empty.folder).without("Library").items.size(), 0U)
        << TreeSnapshot::of(empty.folder);
    EXPECT_EQ(empty.supportNames(), std::set<std::string>{"Backups"});
}

TEST_F(Tools, FailureOfAnUninstallIsUndone) {
    home.fillAsLongUsed();
    fs::remove_all(home.category / "Mes essais");
    product.onToolCall("echo \"$1 refusé\" >&2; exit 1");
    expectRestored({"--uninstall"}, "-r refusé\n");
    EXPECT_EQ(product.toolCalls().size(), 1U);
}

TEST_F(Tools, GiveTheExtensionItsRegistrationBackWhenAnUninstallIsUndone) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    install();
    product.onToolCall("");
    const TreeSnapshot before = home.kept();
    const Outcome outcome =
        Child(injecting(program({"--uninstall"}),
                        {"-P", installed, "-e", "inject=rename,renameat2:error=EBUSY:when=1"}))
            .wait();
    EXPECT_TRUE(outcome.error.ends_with("\nÉtat précédent restauré.\n")) << outcome.error;
    EXPECT_EQ(difference(before, home.kept()), "");
    EXPECT_EQ(product.toolCalls(), (Calls{{"pluginkit", "-r", extension}, {"pluginkit", "-a", extension}}));
}

TEST_F(Tools, LearnOfAnInstallOnlyOnceItIsOnTheDisk) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    EXPECT_EQ(
        Child(injecting(program({"--install"}), {"-e", "inject=syncfs:error=EIO:when=3"})).wait().status, 1);
    EXPECT_EQ(product.toolCalls().size(), 2U); // of the signatures
}

TEST_F(Tools, OutputThatIsNotUtf8IsRepaired) {
    product.onToolCall("printf 'a\\377b'; exit 1");
    expectRefusal({"--install"}, "a\uFFFDb");
}

TEST_F(Tools, OutputThatHoldsAZeroByteIsUsedWhole) {
    product.onToolCall("printf 'avant\\0après'; exit 1");
    expectRefusal({"--install"}, std::string("avant\0après", 12));
}

TEST_F(Tools, KilledBySomebodyCountAsFailedAndAreNamedWithTheSignal) {
    const std::string named = "Le programme « " + (product.folder / "SystemTools/usr/bin/codesign").string() +
                              " » a été arrêté par le signal 9 (" + ::strsignal(SIGKILL) + ").";
    product.onToolCall("[ $call = 2 ] && { printf tué; kill -9 $$; }; :");
    expectRestored({"--install"}, "tué\n" + named);
    product.onToolCall("kill -9 $$");
    expectRefusal({"--install"}, named);
}

TEST_F(Tools, ThatCannotBeStartedAreReported) {
    const fs::path tool = product.folder / "SystemTools/usr/bin/codesign";
    fs::remove(tool);
    expectRefusal({"--install"},
                  "Impossible de lancer « " + tool.string() + " » : ce fichier ou ce dossier n’existe pas.");
    writeFile(tool, "not executable");
    expectRefusal({"--install"}, "Impossible de lancer « " + tool.string() + " » : l’accès est refusé.");
}

TEST_F(Tools, ThatCannotBeStartedLaterAreUndone) {
    home.fillAsLongUsed();
    const fs::path tool = product.folder / "SystemTools/usr/bin/pluginkit";
    fs::remove(tool);
    expectRestored({"--install"},
                   "Impossible de lancer « " + tool.string() + " » : ce fichier ou ce dossier n’existe pas.");
}

} // namespace
