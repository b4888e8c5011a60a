#include "tests/end-to-end/Administrator.hpp"
#include "tests/support/BuiltProduct.hpp"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace {

using namespace tests;

struct AdministratorsScript : Administrator {
    /// Cuts an install short while a tool runs.
    void cutShort(int call) const {
        product.onToolCall("[ $call = " + std::to_string(call) + " ] && { kill -9 $PPID; exit 0; }; :");
        EXPECT_EQ(runScripted({"--install"}).signal, SIGKILL);
        EXPECT_TRUE(fs::exists(home.journal));
        product.onToolCall("");
    }
};

TEST_F(AdministratorsScript, LeavesNothingOfRootAfterAnInstallAndAnUninstall) {
    home.fillAsLongUsed();
    giveHome();
    succeed(scripted({"--install"}), home, installedText());
    expectAllOfOdile();
    succeed(scripted({"--uninstall"}), home, uninstalledText);
    expectAllOfOdile();
}

TEST_F(AdministratorsScript, LeavesNothingOfRootInABareHome) {
    fs::remove_all(home.folder);
    fs::create_directory(home.folder);
    giveHome();
    succeed(scripted({"--install"}), home, installedText());
    expectAllOfOdile();
}

TEST_F(AdministratorsScript, MakesAHomeForWhoOwnsTheFolderAboveIt) {
    const fs::path above = home.folder;
    giveHome();
    Home inner(above / "new/home");
    fs::remove_all(above / "new");
    Launch launch = program({"--install", "--root", inner.folder.string()});
    launch.environment["HOME"] = "/root";
    succeed(launch, inner, installedText());
    expectAllOfOdile();
}

TEST_F(AdministratorsScript, LeavesNothingOfRootAfterAFailedRun) {
    home.fillAsLongUsed();
    giveHome();
    product.onToolCall("[ $call = 2 ] && { printf 'mal signée'; exit 1; }; :");
    expectRestored(scripted({"--install"}), home, "mal signée");
    expectAllOfOdile();
}

TEST_F(AdministratorsScript, LeavesNothingOfRootAfterARunThatWasCutShortAndItsRecovery) {
    home.fillAsLongUsed();
    giveHome();
    const TreeSnapshot before = home.kept();
    for (int call = 2; call <= 4; ++call) {
        cutShort(call);
        expectAllOfOdile();
        product.onToolCall("[ $tool = codesign ] && exit 1; :"); // it stops after the undoing
        EXPECT_EQ(runScripted({"--install"}).status, 1);
        EXPECT_EQ(difference(before, home.kept()), "");
        expectAllOfOdile();
    }
}

TEST_F(AdministratorsScript, LeavesWhatTheOwnerCanUninstall) {
    giveHome();
    succeed(scripted({"--install"}), home, installedText());
    Launch launch = program({"--uninstall"});
    launch.user = odile;
    succeed(launch, home, uninstalledText);
    EXPECT_FALSE(fs::exists(home.application));
    EXPECT_FALSE(fs::exists(home.manifest));
}

TEST_F(AdministratorsScript, StartsTheToolsAsTheOwner) {
    giveHome();
    product.onToolCall("id -u >>'" + (product.folder / "users").string() + "'; echo \"$HOME\" >>'" +
                       (product.folder / "homes").string() + "'");
    succeed(scripted({"--install"}), home, installedText());
    std::istringstream users(readFile(product.folder / "users"));
    std::istringstream homes(readFile(product.folder / "homes"));
    int count = 0;
    for (std::string line; std::getline(users, line); ++count) {
        EXPECT_EQ(line, std::to_string(odile));
        std::getline(homes, line);
        EXPECT_EQ(line, home.folder.string());
    }
    EXPECT_EQ(count, 4);
}

