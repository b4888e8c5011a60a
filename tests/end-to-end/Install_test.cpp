#include "tests/end-to-end/EndToEnd.hpp"

#include <chrono>
#include <regex>

namespace fs = std::filesystem;

namespace {

using namespace tests;

struct Install : EndToEnd {};

const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");

TEST_F(Install, PutsTheWholePackIntoAFreshHome) {
    const fs::path backup = install();
    EXPECT_TRUE(std::regex_match(backup.filename().string(), uuid)) << backup;
    EXPECT_TRUE(fs::is_empty(backup));

    const Home expected(folder / "expected");
    putTransitions(expected, offeredTransitions);
    putApplication(expected);
    expectSame(home, expected);
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
    EXPECT_FALSE(fs::exists(home.legacy));
}

TEST_F(Install, WorksInAnEmptyHomeAndInOneThatIsNotThereYet) {
    for (const char* name : {"empty", "made/on/the/way"}) {
        const Home other(folder / name);
        fs::remove_all(other.folder);
        if (name == std::string("empty")) {
            fs::create_directory(other.folder);
        }
        succeed(program({"--install", "--root", other.folder.string()}), other, installedText());
        EXPECT_EQ(manifestAt(other.manifest), payloadDigests(offeredTransitions));
    }
}

TEST_F(Install, WritesACompactManifestWithEscapedSolidi) {
    writeFile(product.templates / "01 Ink Drop/small.png", "abc");
    install({"--only", "01 Ink Drop"}, 1);
    const std::string text = readFile(home.manifest);
    EXPECT_NE(text.find(R"("01 Ink Drop\/small.png":)"
                        R"("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad")"),
              std::string::npos)
        << text;
    EXPECT_TRUE(text.starts_with("{\"") && text.ends_with("}")) << text;
    EXPECT_EQ(text.find_first_of("\n\t"), std::string::npos) << text;
    EXPECT_EQ(text.find("\": "), std::string::npos) << text;
}

TEST_F(Install, DatesTemplatesNowAndKeepsTheDatesOfThumbnails) {
    const auto before = fs::file_time_type::clock::now() - std::chrono::seconds(2);
    install();
    for (const std::string& transition : offeredTransitions) {
        const fs::path installed = home.category / transition;
        const fs::path shipped = product.templates / transition;
        EXPECT_GT(fs::last_write_time(installed / (transition + ".motr")), before);
        EXPECT_EQ(fs::last_write_time(installed / "small.png"), fs::last_write_time(shipped / "small.png"));
        EXPECT_EQ(fs::last_write_time(installed / "large.png"), fs::last_write_time(shipped / "large.png"));
    }
}

TEST_F(Install, LeavesThePayloadAlone) {
    const TreeSnapshot before = TreeSnapshot::of(product.payload);
    install();
    install();
    EXPECT_EQ(difference(before, TreeSnapshot::of(product.payload)), "");
}

TEST_F(Install, OfASubsetPutsOnlyThatInPlace) {
    install({"--only", "09 Dye Bloom,01 Ink Drop,09 Dye Bloom"}, 2);
    const Home expected(folder / "expected");
    putTransitions(expected, {"01 Ink Drop", "09 Dye Bloom"});
    putApplication(expected);
    expectSame(home, expected);
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"01 Ink Drop", "09 Dye Bloom"}));
}

TEST_F(Install, OfAnotherSubsetAddsToTheFirst) {
    install({"--only", "01 Ink Drop"}, 1);
    const fs::path file = home.category / "01 Ink Drop/01 Ink Drop.motr";
    const auto date = fs::last_write_time(file);
    const fs::path backup = install({"--only", "02 Page Fold,11 Pane Burst"}, 2);

    const Home expected(folder / "expected");
    putTransitions(expected, {"01 Ink Drop", "02 Page Fold", "11 Pane Burst"});
    putApplication(expected);
    expectSame(home, expected);
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"01 Ink Drop", "02 Page Fold", "11 Pane Burst"}));
    EXPECT_EQ(fs::last_write_time(file), date);
    EXPECT_FALSE(fs::exists(backup / "Templates"));
    EXPECT_EQ(manifestAt(backup / "manifest.json"), payloadDigests({"01 Ink Drop"}));
    EXPECT_TRUE(fs::exists(backup / "Orvo Transitions.app/Contents/Info.plist"));
}

