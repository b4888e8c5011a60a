#include "tests/end-to-end/EndToEnd.hpp"

#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <csignal>

namespace fs = std::filesystem;

namespace {

using namespace tests;

/// True for a rename, in strace's words, whose target from this position on is an original's name beside its
/// path.
bool isAside(const std::string& call, std::size_t target) {
    const std::size_t name = call.find("/.orvo-", target);
    return name != std::string::npos && call.find("o\"", name) != std::string::npos;
}

/// Disks that refuse what others do, at one call or from one call on.
struct BadDisk : EndToEnd {
    void SetUp() override {
        if (!canInject()) {
            GTEST_SKIP() << "strace cannot trace here";
        }
        home.fillAsLongUsed();
    }

    void removeForeignTemplate() const { fs::remove_all(home.category / "Mes essais"); }

    /// The program in whose run the calls that concern this path answer so.
    Launch at(const fs::path& path, const std::string& answer, const Arguments& arguments) const {
        return injecting(program(arguments), {"-P", path.string(), "-e", "inject=" + answer});
    }

    /// Runs the program on a disk that goes bad for good. The state before must be there, or the journal with
    /// which the next run, on a healthy disk, restores it. Returns whether the journal was left.
    bool isLeftToTheNextRun(const Launch& launch) const {
        const std::set<std::string> earlier = home.backupNames();
        const TreeSnapshot before = home.kept();
        const Outcome outcome = Child(launch).wait();
        EXPECT_EQ(outcome.status, 1);
        const bool isLeft = fs::exists(home.journal);
        const bool isSaidToBeRestored = outcome.error.find("État précédent restauré.") != std::string::npos;
        EXPECT_NE(isLeft, isSaidToBeRestored) << outcome.error;
        if (isLeft) {
            EXPECT_NE(outcome.error.find("\nSauvegarde : " + newBackup(home, earlier).string() + "\n"),
                      std::string::npos)
                << outcome.error;
            const Outcome next = onlyUndo();
            EXPECT_TRUE(next.error.starts_with("Une installation précédente avait été interrompue : l’état "
                                               "d’avant a d’abord été rétabli."))
                << next.error;
            product.onToolCall("");
        }
        EXPECT_EQ(difference(before, home.kept()), "");
        EXPECT_EQ(home.supportNames(), std::set<std::string>{"Backups"});
        return isLeft;
    }

    static std::string cannotList(const fs::path& path) {
        return "Impossible de parcourir le dossier « " + path.string() +
               " » : le disque a signalé une erreur d’entrée-sortie.";
    }
};

TEST_F(BadDisk, ThatRenamesNoFoldersLosesTheApplicationByAnUninstall) {
    removeForeignTemplate();
    const fs::path emptied = home.category / "10 Dye Bloom";
    const Launch launch =
        injecting(program({"--uninstall"}), {"-P", home.application.string(), "-P", emptied.string(), "-e",
                                             "inject=renameat2:error=EXDEV"});
    const fs::path backup = succeed(launch, home, uninstalledText);
    EXPECT_FALSE(fs::exists(home.application));
    EXPECT_FALSE(fs::exists(emptied));
    EXPECT_EQ(readFile(backup / "Orvo Transitions.app/Contents/Info.plist"), "edition 2.0\n");
}

TEST_F(BadDisk, ThatRenamesNoFoldersTakesAnotherApplication) {
    // The new one is no folder of the lower layer any more.
    succeed(at(home.application, "renameat2:error=EXDEV:when=1..2", {"--install"}), home, installedText());
    EXPECT_EQ(difference(TreeSnapshot::of(product.application), TreeSnapshot::of(home.application)), "");
}

TEST_F(BadDisk, ThatRenamesNothingToTheApplicationsPathIsRestored) {
    const std::set<std::string> earlier = home.backupNames();
    const TreeSnapshot before = home.kept();
    const Outcome outcome =
        Child(at(home.application, "renameat2:error=EXDEV:when=2..3", {"--install"})).wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.error.ends_with("\nÉtat précédent restauré.\n")) << outcome.error;
    EXPECT_EQ(difference(before, home.kept()), "");
}

