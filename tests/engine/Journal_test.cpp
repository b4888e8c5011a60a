#include "engine/Journal.hpp"
#include "platform/Json.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

#include <gtest/gtest.h>

namespace {

using namespace engine;

struct JournalTest : testing::Test {
    tests::TemporaryFolder folder;
    PackInstaller installer{folder.path(), folder / "payload"};
    PackPaths paths{installer};
    const std::string digest = std::string(64, 'a');
    const std::string transition = paths.inHome(paths.category / "é \n");
    const std::string run = "{\"legacyHidden\":true,\"run\":\"01234567-89AB-CDEF-0123-456789ABCDEF\"}\n";
    const std::string small =
        "Movies/Motion Templates.localized/Transitions.localized/Orvo Transitions/A/small.png";

    Journal example() const {
        return {"01234567-89AB-CDEF-0123-456789ABCDEF",
                true,
                false,
                {{"Movies", std::nullopt}, {transition, FolderState{0750, -5}}},
                {{transition + "/small.png", digest, ""},
                 {transition + "/é \n.motr", "", digest},
                 {paths.inHome(paths.installedManifest), digest, "link:" + digest},
                 {paths.inHome(paths.installedApplication), "folder:" + digest, "other:"}}};
    }

    Journal decode(const std::string& text) const { return decodeJournal(text, paths, "j"); }

    void expectRefused(const std::string& text) const {
        EXPECT_EQ(tests::messageOf<InstallError>([&] { (void)decode(text); }),
                  "« j » n’est pas un journal d’installation.")
            << text;
    }