TEST_F(Install, OverIdenticalFilesReplacesThemAndKeepsThemInTheBackup) {
    install();
    const TreeSnapshot before = home.comparable();
    const TreeSnapshot category = TreeSnapshot::of(home.category);
    const TreeSnapshot application = TreeSnapshot::of(home.application);
    const fs::path backup = install();
    EXPECT_EQ(difference(before, home.comparable()), "");
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
    EXPECT_EQ(difference(category.without(".orvo-transitions.json"), TreeSnapshot::of(backup / "Templates")),
              "");
    EXPECT_EQ(difference(application, TreeSnapshot::of(backup / "Orvo Transitions.app")), "");
    EXPECT_EQ(home.backupNames().size(), 2U);
}

TEST_F(Install, AcceptsIdenticalFilesThatNoManifestKnows) {
    putTransitions(home, {"02 Page Fold"});
    const fs::path backup = install();
    EXPECT_EQ(readFile(backup / "Templates/02 Page Fold/small.png"),
              thumbnailText("02 Page Fold", "small", "2.3"));
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
}

TEST_F(Install, AcceptsAFileOfThePayloadsContentsThatTheManifestRecordsDifferently) {
    putTransitions(home, {"02 Page Fold"});
    writeManifest(home.manifest, digestsOf("02 Page Fold", "2.0"));
    install();
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
}

TEST_F(Install, ReplacesTheFilesOfAnEarlierEdition) {
    writeTransition(home.category, "01 Ink Drop", "2.0");
    writeTransition(home.category, "02 Page Fold", "2.0");
    writeManifest(home.manifest, digestsOf("01 Ink Drop", "2.0") + digestsOf("02 Page Fold", "2.0"));
    writeApplication(home.application, "2.0");
    const fs::path backup = install();

    const Home expected(folder / "expected");
    putTransitions(expected, offeredTransitions);
    putApplication(expected);
    expectSame(home, expected);
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
    EXPECT_EQ(readFile(backup / "Templates/01 Ink Drop/01 Ink Drop.motr"),
              templateText("01 Ink Drop", "2.0"));
    EXPECT_EQ(readFile(backup / "Orvo Transitions.app/Contents/Info.plist"), "edition 2.0\n");
}

TEST_F(Install, OfASubsetKeepsFilesAndDigestsOfTheOtherTransitions) {
    writeTransition(home.category, "01 Ink Drop", "2.0");
    writeTransition(home.category, "02 Page Fold", "2.0");
    writeFile(home.category / "02 Page Fold/small.png", "changed by the user, and not looked at");
    writeManifest(home.manifest, digestsOf("01 Ink Drop", "2.0") + digestsOf("02 Page Fold", "2.0"));
    const TreeSnapshot before = TreeSnapshot::of(home.category / "02 Page Fold");
    install({"--only", "01 Ink Drop"}, 1);
    EXPECT_EQ(difference(before, TreeSnapshot::of(home.category / "02 Page Fold")), "");
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"01 Ink Drop"}) + digestsOf("02 Page Fold", "2.0"));
}

TEST_F(Install, PutsBackFilesThatAreMissing) {
    install();
    fs::remove_all(home.category / "01 Ink Drop");
    fs::remove(home.category / "02 Page Fold/small.png");
    install();
    const Home expected(folder / "expected");
    putTransitions(expected, offeredTransitions);
    putApplication(expected);
    expectSame(home, expected);
}

TEST_F(Install, ClearsRetiredTransitionsWhateverIsSelected) {
    writeTransition(home.category, retiredTransition, "2.0");
    writeManifest(home.manifest, digestsOf(retiredTransition, "2.0"));
    const fs::path backup = install({"--only", "01 Ink Drop"}, 1);
    EXPECT_FALSE(fs::exists(home.category / retiredTransition));
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"01 Ink Drop"}));
    EXPECT_EQ(readFile(backup / "Templates" / retiredTransition / "large.png"),
              thumbnailText(retiredTransition, "large", "2.0"));
}

