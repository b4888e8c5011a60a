#include "platform/Json.hpp"
#include "tests/end-to-end/Administrator.hpp"

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using namespace tests;
using platform::Json;

const std::string runId = "0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D";

/// A user prepares the home and waits for an administrator's script. What the script must not touch lies in a
/// folder of root's, which looks like a home, and belongs to root alone.
struct HostileHome : Administrator {
    Home victim{folder / "victim"};
    fs::path backup = home.backups / runId;

    void SetUp() override {
        Administrator::SetUp();
        if (!IsSkipped()) {
            refill();
            victim.fillAsLongUsed();
            fs::create_directories(victim.backups);
            writeFile(victim.support / "passwd", "root:x:0:0\n");
        }
    }

    void refill() const {
        fs::remove_all(home.folder);
        Home(home.folder).fillAsLongUsed();
    }

    /// Where a backup folder keeps what has this path in a home.
    fs::path saved(const fs::path& path) const {
        if (path == home.manifest) {
            return backup / "manifest.json";
        }
        if (path == home.legacyManifest) {
            return backup / "legacy-manifest.json";
        }
        if (path == home.hiddenList) {
            return backup / "hidden-list";
        }
        if (path == home.application) {
            return backup / "Orvo Transitions.app";
        }
        const bool isLegacy = path.string().starts_with(home.legacy.string() + "/");
        return backup / (isLegacy ? "Legacy" : "Templates") /
               path.lexically_relative(isLegacy ? home.legacy : home.category);
    }

    std::vector<fs::path> changedFiles() const {
        std::vector<fs::path> files{home.manifest, home.legacyManifest, home.hiddenList};
        for (const fs::path& category : {home.category, home.legacy}) {
            for (const std::string transition : {"01 Ink Drop", "10 Dye Bloom"}) {
                for (const std::string& name :
                     {transition + ".motr", std::string("small.png"), std::string("large.png")}) {
                    files.push_back(category / transition / name);
                }
            }
        }
        return files;
    }

    Json entry(const fs::path& path, const std::string& before, const std::string& after) const {
        return {
            {"path", path.lexically_relative(home.folder).string()}, {"before", before}, {"after", after}};
    }

    void writeJournal(const std::vector<Json>& lines) const {
        std::string text = platform::compactJson({{"run", runId}, {"legacyHidden", false}}) + "\n";
        for (const Json& line : lines) {
            text += platform::compactJson(line) + "\n";
        }
        writeFile(home.journal, text);
        fs::create_directories(backup);
    }

    /// The journal of a run that has replaced every file, and is to be undone with what the user has put into
    /// the backup folder. `present` says what the files at these paths hold.
    void forgeJournal(const Home& present, fs::perms bits = fs::perms(0644)) const {
        std::vector<Json> lines;
        for (const fs::path& path : changedFiles()) {
            const std::string forged = "forged " + path.filename().string() + "\n";
            writeFile(saved(path), forged);
            fs::permissions(saved(path), bits);
            const fs::path replaced = present.folder / path.lexically_relative(home.folder);
            lines.push_back(
                entry(path, digestOf(forged), fs::exists(replaced) ? digestOf(readFile(replaced)) : ""));
        }
        writeJournal(lines);
    }

    /// Both runs of an administrator's, and what must hold of the victim after each.
    void expectVictimSpared() {
        const TreeSnapshot before = victim.everything();
        for (const char* direction : {"--uninstall", "--install"}) {
            giveHome();
            runScripted({direction});
            EXPECT_EQ(difference(before, victim.everything()), "") << direction;
            EXPECT_EQ(itemsNotOf(victim.folder, 0), "") << direction;
            EXPECT_EQ(itemsNotOf(home.folder, odile), "") << direction;
        }
    }

    /// Expects a refusal that names this file and changes nothing.
    void expectRefused(const fs::path& named) {
        const TreeSnapshot before = home.everything();
        for (const char* direction : {"--uninstall", "--install"}) {
            const Outcome outcome = runScripted({direction});
            EXPECT_EQ(outcome.status, 1);
            EXPECT_EQ(outcome.output, "");
            EXPECT_NE(outcome.error.find("« " + named.string() + " »"), std::string::npos) << outcome.error;
            EXPECT_EQ(difference(before, home.everything()), "");
        }
    }

    std::vector<fs::path> foldersOnTheWay() const {
        const fs::path movies = home.folder / "Movies";
        const fs::path library = home.folder / "Library";
        return {movies,
                movies / "Motion Templates.localized",
                home.transitions,
                home.category,
                home.category / "01 Ink Drop",
                home.legacy,
                home.legacy / "10 Dye Bloom",
                library,
                library / "Application Support",
                home.support,
                home.backups,
                home.folder / "Applications",
                home.application};
    }
};

TEST_F(HostileHome, WithAForgedJournalAndALinkedFolderChangesNothingOfRoots) {
    for (const fs::path& path : foldersOnTheWay()) {
        SCOPED_TRACE(path.string());
        refill();
        forgeJournal(victim);
        fs::remove_all(path);
        fs::create_symlink(victim.folder / path.lexically_relative(home.folder), path);
        expectVictimSpared();
    }
}

TEST_F(HostileHome, WithALinkInTheBackupFolderChangesNothingOfRoots) {
    for (const fs::path& path :
         {backup, backup / "Templates", backup / "Legacy", backup / "Kept",
          backup / ("Emptied-" +
                    digestOf(home.category.lexically_relative(home.folder).string() + "/01 Ink Drop"))}) {
        SCOPED_TRACE(path.string());
        refill();
        forgeJournal(home);
        fs::remove_all(path);
        fs::create_symlink(victim.category, path);
        expectVictimSpared();
    }
}