TEST_F(BadDisk, ThatListsNoFolderKeepsTheApplicationOfAForeignTemplate) {
    for (const fs::path& listed : {home.category, home.category / "Mes essais"}) {
        const TreeSnapshot before = home.everything();
        const Outcome outcome = Child(at(listed, "getdents64:error=EIO", {"--uninstall"})).wait();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.error, cannotList(listed) + "\n");
        EXPECT_EQ(difference(before, home.everything()), "");
    }
}

TEST_F(BadDisk, ThatListsNoFolderMarksNoOlderTemplate) {
    const TreeSnapshot before = home.everything();
    const Outcome outcome = Child(at(home.legacy, "getdents64:error=EIO", {"--install"})).wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error, cannotList(home.legacy) + "\n");
    EXPECT_EQ(difference(before, home.everything()), "");
}

TEST_F(BadDisk, ThatStaysFullLeavesTheRestToTheNextRun) {
    int left = 0;
    for (const char* first : {"2", "10", "20", "30", "40"}) {
        const std::string answer = "inject=renameat2:error=ENOSPC:when=" + std::string(first) + "+";
        left += isLeftToTheNextRun(injecting(program({"--install"}), {"-e", answer})) ? 1 : 0;
    }
    removeForeignTemplate();
    for (const char* first : {"5", "15"}) {
        const std::string answer = "inject=renameat2:error=EDQUOT:when=" + std::string(first) + "+";
        left += isLeftToTheNextRun(injecting(program({"--uninstall"}), {"-e", answer})) ? 1 : 0;
    }
    EXPECT_GE(left, 5);
}

TEST_F(BadDisk, ThatRemovesNothingAnyMoreLeavesTheRestToTheNextRun) {
    for (const char* error : {"EROFS", "EIO", "EACCES"}) {
        product.onToolCall("[ $call = 3 ] && { printf non; exit 1; }; :");
        EXPECT_TRUE(isLeftToTheNextRun(
            injecting(program({"--install"}), {"-e", "inject=?unlink,unlinkat:error=" + std::string(error)})))
            << error;
    }
}

TEST_F(BadDisk, ThatRefusesOnceToRemoveTheJournalIsRestored) {
    expectRestored(at(home.journal, "?unlink,unlinkat:error=EIO:when=1", {"--install"}), home,
                   "Impossible de supprimer « " + home.journal.string() +
                       " » : le disque a signalé une erreur d’entrée-sortie.");
}

TEST_F(BadDisk, ThatNeverRemovesTheJournalLeavesItToTheNextRun) {
    EXPECT_TRUE(isLeftToTheNextRun(at(home.journal, "?unlink,unlinkat:error=EIO", {"--install"})));
}

TEST_F(BadDisk, ThatDoesNotConfirmTheEndIsSaidNeitherToHaveRestoredNorToHaveInstalled) {
    const Outcome outcome = Child(at(home.support, "fsync:error=EIO:when=2", {"--install"})).wait();
    const fs::path backup = newBackup(home, {});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error,
              "Tout est fait, mais le disque ne l’a pas confirmé : après une coupure, l’état d’avant peut "
              "revenir.\nImpossible d’enregistrer sur le disque « " +
                  home.support.string() +
                  " » : le disque a signalé une erreur d’entrée-sortie.\nSauvegarde : " + backup.string() +
                  "\n");
    EXPECT_EQ(home.supportNames(), std::set<std::string>{"Backups"});
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
    EXPECT_EQ(difference(TreeSnapshot::of(product.application), TreeSnapshot::of(home.application)), "");
    install();
}

TEST_F(BadDisk, ThatEndsTheCopyOfTheApplicationEarlyIsRestored) {
    const fs::path file = product.application / "Contents/Info.plist";
    const Launch launch = injecting(program({"--install"}),
                                    {"-P", file.string(), "-e", "trace=copy_file_range,ioctl,read", "-e",
                                     "inject=ioctl:error=EOPNOTSUPP", "-e", "inject=copy_file_range:retval=0",
                                     "-e", "inject=read:retval=0:when=3+"}); // the first two are the digest's
    expectRestored(launch, home,
                   "Impossible de copier « " + file.string() + " » : la copie n’a pas la taille du fichier.");
}

