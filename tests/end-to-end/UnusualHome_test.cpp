#include "tests/end-to-end/EndToEnd.hpp"

namespace fs = std::filesystem;

namespace {

using namespace tests;

/// Homes that are not where or what one would expect.
struct UnusualHome : EndToEnd {
    /// Installs, fails and uninstalls in the home, reached by this path.
    void liveIn(const Home& inhabited, const std::string& root) const {
        inhabited.fillAsLongUsed();
        product.onToolCall("[ $call = 4 ] && { printf non; exit 1; }; :");
        expectRestored(program({"--install", "--root", root}), inhabited, "non");
        product.onToolCall("");
        succeed(program({"--install", "--root", root}), inhabited, installedText(5));
        EXPECT_EQ(manifestAt(inhabited.manifest), payloadDigests(offeredTransitions));
        EXPECT_TRUE(fs::exists(inhabited.application));
        succeed(program({"--uninstall", "--root", root}), inhabited, uninstalledText);
        EXPECT_FALSE(fs::exists(inhabited.manifest));
        EXPECT_TRUE(fs::exists(inhabited.category / "Mes essais/Mes essais.motr"));
    }
};

TEST_F(UnusualHome, WithBlanksAccentsAndAnApostrophe) {
    const Home unusual(folder / "Odile d’Été l'Œuvre \"2\" $HOME *");
    liveIn(unusual, unusual.folder.string());
}

TEST_F(UnusualHome, ThatIsALink) {
    const Home unusual(folder / "real home");
    fs::create_directory_symlink("real home", folder / "link");
    liveIn(unusual, (folder / "link").string());
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
}

TEST_F(UnusualHome, BehindALinkFurtherUp) {
    const Home unusual(folder / "users/odile");
    fs::create_directory_symlink("users", folder / "home folders");
    liveIn(unusual, (folder / "home folders/odile/").string());
}

TEST_F(UnusualHome, OnADiskThatKnowsNoExclusiveRename) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    home.fillAsLongUsed();
    const Arguments unknown{"-e", "inject=renameat2:error=EINVAL"};
    succeed(injecting(program({"--install"}), unknown), home, installedText());
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
    succeed(injecting(program({"--uninstall"}), unknown), home, uninstalledText);
    EXPECT_FALSE(fs::exists(home.manifest));
}

/// Movies on a file system of its own, reached through a link, as people with an external disk have it.
struct MoviesOnAnotherDisk : UnusualHome {
    std::optional<TemporaryFolder> disk;

    void SetUp() override {
        if (!areOnTwoFileSystems(folder.path(), fs::temp_directory_path())) {
            GTEST_SKIP() << "no second file system";
        }
        disk.emplace();
        fs::rename(home.folder / "Movies", folder / "Movies");
        fs::copy(folder / "Movies", disk->path(), fs::copy_options::recursive);
        fs::create_directory_symlink(disk->path(), home.folder / "Movies");
    }
};

TEST_F(MoviesOnAnotherDisk, InstallsInAFreshHome) {
    install();
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
    EXPECT_EQ(readFile(disk->path() / "Motion Templates.localized/Transitions.localized/Orvo Transitions/"
                                      "10 Box Turn/small.png"),
              thumbnailText("10 Box Turn", "small", "2.3"));
    EXPECT_TRUE(fs::is_symlink(home.folder / "Movies"));
}

TEST_F(MoviesOnAnotherDisk, ReplacesAndRemovesWithACompleteBackup) {
    home.fillAsLongUsed();
    const TreeSnapshot before = TreeSnapshot::of(home.category / "01 Ink Drop");
    const fs::path backup = install();
    EXPECT_EQ(difference(before, TreeSnapshot::of(backup / "Templates/01 Ink Drop")), "");
    EXPECT_EQ(readFile(home.hiddenList), "Vieux dossier\nAutre\n");
    uninstall();
    EXPECT_EQ(TreeSnapshot::of(home.category).items.size(), 4U); // only what is the user's
    EXPECT_TRUE(fs::is_symlink(home.folder / "Movies"));
}

