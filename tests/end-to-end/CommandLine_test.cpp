#include "tests/end-to-end/EndToEnd.hpp"

#include <csignal>

namespace fs = std::filesystem;

namespace {

using namespace tests;

struct CommandLine : EndToEnd {
    Home other{folder / "other home"};

    void expectUntouched(const Home& untouched) const {
        EXPECT_EQ(untouched.supportNames().size(), 0U);
        EXPECT_FALSE(fs::exists(untouched.category));
    }
};

TEST_F(CommandLine, InstallsIntoTheUsersHomeWithoutRoot) {
    install();
    EXPECT_TRUE(fs::exists(home.manifest));
}

TEST_F(CommandLine, InstallsUnderTheRoot) {
    succeed(program({"--install", "--root", other.folder.string()}), other, installedText());
    expectUntouched(home);
}

TEST_F(CommandLine, IgnoresARootWithNothingAfterIt) {
    install({"--root"});
}

TEST_F(CommandLine, TakesTheFirstRoot) {
    succeed(program({"--root", other.folder.string(), "--install", "--root", home.folder.string()}), other,
            installedText());
    expectUntouched(home);
}

TEST_F(CommandLine, TakesARelativeRootFromTheWorkingFolder) {
    Launch launch = program({"--install", "--root", "other home/../other home/."});
    launch.workingFolder = folder.path();
    succeed(launch, other, installedText());
    expectUntouched(home);
}

TEST_F(CommandLine, TakesAnEmptyRootForTheWorkingFolder) {
    Launch launch = program({"--install", "--root", ""});
    launch.workingFolder = other.folder;
    succeed(launch, other, installedText());
    expectUntouched(home);
}

TEST_F(CommandLine, TakesAnOptionAfterRootForItsValue) {
    const Home named(folder / "--only");
    Launch launch = program({"--install", "--root", "--only", "01 Ink Drop"});
    launch.workingFolder = folder.path();
    succeed(launch, named, installedText(1));
    expectUntouched(home);
}

TEST_F(CommandLine, TakesTheDirectionAfterRootForBoth) {
    const Home named(folder / "--install");
    Launch launch = program({"--root", "--install"});
    launch.workingFolder = folder.path();
    succeed(launch, named, installedText());
}

TEST_F(CommandLine, InstallsEverythingForOnlyWithNothingAfterIt) {
    install({"--only"});
}

TEST_F(CommandLine, DropsEmptyNames) {
    install({"--only", ",01 Ink Drop,,02 Page Fold,"}, 2);
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"01 Ink Drop", "02 Page Fold"}));
}

TEST_F(CommandLine, KeepsTheBlanksOfNames) {
    writeFile(product.catalog, R"([{"name": "a"}, {"name": " b"}, {"name": "b"}])");
    writeTransition(product.templates, "a", "2.3");
    writeTransition(product.templates, " b", "2.3");
    install({"--only", "a, b"}, 2);
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"a", " b"}));
}

TEST_F(CommandLine, IgnoresWhatItDoesNotKnow) {
    succeed({"quoi", "--verbose", "--install", "--no-register=oui", "--Uninstall", "--root=/nowhere", "-h"},
            installedText());
    EXPECT_EQ(product.toolCalls().size(), 4U);
}

TEST_F(CommandLine, WorksFromAnyWorkingFolder) {
    const fs::path decoy = folder / "decoy";
    writeFile(decoy / "Resources/Payload/catalog.json", "[]");
    Launch launch = program({"--install"});
    launch.workingFolder = decoy;
    succeed(launch, home, installedText());
}

TEST_F(CommandLine, FindsItsResourcesWhenStartedThroughALink) {
    const fs::path link = programs / "bin/orvo-installer";
    fs::create_directories(link.parent_path());
    fs::create_symlink("../product/orvo-installer", link);
    Launch launch = program({"--install"});
    launch.words.front() = link.string();
    succeed(launch, home, installedText());
}

TEST_F(CommandLine, FindsItsResourcesWhenStartedByARelativeNameOrFromThePath) {
    Launch launch = program({"--install"});
    launch.words.front() = "./orvo-installer";
    launch.workingFolder = product.folder;
    succeed(launch, home, installedText());
    launch.words.front() = "orvo-installer";
    launch.workingFolder = "/";
    launch.environment["PATH"] = product.folder.string() + ":/usr/bin:/bin";
    succeed(launch, home, installedText());
}

TEST_F(CommandLine, StopsAbnormallyWithoutResources) {
    fs::remove_all(product.folder / "Resources");
    const TreeSnapshot before = home.everything();
    for (const char* direction : {"--install", "--uninstall"}) {
        const Outcome outcome = run({direction});
        EXPECT_EQ(outcome.signal, SIGABRT);
        EXPECT_EQ(outcome.output, "");
    }
    EXPECT_EQ(difference(before, home.everything()), "");
}

TEST_F(CommandLine, SucceedsWhenNobodyReadsWhatItSays) {
    const std::string script = "'" + product.program.string() + "' --install | :; exit ${PIPESTATUS[0]}";
    Launch launch = program({});
    launch.words = {"bash", "-c", script};
    const Outcome outcome = Child(launch).wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_TRUE(fs::exists(home.manifest));
}

TEST_F(CommandLine, SucceedsWhenItsOutputIsClosedOrFull) {
    for (const char* target : {">&-", "> /dev/full", ">&- 2>&-"}) {
        Launch launch = program({});
        launch.words = {"sh", "-c", "'" + product.program.string() + "' --install " + target};
        EXPECT_EQ(Child(launch).wait().status, 0) << target;
    }
}

TEST_F(CommandLine, SucceedsForAParentThatIgnoresTheEndOfItsChildren) {
    Launch launch = program({"--install"});
    launch.words.insert(launch.words.begin(), {"env", "--ignore-signal=CHLD"});
    succeed(launch, home, installedText());
}

TEST_F(CommandLine, ShowsControlCharactersOnATerminal) {
    const std::string strange = (folder / "a\x1B[2J\tb\u0085é").string();
    writeFile(fs::path(strange) / "Applications/Orvo Transitions.app/x", "");
    const std::string refusal = "Application non reconnue, conservée : ";
    const std::string rest = "/Applications/Orvo Transitions.app";

    Launch launch = program({"--install", "--root", strange});
    EXPECT_EQ(Child(launch).wait().error, refusal + strange + rest + "\n");

    launch.environment["ROOT"] = strange;
    launch.words = {"script", "-qec", "'" + product.program.string() + "' --install --root \"$ROOT\"",
                    "/dev/null"};
    const std::string shown = (folder / "a\\x1B[2J\\x09b\\x85é").string();
    EXPECT_EQ(Child(launch).wait().output, refusal + shown + rest + "\r\n");
}

} // namespace