TEST_F(BadDisk, HasEverythingSavedOnItBeforeTheFirstNewItem) {
    const std::vector<std::string> calls =
        callsOf(program({"--install"}), "?rename,renameat2,?link,linkat,syncfs,fsync");
    std::vector<std::size_t> syncs;
    std::vector<std::size_t> saves;
    std::vector<std::size_t> puts;
    std::size_t journal = 0;
    for (std::size_t number = 0; number < calls.size(); ++number) {
        const std::string& call = calls[number];
        const std::size_t target = call.rfind(", \"") + 3;
        const bool isSaved = call.compare(target, home.backups.string().size(), home.backups.string()) == 0 ||
                             isAside(call, target);
        if (call.find("sync") < call.find('(')) {
            syncs.push_back(number);
        } else if (call.find(", \"" + home.journal.string()) != std::string::npos) {
            journal = number;
        } else {
            (isSaved ? saves : puts).push_back(number);
        }
    }
    const auto isSyncedBetween = [&](std::size_t from, std::size_t to) {
        return std::ranges::any_of(syncs, [&](std::size_t sync) { return from < sync && sync < to; });
    };
    ASSERT_FALSE(saves.empty() || puts.empty());
    EXPECT_LT(saves.back(), puts.front());
    EXPECT_TRUE(isSyncedBetween(journal, saves.front()));
    EXPECT_TRUE(isSyncedBetween(saves.back(), puts.front()));
    EXPECT_TRUE(isSyncedBetween(puts.back(), calls.size()));
}

TEST_F(BadDisk, HasRoomForTheUndoBeforeTheFirstChange) {
    product.onToolCall("[ $call = 3 ] && exit 1; :");
    const std::vector<std::string> calls =
        callsOf(program({"--install"}),
                "?vfork,?fork,clone,?clone3,?mkdir,mkdirat,openat,?link,linkat,?symlink,symlinkat", 1);
    const auto isOfTool = [](const std::string& call) {
        return call.find("fork(") < 2 || call.starts_with("clone");
    };
    const auto lastTool = std::find_if(calls.rbegin(), calls.rend(), isOfTool);
    ASSERT_NE(lastTool, calls.rend());
    for (auto call = lastTool.base(); call != calls.end(); ++call) {
        EXPECT_TRUE(call->starts_with("openat") ? call->find("O_CREAT") == std::string::npos
                                                : call->find(") = 0") == std::string::npos)
            << *call;
    }
}

TEST_F(BadDisk, IsWorkedOnInTheOrderOfTheSortedPathsOfAllTemplates) {
    putTransitions(home, {"11 Pane Burst"});
    std::vector<std::string> paths;
    for (const std::string& call : callsOf(program({"--install"}), "?rename,renameat2,?link,linkat")) {
        const std::size_t start = call.find("\"" + home.category.string() + "/");
        const std::size_t end = call.find("\", ", start);
        if (start != std::string::npos && isAside(call, end) &&
            call.find(".orvo-transitions.json") == std::string::npos) {
            paths.push_back(call.substr(start, end - start));
        }
    }
    EXPECT_EQ(paths.size(), 15U); // three transitions are replaced, two in between go
    EXPECT_TRUE(std::ranges::is_sorted(paths)) << testing::PrintToString(paths);
}

