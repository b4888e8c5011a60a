#include "tests/end-to-end/EndToEnd.hpp"

namespace fs = std::filesystem;

namespace {

using namespace tests;

/// Each kind of bad input, on a home with much in it, refused in both directions where both read it.
struct BadInput : EndToEnd {
    BadInput() { home.fillAsLongUsed(); }

    void refuseBothWays(const std::string& message) const {
        expectRefusal({"--install"}, message);
        expectRefusal({"--uninstall"}, message);
    }

    /// The text for a file that cannot be used.
    static std::string cannotRead(const fs::path& file, const std::string& reason) {
        return "Impossible de lire « " + file.string() + " » : " + reason + ".";
    }

    void refuseCatalog(const std::string& contents, const std::string& reason) const {
        writeFile(product.catalog, contents);
        refuseBothWays(cannotRead(product.catalog, reason));
    }

    void refuseManifests(const std::string& contents, const std::string& reason) const {
        for (const fs::path& file : {home.manifest, home.legacyManifest}) {
            const std::string good = readFile(file);
            writeFile(file, contents);
            refuseBothWays(cannotRead(file, reason));
            writeFile(file, good);
        }
    }
};

TEST_F(BadInput, NoPayload) {
    fs::remove_all(product.payload);
    refuseBothWays(cannotRead(product.catalog, "ce fichier ou ce dossier n’existe pas"));
}

TEST_F(BadInput, NoCatalogue) {
    fs::remove(product.catalog);
    refuseBothWays(cannotRead(product.catalog, "ce fichier ou ce dossier n’existe pas"));
}

TEST_F(BadInput, CatalogueThatIsAFolder) {
    fs::remove(product.catalog);
    fs::create_directory(product.catalog);
    refuseBothWays(cannotRead(product.catalog, "c’est un dossier"));
}

TEST_F(BadInput, CatalogueThatIsNotJson) {
    refuseCatalog("[\n  {\"name\": }\n]", "ce n’est pas du JSON valide (ligne 2, colonne 12)");
}

TEST_F(BadInput, CatalogueThatIsEmpty) {
    refuseCatalog("", "ce n’est pas du JSON valide (ligne 1, colonne 1)");
}

TEST_F(BadInput, CatalogueThatIsNoArray) {
    refuseCatalog("{\"name\": \"01 Ink Drop\"}", "un tableau JSON est attendu");
}

TEST_F(BadInput, CatalogueEntryThatIsNoObject) {
    refuseCatalog("[\"01 Ink Drop\"]", "un objet JSON est attendu");
}

TEST_F(BadInput, CatalogueEntryWithoutName) {
    refuseCatalog("[{\"retired\": true}]", "la clé « name » manque");
}

TEST_F(BadInput, CatalogueEntryWhoseNameIsNoText) {
    refuseCatalog("[{\"name\": null}]", "la valeur de « name » n’est pas un texte");
}

TEST_F(BadInput, RetiredThatIsANumber) {
    refuseCatalog("[{\"name\": \"01 Ink Drop\", \"retired\": 1}]",
                  "la valeur de « retired » n’est ni vraie ni fausse");
}

TEST_F(BadInput, CatalogueWithoutAnythingOffered) {
    writeFile(product.catalog, "[]");
    refuseBothWays("Sélection de transitions invalide.");
    writeFile(product.catalog, R"([{"name": "01 Ink Drop", "retired": true}])");
    refuseBothWays("Sélection de transitions invalide.");
}

TEST_F(BadInput, CatalogueNameThatClimbsOut) {
    for (const char* name : {"..", "../x", "a/b", ""}) {
        writeFile(product.catalog, R"([{"name": ")" + std::string(name) + R"("}])");
        refuseBothWays("Le catalogue contient un nom de transition invalide : « " + std::string(name) + " »");
    }
}

TEST_F(BadInput, ManifestOfAnotherOwner) {
    for (const fs::path& file : {home.manifest, home.legacyManifest}) {
        const std::string good = readFile(file);
        writeManifest(file, {}, "orvo.otherpack");
        refuseBothWays("Manifeste inconnu : " + file.string());
        writeFile(file, good);
    }
}

TEST_F(BadInput, ManifestOfAnotherOwnerBeforeAnOlderOneThatCannotBeRead) {
    writeManifest(home.manifest, {}, "orvo.otherpack");
    writeFile(home.legacyManifest, "{");
    refuseBothWays("Manifeste inconnu : " + home.manifest.string());
}

TEST_F(BadInput, ManifestWithoutOwner) {
    refuseManifests("{\"files\": {}}", "la clé « owner » manque");
}

TEST_F(BadInput, ManifestWithoutFiles) {
    refuseManifests("{\"owner\": \"orvo.lumopack01\"}", "la clé « files » manque");
}

TEST_F(BadInput, ManifestWhoseFilesAreAnArray) {
    refuseManifests("{\"owner\": \"orvo.lumopack01\", \"files\": []}",
                    "la valeur de « files » n’est pas un objet");
}

TEST_F(BadInput, ManifestWhoseDigestIsANumber) {
    refuseManifests("{\"owner\": \"orvo.lumopack01\", \"files\": {\"01 Ink Drop/small.png\": 1}}",
                    "la valeur de « 01 Ink Drop/small.png » n’est pas un texte");
}

TEST_F(BadInput, ManifestThatIsTruncated) {
    refuseManifests("{\"owner\":\"orvo.lum", "ce n’est pas du JSON valide (ligne 1, colonne 19)");
}

TEST_F(BadInput, ManifestWithPathsThatAreNotThePacks) {
    const std::string digest = digestOf("");
    for (const char* path :
         {"../01 Ink Drop/small.png", "01 Ink Drop/../../01 Ink Drop/small.png", "/etc/passwd", "small.png",
          "", "01 Ink Drop", "01 Ink Drop/", "01 Ink Drop/01 Ink Drop.motr/", "01 Ink Drop//small.png",
          "01 ink drop/small.png", "01 Ink Drop/02 Page Fold.motr", "09 Pane Burst/small.png",
          "01 Ink Drop/notes.txt"}) {
        for (const fs::path& file : {home.manifest, home.legacyManifest}) {
            const std::string good = readFile(file);
            writeManifest(file, {{path, digest}});
            expectRefusal({"--install"}, "Chemins du manifeste invalides.");
            writeFile(file, good);
        }
    }
    writeManifest(home.manifest, {{"../x", digest}});
    expectRefusal({"--uninstall"}, "Chemins du manifeste invalides.");
}

TEST_F(BadInput, PayloadWithoutOneThumbnail) {
    const fs::path file = product.templates / "10 Box Turn/large.png";
    fs::remove(file);
    expectRefusal({"--install"}, cannotRead(file, "ce fichier ou ce dossier n’existe pas"));
    install({"--only", "01 Ink Drop"}, 1);
}

TEST_F(BadInput, PayloadWithAFolderInAFilesPlace) {
    const fs::path file = product.templates / "10 Box Turn/large.png";
    fs::remove(file);
    fs::create_directory(file);
    expectRefusal({"--install"}, cannotRead(file, "c’est un dossier"));
}

TEST_F(BadInput, PayloadWithoutTheApplication) {
    fs::remove_all(product.application);
    expectRestored({"--install"}, cannotRead(product.application, "ce fichier ou ce dossier n’existe pas"));
}

TEST_F(BadInput, EmptySelection) {
    for (const char* list : {"", ",", ",,,"}) {
        expectRefusal({"--install", "--only", list}, "Sélection de transitions invalide.");
        expectRefusal({"--uninstall", "--only", list}, "Sélection de transitions invalide.");
    }
}

TEST_F(BadInput, UnknownSelection) {
    for (const char* list : {"03 Inconnue", "01 Ink Drop,03 Inconnue", "01 ink drop",
                             "01 Ink Drop, 02 Page Fold", "08 Lost Glow", "10 Dye Bloom", "01 Ink Drop/"}) {
        expectRefusal({"--install", "--only", list}, "Sélection de transitions invalide.");
        expectRefusal({"--uninstall", "--only", list}, "Sélection de transitions invalide.");
    }
}

TEST_F(BadInput, IsReportedInTheOrderOfTheChecks) {
    writeManifest(home.manifest, {{"../x", ""}}, "orvo.otherpack");
    product.onToolCall("printf 'mal signée'; exit 1");
    expectRefusal({"--install", "--only", "?"}, "Sélection de transitions invalide.");
    expectRefusal({"--install"}, "Manifeste inconnu : " + home.manifest.string());
    writeManifest(home.manifest, {{"../x", ""}});
    expectRefusal({"--install"}, "Chemins du manifeste invalides.");
    writeManifest(home.manifest, digestsOf("01 Ink Drop", "2.1"));
    fs::remove(home.application / "Contents/Resources/orvo-owned.plist");
    writeFile(home.legacy / "x.motr", "<ozml/>");
    expectRefusal({"--install"}, "mal signée");
    product.onToolCall("");
    expectRefusal({"--install"}, "Application non reconnue, conservée : " + home.application.string());
    fs::remove_all(home.application);
    expectRefusal({"--install"}, "Fichier modifié ou non reconnu, conservé : " +
                                     (home.category / "01 Ink Drop/01 Ink Drop.motr").string());
    fs::remove_all(home.category / "01 Ink Drop");
    expectRefusal({"--install"}, "La catégorie historique contient une transition inconnue : " +
                                     (home.legacy / "x.motr").string() +
                                     ". Migration interrompue pour la préserver.");
}

} // namespace