TEST_F(Install, KeepsAFolderThatHoldsSomethingOfTheUsers) {
    writeTransition(home.category, retiredTransition, "2.0");
    writeFile(home.category / retiredTransition / "notes.txt", "à garder");
    writeManifest(home.manifest, digestsOf(retiredTransition, "2.0"));
    install();
    EXPECT_EQ(TreeSnapshot::of(home.category / retiredTransition).items.size(), 1U);
    EXPECT_EQ(readFile(home.category / retiredTransition / "notes.txt"), "à garder");
}

TEST_F(Install, ClearsFilesUnderAnOlderTitleWhenTheirTransitionIsSelected) {
    writeTransition(home.category, "10 Dye Bloom", "2.0");
    writeTransition(home.category, "12 Pane Burst", "2.0");
    writeManifest(home.manifest, digestsOf("10 Dye Bloom", "2.0") + digestsOf("12 Pane Burst", "2.0"));
    install({"--only", "01 Ink Drop,10 Box Turn"}, 2);
    EXPECT_TRUE(fs::exists(home.category / "10 Dye Bloom/10 Dye Bloom.motr"));

    install({"--only", "09 Dye Bloom"}, 1);
    EXPECT_FALSE(fs::exists(home.category / "10 Dye Bloom"));
    EXPECT_TRUE(fs::exists(home.category / "12 Pane Burst"));
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"01 Ink Drop", "10 Box Turn", "09 Dye Bloom"}) +
                                             digestsOf("12 Pane Burst", "2.0"));
}

TEST_F(Install, KeepsForeignFilesBesideThePack) {
    writeFile(home.category / "Mes essais/Mes essais.motr", "<ozml/>");
    writeFile(home.category / "01 Ink Drop/notes.txt", "à garder");
    writeFile(home.transitions / "Autre pack/T/T.motr", "<ozml/>");
    install();
    EXPECT_EQ(readFile(home.category / "Mes essais/Mes essais.motr"), "<ozml/>");
    EXPECT_EQ(readFile(home.category / "01 Ink Drop/notes.txt"), "à garder");
    EXPECT_EQ(readFile(home.transitions / "Autre pack/T/T.motr"), "<ozml/>");
}

TEST_F(Install, KeepsPermissionsAndLinksOfTheApplication) {
    fs::permissions(product.application / "Contents/Info.plist", fs::perms(0600));
    install();
    EXPECT_EQ(difference(TreeSnapshot::of(product.application), TreeSnapshot::of(home.application)), "");
    EXPECT_EQ(fs::read_symlink(home.application / "Contents/Resources/current.plist"), "orvo-owned.plist");
}

TEST_F(Install, RefusesAFileThatTheUserEdited) {
    install();
    const fs::path file = home.category / "02 Page Fold/02 Page Fold.motr";
    writeFile(file, "edited");
    expectRefusal({"--install"}, "Fichier modifié ou non reconnu, conservé : " + file.string());
}

TEST_F(Install, RefusesAFileThatNoManifestKnows) {
    const fs::path file = home.category / "11 Pane Burst/large.png";
    writeFile(file, "somebody's picture");
    expectRefusal({"--install"}, "Fichier modifié ou non reconnu, conservé : " + file.string());
}

TEST_F(Install, RefusesAnEditedFileThatItWouldOnlyClear) {
    home.fillAsLongUsed();
    const fs::path file = home.category / retiredTransition / "small.png";
    writeFile(file, "edited");
    expectRefusal({"--install", "--only", "02 Page Fold"},
                  "Fichier modifié ou non reconnu, conservé : " + file.string());
}

TEST_F(Install, MovesALinkToTheRightContentsAsideAsALink) {
    const fs::path file = home.category / "11 Pane Burst/large.png";
    const fs::path target = product.templates / "11 Pane Burst/large.png";
    fs::create_directories(file.parent_path());
    fs::create_symlink(target, file);
    const fs::path backup = install();
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(file)));
    EXPECT_EQ(fs::read_symlink(backup / "Templates/11 Pane Burst/large.png"), target);
}

