#include "tests/end-to-end/EndToEnd.hpp"

namespace fs = std::filesystem;

namespace {

using namespace tests;

struct Uninstall : EndToEnd {
    void installTransitionsOnly(const std::vector<std::string>& transitions) {
        putTransitions(home, transitions);
        writeManifest(home.manifest, payloadDigests(transitions));
        putApplication(home);
    }
};

TEST_F(Uninstall, OfEverythingLeavesOnlyTheEmptyCategory) {
    installTransitionsOnly(offeredTransitions);
    const TreeSnapshot application = TreeSnapshot::of(home.application);
    const TreeSnapshot category = TreeSnapshot::of(home.category);
    const fs::path backup = uninstall();

    const Home expected(folder / "expected");
    fs::create_directories(expected.category);
    fs::create_directories(expected.application.parent_path());
    expectSame(home, expected);
    EXPECT_FALSE(fs::exists(home.manifest));
    EXPECT_EQ(difference(application, TreeSnapshot::of(backup / "Orvo Transitions.app")), "");
    EXPECT_EQ(difference(category.without(".orvo-transitions.json"), TreeSnapshot::of(backup / "Templates")),
              "");
    EXPECT_EQ(manifestAt(backup / "manifest.json"), payloadDigests(offeredTransitions));
}

TEST_F(Uninstall, UndoesWhatAnInstallDid) {
    fs::create_directories(home.category);
    fs::create_directories(home.application.parent_path());
    const TreeSnapshot before = home.kept();
    install();
    uninstall();
    EXPECT_EQ(difference(before, home.kept()), "");
}

TEST_F(Uninstall, OfASubsetKeepsTheRestAndTheApplication) {
    installTransitionsOnly(offeredTransitions);
    const fs::path backup = uninstall({"--only", "01 Ink Drop,10 Box Turn"});

    const Home expected(folder / "expected");
    putTransitions(expected, {"02 Page Fold", "09 Dye Bloom", "11 Pane Burst"});
    putApplication(expected);
    expectSame(home, expected);
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"02 Page Fold", "09 Dye Bloom", "11 Pane Burst"}));
    EXPECT_TRUE(fs::exists(backup / "Templates/10 Box Turn/10 Box Turn.motr"));
    EXPECT_FALSE(fs::exists(backup / "Orvo Transitions.app"));
}

TEST_F(Uninstall, OfTheLastSubsetRemovesTheApplication) {
    installTransitionsOnly({"01 Ink Drop", "02 Page Fold"});
    uninstall({"--only", "01 Ink Drop"});
    EXPECT_TRUE(fs::exists(home.application));
    uninstall({"--only", "02 Page Fold"});
    EXPECT_FALSE(fs::exists(home.application));
    EXPECT_FALSE(fs::exists(home.manifest));
}

TEST_F(Uninstall, WithNothingInstalledSucceedsAndChangesNothing) {
    const TreeSnapshot before = home.kept();
    uninstall();
    EXPECT_EQ(difference(before, home.kept()), "");
    EXPECT_TRUE(product.toolCalls().empty());
}

TEST_F(Uninstall, WithNothingInstalledRemovesAnApplicationLeftAlone) {
    putApplication(home);
    uninstall({"--only", "01 Ink Drop"});
    EXPECT_FALSE(fs::exists(home.application));
}

TEST_F(Uninstall, OfATransitionThatIsNotInstalledLeavesTheOthers) {
    installTransitionsOnly({"01 Ink Drop"});
    const TreeSnapshot before = home.comparable();
    uninstall({"--only", "02 Page Fold"});
    EXPECT_EQ(difference(before, home.comparable()), "");
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests({"01 Ink Drop"}));
}

TEST_F(Uninstall, ClearsRetiredTransitionsAndOlderTitles) {
    home.fillAsLongUsed();
    fs::remove_all(home.legacy);
    uninstall({"--only", "09 Dye Bloom"});
    EXPECT_FALSE(fs::exists(home.category / "10 Dye Bloom"));
    EXPECT_FALSE(fs::exists(home.category / retiredTransition / "small.png"));
    EXPECT_EQ(readFile(home.category / retiredTransition / "notes.txt"), "à garder");
    EXPECT_EQ(manifestAt(home.manifest), digestsOf("01 Ink Drop", "2.0") + digestsOf("02 Page Fold", "2.3"));
}