TEST_F(MoviesOnAnotherDisk, IsRestoredAfterAFailure) {
    home.fillAsLongUsed();
    fs::permissions(home.category / "01 Ink Drop/small.png", fs::perms(0604));
    for (const char* call : {"2", "3", "4"}) {
        product.onToolCall("[ $call = " + std::string(call) + " ] && { printf non; exit 1; }; :");
        const TreeSnapshot before = TreeSnapshot::of(disk->path());
        expectRestored({"--install"}, "non");
        EXPECT_EQ(difference(before, TreeSnapshot::of(disk->path())), "");
    }
    fs::remove_all(home.category / "Mes essais");
    product.onToolCall("printf non; exit 1");
    const TreeSnapshot before = TreeSnapshot::of(disk->path());
    expectRestored({"--uninstall"}, "non");
    EXPECT_EQ(difference(before, TreeSnapshot::of(disk->path())), "");
}

TEST_F(MoviesOnAnotherDisk, IsRestoredAfterAFailureInAFreshHome) {
    product.onToolCall("[ $call = 3 ] && { printf non; exit 1; }; :");
    const TreeSnapshot before = TreeSnapshot::of(disk->path());
    expectRestored({"--install"}, "non");
    EXPECT_EQ(difference(before, TreeSnapshot::of(disk->path())), "");
}

TEST_F(MoviesOnAnotherDisk, IsRestoredOnBothDisksBeforeTheJournalGoes) {
    if (!canInject()) {
        GTEST_SKIP() << "strace cannot trace here";
    }
    home.fillAsLongUsed();
    product.onToolCall("[ $call = 3 ] && exit 1; :");
    int syncs = 0;
    for (const std::string& call :
         callsOf(program({"--install"}), "?rename,renameat2,?unlink,unlinkat,syncfs", 1)) {
        if (call.find("\"" + home.journal.string() + "\"") == std::string::npos) {
            syncs = call.starts_with("syncfs") ? syncs + 1 : 0;
        } else if (call.starts_with("unlink")) {
            break;
        }
    }
    EXPECT_EQ(syncs, 2); // after everything else
    EXPECT_FALSE(fs::exists(home.journal));
}

TEST_F(MoviesOnAnotherDisk, KeepsTheOriginalsWhenTheBackupsDiskIsFull) {
    home.fillAsLongUsed();
    const fs::path file = home.category / "01 Ink Drop/01 Ink Drop.motr";
    writeFile(file, std::string(200'000, 'x')); // larger than the limit below
    Digests digests = manifestAt(home.manifest);
    digests["01 Ink Drop/01 Ink Drop.motr"] = digestOf(readFile(file));
    writeManifest(home.manifest, digests);
    Launch launch = program({"--install"});
    launch.largestFile = 100'000;
    const TreeSnapshot before = TreeSnapshot::of(disk->path());
    const Outcome outcome = Child(launch).wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.error.starts_with("Impossible de copier « " + file.string() + " » vers « " +
                                          home.backups.string()))
        << outcome.error;
    EXPECT_TRUE(outcome.error.ends_with("\nÉtat précédent restauré.\n")) << outcome.error;
    EXPECT_EQ(difference(before, TreeSnapshot::of(disk->path())), "");
}

TEST_F(MoviesOnAnotherDisk, IsAtHomeBehindALinkToALink) {
    fs::remove(home.folder / "Movies");
    fs::create_directory_symlink(disk->path(), folder / "disk");
    fs::create_directory_symlink(folder / "disk", home.folder / "Movies");
    liveIn(home, home.folder.string());
}

TEST_F(MoviesOnAnotherDisk, ThatIsUnpluggedStopsTheRun) {
    fs::remove(home.folder / "Movies");
    fs::create_directory_symlink("/no such disk/Movies", home.folder / "Movies");
    const fs::path first = home.folder / "Movies";
    expectRestored({"--install"}, "Impossible de créer le dossier « " + first.string() +
                                      " » : c’est un lien vers un emplacement qui n’existe pas.");
    EXPECT_FALSE(fs::exists("/no such disk/Movies"));
}

} // namespace