TEST_F(BadDisk, GivesATransitionFolderBackWithItsAttributesAndDates) {
    const Home other(programs / "home"); // memory knows no attributes of users
    other.fillAsLongUsed();
    fs::remove_all(other.category / "Mes essais");
    const fs::path emptied = other.category / "10 Dye Bloom";
    if (::setxattr(emptied.c_str(), "user.orvo", "mine", 4, 0) != 0) {
        GTEST_SKIP() << "no extended attributes here";
    }
    dateLongAgo(other.folder);
    const auto date = fs::last_write_time(emptied);
    const auto expectAsBefore = [&] {
        std::array<char, 4> value{};
        EXPECT_EQ(::getxattr(emptied.c_str(), "user.orvo", value.data(), value.size()), 4);
        EXPECT_EQ(std::string(value.data(), value.size()), "mine");
        EXPECT_EQ(fs::last_write_time(emptied), date);
        EXPECT_EQ(fs::status(emptied).permissions(), fs::perms(0700));
    };
    for (const char* direction : {"--install", "--uninstall"}) {
        const Launch launch = program({direction, "--root", other.folder.string()});
        // The last call of the kind comes when the folder has gone.
        const std::vector<std::string>::size_type last = 3;
        const std::string when = "inject=syncfs:error=EIO:when=" + std::to_string(last);
        const std::set<std::string> earlier = other.backupNames();
        const Outcome outcome = Child(injecting(launch, {"-e", when})).wait();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(outcome.error.ends_with("\nÉtat précédent restauré.\n")) << outcome.error;
        expectAsBefore();
        const Outcome cut =
            Child(injecting(launch, {"-e", "inject=syncfs:signal=KILL:when=" + std::to_string(last)})).wait();
        EXPECT_EQ(cut.signal, SIGKILL);
        EXPECT_FALSE(fs::exists(emptied));
        EXPECT_EQ(onlyUndo({"--root", other.folder.string()}).status, 1);
        product.onToolCall("");
        expectAsBefore();
    }
}

TEST_F(BadDisk, ThatIsCutOffAtTheEndHoldsTheStateBeforeOrAfter) {
    const TreeSnapshot before = home.kept();
    for (const auto& [path, call] : {std::pair(home.journal, "?unlink,unlinkat:signal=KILL"),
                                     std::pair(home.support, "fsync:signal=KILL:when=2")}) {
        EXPECT_EQ(Child(at(path, call, {"--install"})).wait().signal, SIGKILL);
        const bool isDone = !fs::exists(home.journal);
        onlyUndo();
        product.onToolCall("");
        if (isDone) {
            EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
            EXPECT_EQ(readFile(home.application / "Contents/Info.plist"), "edition 2.3\n");
        } else {
            EXPECT_EQ(difference(before, home.kept()), "");
        }
        EXPECT_EQ(home.supportNames(), std::set<std::string>{"Backups"});
    }
    install();
}

/// A process that may open few files, and tools that need none.
struct FewDescriptors : EndToEnd {
    FewDescriptors() {
        home.fillAsLongUsed();
        fs::remove_all(home.category / "Mes essais");
        useForSignatures("true");
    }

    void useForSignatures(const std::string& program) const {
        const fs::path tool = product.folder / "SystemTools/usr/bin/codesign";
        fs::remove(tool);
        fs::create_symlink("/bin/" + program, tool);
    }

    /// Whatever the run could do is whole: either done or undone, at the latest by the next run.
    void expectWhole(const Arguments& arguments, unsigned limit) const {
        const TreeSnapshot before = home.kept();
        Launch launch = program(arguments);
        launch.words.emplace_back("--no-register");
        launch.openFiles = limit;
        launch.largestFile = 100'000;
        const Outcome outcome = Child(launch).wait();
        if (fs::exists(home.journal)) {
            EXPECT_EQ(outcome.error.find("État précédent restauré."), std::string::npos) << outcome.error;
            useForSignatures("false");
            EXPECT_EQ(run({"--install", "--no-register"}).status, 1);
            useForSignatures("true");
        }
        if (outcome.status != 0) {
            EXPECT_EQ(difference(before, home.kept()), "") << limit << " " << outcome.error;
        }
        const std::set<std::string> names = home.supportNames();
        EXPECT_TRUE(names.empty() || names == std::set<std::string>{"Backups"})
            << limit << " " << testing::PrintToString(names);
    }
};

TEST_F(FewDescriptors, LeaveNothingUnfinishedForGood) {
    for (unsigned limit = 4; limit <= 12; ++limit) {
        expectWhole({"--install"}, limit);
        expectWhole({"--uninstall"}, limit);
    }
    install({"--no-register"});
}

TEST_F(FewDescriptors, LeaveNoStagedApplicationBehind) {
    writeFile(product.application / "Contents/Resources/deep/deeper/large", std::string(100'001, 'x'));
    for (unsigned limit = 4; limit <= 12; ++limit) {
        expectWhole({"--install"}, limit);
    }
}

} // namespace