TEST_F(Uninstall, KeepsTheApplicationForAForeignTemplateInTheCategory) {
    installTransitionsOnly(offeredTransitions);
    const fs::path foreign = home.category / "Mes essais/Encore/Essai.motr";
    writeFile(foreign, "<ozml/>");
    const fs::path backup = uninstall();
    EXPECT_EQ(readFile(foreign), "<ozml/>");
    EXPECT_TRUE(fs::exists(home.application));
    EXPECT_FALSE(fs::exists(home.manifest));
    EXPECT_FALSE(fs::exists(backup / "Orvo Transitions.app"));
    EXPECT_TRUE(product.toolCalls().empty());
}

TEST_F(Uninstall, KeepsTheApplicationForATemplateThatNoManifestKnows) {
    installTransitionsOnly({"01 Ink Drop"});
    putTransitions(home, {"02 Page Fold"});
    uninstall();
    EXPECT_TRUE(fs::exists(home.category / "02 Page Fold/02 Page Fold.motr"));
    EXPECT_TRUE(fs::exists(home.application));
}

TEST_F(Uninstall, RemovesTheApplicationBesideForeignFilesThatAreNoTemplates) {
    installTransitionsOnly(offeredTransitions);
    writeFile(home.category / "Mes essais/small.png", "picture");
    writeFile(home.category / "Mes essais/Essai.MOTR", "not that extension");
    writeFile(home.category / "Mes essais/Essai.motr.bak", "not that extension");
    writeFile(home.transitions / "Autre pack/T/T.motr", "<ozml/>");
    uninstall();
    EXPECT_FALSE(fs::exists(home.application));
    EXPECT_TRUE(fs::exists(home.category / "Mes essais/Essai.MOTR"));
}

TEST_F(Uninstall, SkipsFilesThatAreMissing) {
    installTransitionsOnly(offeredTransitions);
    fs::remove_all(home.category / "01 Ink Drop");
    fs::remove(home.category / "02 Page Fold/small.png");
    uninstall();
    EXPECT_TRUE(fs::is_empty(home.category));
}

TEST_F(Uninstall, RefusesAFileThatTheUserEdited) {
    installTransitionsOnly(offeredTransitions);
    const fs::path file = home.category / "02 Page Fold/small.png";
    writeFile(file, "edited");
    expectRefusal({"--uninstall"}, "Fichier modifié ou non reconnu, conservé : " + file.string());
    uninstall({"--only", "01 Ink Drop"});
}

TEST_F(Uninstall, RefusesAFileOfThePayloadsContentsThatTheManifestRecordsDifferently) {
    putTransitions(home, {"01 Ink Drop"});
    writeManifest(home.manifest, digestsOf("01 Ink Drop", "2.0"));
    expectRefusal({"--uninstall"}, "Fichier modifié ou non reconnu, conservé : " +
                                       (home.category / "01 Ink Drop/01 Ink Drop.motr").string());
}

TEST_F(Uninstall, NeedsNothingOfThePayloadButTheCatalogue) {
    installTransitionsOnly(offeredTransitions);
    fs::remove_all(product.templates);
    fs::remove_all(product.application);
    uninstall();
    EXPECT_TRUE(fs::is_empty(home.category));
}

TEST_F(Uninstall, OfAnEarlierEditionGoesByTheManifest) {
    home.fillAsLongUsed();
    fs::remove_all(home.category / "Mes essais");
    uninstall();
    const Home expected(folder / "expected");
    writeFile(expected.category / retiredTransition / "notes.txt", "à garder");
    fs::create_directories(expected.legacy);
    fs::create_directories(expected.application.parent_path());
    writeFile(expected.hiddenList, "Vieux dossier\nAutre\n");
    expectSame(home, expected);
    EXPECT_FALSE(fs::exists(home.manifest));
    EXPECT_FALSE(fs::exists(home.legacyManifest));
}

TEST_F(Uninstall, WinsOverInstallInEitherOrder) {
    for (const Arguments& arguments : {Arguments{"--install", "--uninstall"}, {"--uninstall", "--install"}}) {
        succeed(arguments, uninstalledText);
        EXPECT_FALSE(fs::exists(home.category));
    }
}

} // namespace