    static std::string entry(const std::string& path, const std::string& before = "",
                             const std::string& after = "") {
        return platform::compactJson({{"path", path}, {"before", before}, {"after", after}}) + "\n";
    }
};

TEST_F(JournalTest, ReadsWhatItWrites) {
    EXPECT_EQ(encodeJournal(decode(encodeJournal(example()))), encodeJournal(example()));
}

TEST_F(JournalTest, RefusesEveryOtherSpellingOfTheSame) {
    const std::string text = run + entry(small);
    ASSERT_NO_THROW(decode(text));
    expectRefused(text.substr(0, text.size() - 1));
    expectRefused(text + "{");
    expectRefused(text + "\n");
    expectRefused(" " + text);
    expectRefused("{\"run\":\"01234567-89AB-CDEF-0123-456789ABCDEF\",\"legacyHidden\":true}\n" +
                  entry(small));
    expectRefused("{\"legacyHidden\":true,\"run\":\"01234567-89AB-CDEF-0123-456789ABCDEF\",\"x\":1}\n");
    expectRefused(run + "{\"after\":\"\",\"before\":\"\",\"path\":\"" + small +
                  "\"}\n");                                              // "/" has a "\\" before it
    expectRefused(run + entry(small) + R"({"folder":"Movies"})" + "\n"); // folders come first
}

TEST_F(JournalTest, KeepsEachItemInTheBackupUnderTheNameThatItsPathImplies) {
    const auto backupPath = [&](const std::filesystem::path& path) {
        return paths.backupPath(paths.inHome(path));
    };
    EXPECT_EQ(backupPath(paths.category / "A/A.motr"), "Templates/A/A.motr");
    EXPECT_EQ(backupPath(paths.legacy / "A/large.png"), "Legacy/A/large.png");
    EXPECT_EQ(backupPath(paths.installedManifest), "manifest.json");
    EXPECT_EQ(backupPath(paths.legacyManifest), "legacy-manifest.json");
    EXPECT_EQ(backupPath(paths.installedApplication), "Orvo Transitions.app");
    EXPECT_EQ(backupPath(paths.transitions / ".hidden"),
              paths.hiddenList ? std::optional<std::string>("hidden-list") : std::nullopt);
}

TEST_F(JournalTest, RefusesPathsThatNoRunChanges) {
    EXPECT_EQ(decode(run + entry(small)).entries.size(), 1U);
    const std::string category = paths.inHome(paths.category);
    for (const std::string& path : {std::string("../x"),
                                    std::string("/etc/passwd"),
                                    std::string(""),
                                    std::string("."),
                                    category,
                                    category + "/A",
                                    category + "/A/B.motr",
                                    category + "/A/../A/small.png",
                                    category + "/../small.png",
                                    category + "/./small.png",
                                    category + "/A/small.png/",
                                    category + "//A/small.png",
                                    category + "/A/A/small.png",
                                    "./" + small,
                                    small + "x",
                                    "Movies/" + small,
                                    std::string("Applications/Other.app"),
                                    std::string("Applications/Orvo Transitions.app/Contents"),
                                    std::string("Library/Application Support/OrvoTransitions/journal.jsonl"),
                                    std::string(".hidden")}) {
        expectRefused(run + entry(path));
    }
}

TEST_F(JournalTest, RefusesFoldersThatLeadToNoneOfItsPaths) {
    const auto line = [&](const std::string& above, const std::string& rest) {
        return run + R"({"folder":)" + platform::compactJson(above) + rest + "}\n" + entry(small);
    };
    const std::string state = R"(,"modified":0,"permissions":493)";
    const std::string transitionFolder = std::filesystem::path(small).parent_path().string();
    EXPECT_NO_THROW(decode(line("Movies", "")));
    EXPECT_NO_THROW(decode(line(transitionFolder, state)));
    for (const char* foreign : {"Applications", "Documents", "", ".", "/", "..", "Movies/", "Movies/.."}) {
        expectRefused(line(foreign, ""));
    }
    expectRefused(line("Movies", state)); // the user's own to set
    expectRefused(line(transitionFolder, R"(,"modified":0,"permissions":4096)"));
    expectRefused(line(transitionFolder, R"(,"modified":0,"permissions":-1)"));
    expectRefused(line(transitionFolder, R"(,"modified":0,"permissions":4294967296)"));
    expectRefused(line(transitionFolder, R"(,"modified":0,"permissions":1.5)"));
    expectRefused(line(transitionFolder, R"(,"modified":0,"permissions":1e73)"));
    expectRefused(line(transitionFolder, R"(,"modified":-1e73,"permissions":493)"));
    expectRefused(line(transitionFolder, R"(,"permissions":1)"));
    expectRefused(run + R"({"folder":"Movies"})" + "\n" + R"({"folder":"Movies"})" + "\n" + entry(small));
}

TEST_F(JournalTest, RefusesWhatIsNoJournal) {
    for (const char* text :
         {"", "{}\n", "[]\n", "x", "null\n", "\n", "{\"run\":1}\n", "{\"run\":\"../x\"}\n"}) {
        expectRefused(text);
    }
    expectRefused(run + run);
    expectRefused(run + entry(small, "abc"));
    expectRefused(run + entry(small, "../" + std::string(61, 'a')));
    expectRefused(run + R"({"path":"x"})" + "\n");
    expectRefused(run + "x");
    expectRefused(run + std::string("\0\n", 2));
}

TEST_F(JournalTest, GivesUnfinishedItemsShortNamesOfTheRunsOwn) {
    const std::string longest(255, 'x');
    const std::filesystem::path temporary = example().temporary(folder / longest, 12, 'n');
    EXPECT_EQ(temporary, folder / ".orvo-01234567-89AB-CDEF-0123-456789ABCDEF-12n");
}

TEST_F(JournalTest, NamesItemsInAMessageAsTheUserKnowsThem) {
    const std::string first = example().temporary(paths.category / "x", 0, 'n');
    const std::string second = example().temporary(paths.home / "y", 1, 'o');
    EXPECT_EQ(example().withKnownNames("« " + first + " » vers « " + second + " »"),
              "« " + (paths.category / "small.png").string() + " » vers « " +
                  (paths.home / "é \n.motr").string() + " »");
    EXPECT_EQ(example().withKnownNames("« .orvo-x »"), "« .orvo-x »");
}

} // namespace