TEST_F(AdministratorsScript, CannotInstallAPackThatTheOwnerCannotRead) {
    giveHome();
    fs::permissions(product.payload, fs::perms(0700));
    const TreeSnapshot before = home.everything();
    const Outcome outcome = runScripted({"--install"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error,
              "Impossible de lire « " + product.catalog.string() + " » : l’accès est refusé.\n");
    EXPECT_EQ(difference(before, home.everything()), "");
}

TEST_F(AdministratorsScript, StaysRootInAHomeOfRoots) {
    succeed(scripted({"--install"}), home, installedText());
    EXPECT_EQ(itemsNotOf(home.folder, 0), "");
}

TEST_F(AdministratorsScript, IsRefusedAHomeThatAllMayReplace) {
    fs::permissions(folder.path(), fs::perms(0777));
    expectRefusal({"--install"}, "Impossible de modifier « " + home.folder.string() +
                                     " » : tout le monde peut écrire dans « " + folder.path().string() +
                                     " ».");
}

TEST_F(AdministratorsScript, WorksOnWhatALinkOfTheOwnersLeadsToWithTheRightsOfItsOwner) {
    giveHome();
    const Home victim(folder / "victim");
    giveWhole(victim.folder, robert);
    fs::remove_all(home.folder / "Documents");
    fs::create_symlink(victim.folder, home.folder / "Documents");
    give(home.folder / "Documents", odile);
    Launch launch = program({"--install", "--root", (home.folder / "Documents").string()});
    succeed(launch, victim, installedText());
    EXPECT_EQ(itemsNotOf(victim.folder, robert), "");
}

TEST_F(AdministratorsScript, OpensTheWindowAsTheOwner) {
    giveHome();
    fs::copy_file(builtProduct() / "orvo-window.so", product.folder / "orvo-window.so");
    Launch launch = program({});
    launch.environment["QT_QPA_PLATFORM"] = "offscreen";
    const Child window(launch);
    const fs::path status = "/proc/" + std::to_string(window.id()) + "/status";
    const std::string number = "\t" + std::to_string(odile);
    const std::string owned = "\nUid:" + number + number + number + number + "\n";
    for (int tries = 0; readFile(status).find(owned) == std::string::npos && tries < 1000; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_NE(readFile(status).find(owned), std::string::npos) << readFile(status);
    // It waits in its event loop, with all that the toolkit does at the start behind it.
    const fs::path waiting = "/proc/" + std::to_string(window.id()) + "/wchan";
    for (int tries = 0; readFile(waiting).find("poll") == std::string::npos && tries < 200; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    expectAllOfOdile();
}

/// A user who is not the home's owner.
struct Stranger : EndToEnd {
    void expectStrangerRefused(const Arguments& arguments) {
        Launch launch = program(arguments);
        std::string owner = "root";
        if (::geteuid() == 0) {
            giveWhole(home.folder, odile);
            owner = std::to_string(odile);
            launch.user = robert;
        } else {
            launch.words.insert(launch.words.end(), {"--root", "/"});
        }
        const std::string path = ::geteuid() == 0 ? home.folder.string() : "/";
        const TreeSnapshot before = home.everything();
        const Outcome outcome = Child(launch).wait();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.error, "Impossible de modifier « " + path +
                                     " » : ce dossier appartient à l’utilisateur " + owner +
                                     ", et vous n’êtes ni cet utilisateur ni l’administrateur.\n");
        EXPECT_EQ(difference(before, home.everything()), "");
    }
};

TEST_F(Stranger, IsRefusedAnInstall) {
    expectStrangerRefused({"--install"});
}

TEST_F(Stranger, IsRefusedAnUninstall) {
    expectStrangerRefused({"--uninstall"});
}

TEST_F(Stranger, IsRefusedAlsoWhereTheyMayWrite) {
    fs::permissions(home.folder, fs::perms(0777));
    expectStrangerRefused({"--install"});
}

TEST_F(Stranger, IsRefusedAHomeInTheFolderOfAnother) {
    const bool isRoot = ::geteuid() == 0;
    if (isRoot) {
        give(home.folder, odile);
    }
    const fs::path above = isRoot ? home.folder : fs::path("/");
    const fs::path inner = above / "of nobody/home";
    Launch launch = program({"--install", "--root", inner.string()});
    launch.user = isRoot ? std::optional(robert) : std::nullopt;
    const Outcome outcome = Child(launch).wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error, "Impossible de modifier « " + inner.string() + " » : « " + above.string() +
                                 " » appartient à l’utilisateur " +
                                 (isRoot ? std::to_string(odile) : "root") +
                                 ", et vous n’êtes ni cet utilisateur ni l’administrateur.\n");
    EXPECT_FALSE(fs::exists(inner.parent_path()));
}

} // namespace
