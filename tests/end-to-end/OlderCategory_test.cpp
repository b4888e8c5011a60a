#include "tests/end-to-end/EndToEnd.hpp"

namespace fs = std::filesystem;

namespace {

using namespace tests;

/// The older pack's category lies beside this pack's.
struct OlderCategory : EndToEnd {
    const std::vector<std::string> olderTransitions{"10 Dye Bloom", "11 Box Turn", "12 Pane Burst"};

    OlderCategory() {
        Digests digests;
        for (const std::string& transition : olderTransitions) {
            writeTransition(home.legacy, transition, "1.0");
            digests = digests + digestsOf(transition, "1.0");
        }
        writeManifest(home.legacyManifest, digests);
    }

    fs::path templateOf(const std::string& transition) const {
        return home.legacy / transition / (transition + ".motr");
    }
};

TEST_F(OlderCategory, IsKeptAndMarkedByAnInstall) {
    const TreeSnapshot before = TreeSnapshot::of(home.legacy);
    const Digests digests = manifestAt(home.legacyManifest);
    const fs::path backup = install({"--only", "01 Ink Drop"}, 1);

    const TreeSnapshot after = TreeSnapshot::of(home.legacy);
    Digests expectedDigests = digests;
    for (const std::string& transition : olderTransitions) {
        const std::string text = readFile(templateOf(transition));
        EXPECT_NE(text.find("<flags>2</flags>"), std::string::npos) << text;
        EXPECT_LT(text.find("<template>"), text.find("<build>")) << text;
        EXPECT_NE(text.find("<!DOCTYPE ozxmlscene>"), std::string::npos) << text;
        EXPECT_NE(text.find("<edition>1.0</edition>"), std::string::npos) << text;
        const std::string path = templateOf(transition).lexically_relative(home.legacy).string();
        expectedDigests[path] = digestOf(text);
        EXPECT_EQ(readFile(backup / "Legacy" / path), templateText(transition, "1.0"));
        for (const char* picture : {"/small.png", "/large.png"}) {
            EXPECT_EQ(after.items.at(transition + picture), before.items.at(transition + picture));
        }
    }
    EXPECT_EQ(after.items.size(), before.items.size());
    EXPECT_EQ(manifestAt(home.legacyManifest), expectedDigests);
    EXPECT_EQ(manifestAt(backup / "legacy-manifest.json"), digests);
}

TEST_F(OlderCategory, IsNotMarkedTwice) {
    install();
    const TreeSnapshot marked = TreeSnapshot::of(home.legacy).without(".orvo-lumopack01.json");
    const Digests digests = manifestAt(home.legacyManifest);
    const fs::path backup = install();
    EXPECT_EQ(difference(marked, TreeSnapshot::of(home.legacy).without(".orvo-lumopack01.json")), "");
    EXPECT_EQ(manifestAt(home.legacyManifest), digests);
    EXPECT_FALSE(fs::exists(backup / "Legacy"));
}

TEST_F(OlderCategory, MayHoldAVeryLargeTemplate) {
    const std::string path = "11 Box Turn/11 Box Turn.motr";
    std::string pixels;
    pixels.resize(50'000'000, 'A');
    const std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE ozxmlscene>\n"
                             "<ozml><template><flags>1</flags></template><build></build><data>" +
                             pixels + "</data></ozml>\n";
    writeFile(home.legacy / path, text);
    Digests digests = manifestAt(home.legacyManifest);
    digests[path] = digestOf(text);
    writeManifest(home.legacyManifest, digests);
    const fs::path backup = install();
    const std::string marked = readFile(home.legacy / path);
    EXPECT_NE(marked.find("<flags>3</flags>"), std::string::npos);
    EXPECT_NE(marked.find("<data>" + pixels + "</data>"), std::string::npos);
    EXPECT_EQ(manifestAt(home.legacyManifest).at(path), digestOf(marked));
    EXPECT_TRUE(readFile(backup / "Legacy" / path) == text);
}

TEST_F(OlderCategory, LosesTheFilesOfTheSelectionByAnUninstall) {
    install();
    const fs::path backup = uninstall({"--only", "10 Box Turn"});
    EXPECT_FALSE(fs::exists(home.legacy / "11 Box Turn"));
    EXPECT_TRUE(fs::exists(backup / "Legacy/11 Box Turn/small.png"));
    EXPECT_TRUE(fs::exists(templateOf("10 Dye Bloom")));
    EXPECT_TRUE(fs::exists(templateOf("12 Pane Burst")));
    EXPECT_FALSE(manifestAt(home.legacyManifest).contains("11 Box Turn/11 Box Turn.motr"));
    EXPECT_EQ(manifestAt(home.legacyManifest).size(), 6U);
    EXPECT_TRUE(fs::exists(home.application));
}

TEST_F(OlderCategory, LosesEverythingByAFullUninstall) {
    install();
    uninstall();
    EXPECT_TRUE(fs::is_empty(home.legacy));
    EXPECT_TRUE(fs::is_empty(home.category));
    EXPECT_FALSE(fs::exists(home.application));
}

TEST_F(OlderCategory, KeepsTheApplicationAsLongAsItListsAFile) {
    putApplication(home);
    uninstall({"--only", "09 Dye Bloom,10 Box Turn"});
    EXPECT_TRUE(fs::exists(home.application));
    uninstall({"--only", "11 Pane Burst"});
    EXPECT_FALSE(fs::exists(home.application));
}

TEST_F(OlderCategory, LosesNothingByAnUninstallOfOtherTransitions) {
    const TreeSnapshot before = TreeSnapshot::of(home.legacy).without(".orvo-lumopack01.json");
    uninstall({"--only", "01 Ink Drop"});
    EXPECT_EQ(difference(before, TreeSnapshot::of(home.legacy).without(".orvo-lumopack01.json")), "");
}

TEST_F(OlderCategory, KeepsEvenRetiredTransitionsThroughAnInstallAndLosesThemByAnyUninstall) {
    writeTransition(home.legacy, retiredTransition, "1.0");
    writeManifest(home.legacyManifest, manifestAt(home.legacyManifest) + digestsOf(retiredTransition, "1.0"));
    install();
    EXPECT_TRUE(fs::exists(templateOf(retiredTransition)));
    uninstall({"--only", "01 Ink Drop"});
    EXPECT_FALSE(fs::exists(home.legacy / retiredTransition));
    EXPECT_TRUE(fs::exists(templateOf("10 Dye Bloom")));
}

TEST_F(OlderCategory, StopsEverythingForATemplateThatItsManifestDoesNotKnow) {
    const fs::path unknown = home.legacy / "Mes essais/Essai.motr";
    writeFile(unknown, "<ozml/>");
    const std::string message =
        "La catégorie historique contient une transition inconnue : " + unknown.string() +
        ". Migration interrompue pour la préserver.";
    expectRefusal({"--install"}, message);
    expectRefusal({"--uninstall"}, message);
}

TEST_F(OlderCategory, StopsEverythingForATemplateWithoutAnyManifest) {
    fs::remove_all(home.legacy);
    const fs::path unknown = home.legacy / "10 Dye Bloom/10 Dye Bloom.motr";
    writeFile(unknown, "<ozml/>");
    expectRefusal({"--install"}, "La catégorie historique contient une transition inconnue : " +
                                     unknown.string() + ". Migration interrompue pour la préserver.");
}

TEST_F(OlderCategory, StopsEverythingForATemplateThatIsALinkToItself) {
    const fs::path unknown = home.legacy / "x.motr";
    fs::create_symlink(unknown, unknown);
    const std::string message =
        "La catégorie historique contient une transition inconnue : " + unknown.string() +
        ". Migration interrompue pour la préserver.";
    expectRefusal({"--install"}, message);
    expectRefusal({"--uninstall"}, message);
}

TEST_F(OlderCategory, MayHoldStrayFilesThatAreNoTemplates) {
    const fs::path stray = home.legacy / "Mes essais/small.png";
    writeFile(stray, "picture");
    fs::create_directories(home.legacy / "dossier.motr");
    install();
    uninstall();
    EXPECT_EQ(readFile(stray), "picture");
    EXPECT_TRUE(fs::exists(home.legacy / "dossier.motr"));
}

TEST_F(OlderCategory, MayLackFilesThatItsManifestLists) {
    fs::remove_all(home.legacy / "11 Box Turn");
    install();
    EXPECT_FALSE(fs::exists(home.legacy / "11 Box Turn"));
    EXPECT_EQ(manifestAt(home.legacyManifest).size(), 9U);
    uninstall();
    EXPECT_FALSE(fs::exists(home.legacyManifest));
}

TEST_F(OlderCategory, IsKeptWhenATemplateWasEdited) {
    const fs::path file = templateOf("12 Pane Burst");
    writeFile(file, templateText("12 Pane Burst", "edited"));
    const std::string message = "Fichier modifié ou non reconnu, conservé : " + file.string();
    expectRefusal({"--install"}, message);
    expectRefusal({"--uninstall"}, message);
}

TEST_F(OlderCategory, IsMarkedBesideAThumbnailThatWasEdited) {
    const fs::path file = home.legacy / "12 Pane Burst/small.png";
    writeFile(file, "edited");
    install();
    EXPECT_EQ(readFile(file), "edited");
    expectRefusal({"--uninstall"}, "Fichier modifié ou non reconnu, conservé : " + file.string());
}

TEST_F(OlderCategory, IsKeptWhenATemplateCannotBeRead) {
    const fs::path file = templateOf("10 Dye Bloom");
    for (const char* contents : {"", "no XML", "<ozml>"}) {
        writeFile(file, contents);
        const TreeSnapshot before = home.everything();
        const Outcome outcome = run({"--install"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_TRUE(outcome.error.starts_with("Impossible de lire « " + file.string() + " » : "))
            << outcome.error;
        EXPECT_EQ(difference(before, home.everything()), "");
    }
}

TEST_F(OlderCategory, IsMadeVisibleByAnInstallAndByAnUninstall) {
    const std::string name = home.legacy.filename().string();
    for (const char* direction : {"--install", "--uninstall"}) {
        writeFile(home.hiddenList, "Vieux dossier\n" + name + "\nAutre\n");
        EXPECT_EQ(run({direction}).status, 0);
        EXPECT_EQ(readFile(home.hiddenList), "Vieux dossier\nAutre\n");
    }
}

TEST_F(OlderCategory, LeavesNoEmptyListOfHiddenItems) {
    writeFile(home.hiddenList, home.legacy.filename().string() + "\n");
    install();
    EXPECT_FALSE(fs::exists(home.hiddenList));
}

TEST_F(OlderCategory, LeavesTheListOfHiddenItemsAloneWhenItIsVisible) {
    writeFile(home.hiddenList, "Vieux dossier");
    dateLongAgo(home.hiddenList);
    const TreeSnapshot before = home.everything();
    install();
    EXPECT_EQ(home.everything().items.at(home.hiddenList.lexically_relative(home.folder).string()),
              before.items.at(home.hiddenList.lexically_relative(home.folder).string()));
}

TEST_F(OlderCategory, IsHiddenAgainByTheRecovery) {
    writeFile(home.hiddenList,
              "Vieux dossier\n" + home.legacy.filename().string() + "\nAutre"); // byte for byte
    dateLongAgo(home.hiddenList);
    putApplication(home);
    product.onToolCall("[ $call = 2 ] && { echo non >&2; exit 1; }; exit 0");
    expectRestored({"--install"}, "non\n");
    product.onToolCall("printf non; exit 1");
    expectRestored({"--uninstall"}, "non");
}

TEST_F(OlderCategory, StaysVisibleAfterTheRecovery) {
    product.onToolCall("[ $call = 2 ] && { echo non >&2; exit 1; }; exit 0");
    expectRestored({"--install"}, "non\n");
    EXPECT_FALSE(fs::exists(home.hiddenList));
}

TEST_F(OlderCategory, KnowsItsTemplatesHoweverTheDiskSpellsTheirAccents) {
    const std::string composed = "12 Fondu encha\u00EEn\u00E9";
    const std::string decomposed = "12 Fondu enchai\u0302ne\u0301";
    writeFile(product.catalog, R"([{"name":"01 Ink Drop"},{"name":")" + composed + R"(","retired":true}])");
    fs::remove_all(home.legacy);
    writeTransition(home.legacy, decomposed, "1.0");
    Digests digests;
    for (const auto& [path, digest] : digestsOf(decomposed, "1.0")) {
        std::string listed = path;
        for (std::size_t at = 0; (at = listed.find(decomposed, at)) != std::string::npos; ++at) {
            listed.replace(at, decomposed.size(), composed);
        }
        digests[listed] = digest;
    }
    writeManifest(home.legacyManifest, digests);
    const Outcome outcome = run({"--install"});
    EXPECT_EQ(outcome.error.find("inconnue"), std::string::npos) << outcome.error;
}

} // namespace