TEST_F(HostileHome, WithForeignPathsInTheJournalIsLeftAlone) {
    const std::string category = home.category.lexically_relative(home.folder).string();
    const std::string passwd = victim.support.lexically_relative(home.folder).string() + "/passwd";
    for (const std::string& path :
         {passwd, category + "/../../../../" + passwd, (victim.support / "passwd").string(), std::string("."),
          std::string(), std::string("Documents/lettre.txt"), std::string("Applications"), category,
          category + "/01 Ink Drop", category + "/01 Ink Drop/notes.txt", category + "/../small.png",
          category + "/./01 Ink Drop/small.png", category + "/01 Ink Drop//small.png",
          category + "/01 Ink Drop/01 Ink Drop.motr/..", "./" + category + "/01 Ink Drop/small.png",
          category + "/01 Ink Drop/small.png/",
          std::string("Library/Application Support/OrvoTransitions/Backups")}) {
        SCOPED_TRACE(path);
        writeJournal({Json{{"path", path}, {"before", digestOf("forged")}, {"after", ""}}});
        giveHome();
        expectRefused(home.journal);
    }
}

TEST_F(HostileHome, WithForeignFoldersInTheJournalIsLeftAlone) {
    const fs::path file = home.category / "01 Ink Drop/small.png";
    const std::string documents = "Documents";
    for (const Json& line :
         {Json{{"folder", documents}, {"permissions", 0777}, {"modified", 0}}, Json{{"folder", documents}},
          Json{{"folder", "../victim"}, {"permissions", 0777}, {"modified", 0}},
          Json{{"folder", "Movies"}, {"permissions", 0777}, {"modified", 0}},
          Json{{"folder", ""}, {"permissions", 0777}, {"modified", 0}}, Json{{"folder", "Movies/"}},
          Json{{"folder", file.parent_path().lexically_relative(home.folder).string()},
               {"permissions", 010777},
               {"modified", 0}}}) {
        SCOPED_TRACE(line.dump());
        writeJournal({line, entry(file, digestOf("forged"), "")});
        giveHome();
        expectRefused(home.journal);
    }
}

TEST_F(HostileHome, WithAJournalOfAnotherUsersIsLeftAlone) {
    for (const uid_t other : {uid_t{0}, robert}) {
        forgeJournal(home);
        giveHome();
        give(home.journal, other);
        expectRefused(home.journal);
    }
}

TEST_F(HostileHome, WithABackupFolderOfAnotherUsersIsLeftAlone) {
    for (const uid_t other : {uid_t{0}, robert}) {
        forgeJournal(home);
        giveHome();
        give(backup, other);
        expectRefused(backup);
    }
}

TEST_F(HostileHome, WithALinkForAJournalIsLeftAlone) {
    forgeJournal(home);
    fs::rename(home.journal, home.folder / "journal");
    fs::create_symlink(home.folder / "journal", home.journal);
    giveHome();
    expectRefused(home.journal);
}

/// The items below the folder that have one of these bits.
std::string itemsWithBits(const fs::path& folder, mode_t bits) {
    std::string items;
    for (const auto& item : fs::recursive_directory_iterator(folder)) {
        struct stat found {};
        if (::lstat(item.path().c_str(), &found) == 0 && S_ISREG(found.st_mode) &&
            (found.st_mode & bits) != 0) {
            items += item.path().string() + "\n";
        }
    }
    return items;
}

/// Movies on a disk of its own, so that what is saved and put back is copied.
struct HostileHomeOnTwoDisks : HostileHome {
    TemporaryFolder disk;

    void SetUp() override {
        HostileHome::SetUp();
        if (IsSkipped()) {
            return;
        }
        ASSERT_TRUE(areOnTwoFileSystems(folder.path(), disk.path())); // so .ci/run provides
        fs::permissions(disk.path(), fs::perms(0755));
        fs::copy(home.folder / "Movies", disk / "Movies", fs::copy_options::recursive);
        fs::remove_all(home.folder / "Movies");
        fs::create_symlink(disk / "Movies", home.folder / "Movies");
    }

    void giveBoth() const {
        giveHome();
        giveWhole(disk / "Movies", odile);
    }
};

TEST_F(HostileHomeOnTwoDisks, GetsNoBitsThatNobodyAskedForIntoTheBackup) {
    const fs::path file = home.category / "01 Ink Drop/01 Ink Drop.motr";
    giveBoth();
    fs::permissions(file, fs::perms(06755)); // after a change of owner, which clears the bits
    runScripted({"--install"});
    EXPECT_EQ(itemsWithBits(home.folder, 06000), "");
    EXPECT_EQ(itemsWithBits(disk.path(), 06000), "");
    EXPECT_EQ(itemsNotOf(disk / "Movies", odile), "");
    expectAllOfOdile();
}

TEST_F(HostileHomeOnTwoDisks, GetsNoBitsThatNobodyAskedForOutOfTheBackup) {
    forgeJournal(home);
    giveBoth();
    for (const fs::path& path : changedFiles()) {
        fs::permissions(saved(path), fs::perms(06755));
    }
    runScripted({"--uninstall", "--only", "02 Page Fold"});
    EXPECT_FALSE(fs::exists(home.journal));
    EXPECT_EQ(readFile(home.category / "01 Ink Drop/small.png"), "forged small.png\n");
    EXPECT_EQ(itemsWithBits(disk.path(), 06000), "");
    EXPECT_EQ(itemsNotOf(disk / "Movies", odile), "");
    expectAllOfOdile();
}

} // namespace