TEST_F(Install, RefusesALinkToNothingInAFilesPath) {
    const fs::path file = home.category / "11 Pane Burst/large.png";
    fs::create_directories(file.parent_path());
    fs::create_symlink("nowhere", file);
    expectRefusal({"--install"}, "Fichier modifié ou non reconnu, conservé : " + file.string());
}

TEST_F(Install, TakesAPayloadWithLinks) {
    const fs::path file = product.templates / "11 Pane Burst/large.png";
    fs::copy_file(file, folder / "picture");
    fs::remove(file);
    fs::create_symlink(folder / "picture", file);
    install();
    EXPECT_EQ(fs::read_symlink(home.category / "11 Pane Burst/large.png"), folder / "picture");
    install();
    EXPECT_EQ(fs::read_symlink(home.category / "11 Pane Burst/large.png"), folder / "picture");
    uninstall();
    EXPECT_FALSE(fs::exists(home.category / "11 Pane Burst"));
    EXPECT_TRUE(fs::exists(folder / "picture"));
}

TEST_F(Install, FollowsLinkedFolders) {
    for (const fs::path& linked : {home.category / "11 Pane Burst", home.category,
                                   home.folder / "Applications", home.folder / "Library"}) {
        const fs::path elsewhere = folder / "elsewhere" / linked.filename();
        fs::create_directories(linked);
        fs::create_directories(elsewhere.parent_path());
        fs::rename(linked, elsewhere);
        fs::create_directory_symlink(elsewhere, linked);
        install();
        product.onToolCall("[ $call = 3 ] && { printf non; exit 1; }; :");
        expectRestored({"--install"}, "non");
        product.onToolCall("");
        uninstall();
        EXPECT_TRUE(fs::is_symlink(linked));
        EXPECT_FALSE(fs::exists(home.application));
        EXPECT_FALSE(fs::exists(home.category / "11 Pane Burst/large.png"));
    }
}

TEST_F(Install, ComparesDigestsWithTheirCase) {
    writeTransition(home.category, "01 Ink Drop", "2.0");
    Digests digests = digestsOf("01 Ink Drop", "2.0");
    for (auto& [path, digest] : digests) {
        for (char& character : digest) {
            character = static_cast<char>(std::toupper(character));
        }
    }
    writeManifest(home.manifest, digests);
    const std::string message = "Fichier modifié ou non reconnu, conservé : " +
                                (home.category / "01 Ink Drop/01 Ink Drop.motr").string();
    expectRefusal({"--install"}, message);
    expectRefusal({"--uninstall"}, message);
}

TEST_F(Install, RefusesAnApplicationThatIsNotThePacks) {
    const std::string message = "Application non reconnue, conservée : " + home.application.string();
    const fs::path list = home.application / "Contents/Resources/orvo-owned.plist";
    const auto refuseBothWays = [&] {
        expectRefusal({"--install"}, message);
        expectRefusal({"--uninstall"}, message);
    };
    writeFile(home.application / "Contents/Info.plist", "no ownership list at all");
    refuseBothWays();
    writeFile(list,
              "<plist version=\"1.0\"><dict><key>owner</key><string>orvo.other</string></dict></plist>");
    refuseBothWays();
    writeFile(list, "<plist version=\"1.0\"><dict><key>name</key><string>x</string></dict></plist>");
    refuseBothWays();
    writeFile(list, "<plist version=\"1.0\"><array><string>orvo.lumopack01</string></array></plist>");
    refuseBothWays();
    writeFile(list, "<plist version=\"1.0\"><dict><key>owner</key><string>orvo.lumopack01</string>"
                    "<key>version</key><integer>2</integer></dict></plist>");
    refuseBothWays();
    fs::remove(list);
    fs::create_directory(list);
    refuseBothWays();
    fs::remove_all(home.application);
    writeFile(home.application, "a file");
    refuseBothWays();
}

TEST_F(Install, ReportsAnOwnershipListThatDoesNotParse) {
    const fs::path list = home.application / "Contents/Resources/orvo-owned.plist";
    writeFile(list, "<plist><dict><key>owner");
    const std::string message =
        "Impossible de lire « " + list.string() + " » : ce n’est pas une liste de propriétés valide.";
    expectRefusal({"--install"}, message);
    expectRefusal({"--uninstall"}, message);
}

} // namespace
