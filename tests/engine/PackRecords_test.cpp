#include "engine/PackRecords.hpp"
#include "platform/Error.hpp"
#include "tests/support/Throws.hpp"

#include <gmock/gmock.h>

namespace {

using namespace engine;
using testing::AnyOf;
using testing::Eq;
using tests::messageOf;

std::string catalogError(const std::string& json) {
    return messageOf<platform::Error>([&] { decodeCatalog(json, "/c.json"); });
}

std::string manifestError(const std::string& json) {
    return messageOf<platform::Error>([&] { decodeManifest(json, "/m.json"); });
}

TEST(InstallErrorTest, DescribesItselfByItsMessage) {
    const InstallError error("Sélection de transitions invalide.");
    EXPECT_EQ(error.message, "Sélection de transitions invalide.");
    EXPECT_EQ(error.what(), error.message);
}

TEST(CatalogTest, RequiresNames) {
    EXPECT_EQ(catalogError(R"([{"retired": true}])"),
              "Impossible de lire « /c.json » : la clé « name » manque.");
    EXPECT_EQ(catalogError(R"([{"name": 1}])"),
              "Impossible de lire « /c.json » : la valeur de « name » n’est pas un texte.");
    EXPECT_EQ(catalogError(R"(["A"])"), "Impossible de lire « /c.json » : un objet JSON est attendu.");
}

TEST(CatalogTest, RequiresRetiredToBeABoolean) {
    EXPECT_EQ(catalogError(R"([{"name": "A", "retired": 1}])"),
              "Impossible de lire « /c.json » : la valeur de « retired » n’est ni vraie ni fausse.");
}

TEST(CatalogTest, SaysWhereItIsNotJson) {
    EXPECT_EQ(catalogError("[\n {\"name\": }]"),
              "Impossible de lire « /c.json » : ce n’est pas du JSON valide (ligne 2, colonne 11).");
    EXPECT_EQ(catalogError(""),
              "Impossible de lire « /c.json » : ce n’est pas du JSON valide (ligne 1, colonne 1).");
}

TEST(ManifestTest, RequiresItsKeysWithTheirTypes) {
    EXPECT_EQ(manifestError(R"({"files": {}})"), "Impossible de lire « /m.json » : la clé « owner » manque.");
    EXPECT_EQ(manifestError(R"({"owner": "x"})"),
              "Impossible de lire « /m.json » : la clé « files » manque.");
    EXPECT_EQ(manifestError(R"({"owner": null, "files": {}})"),
              "Impossible de lire « /m.json » : la valeur de « owner » n’est pas un texte.");
    EXPECT_EQ(manifestError(R"({"owner": "x", "files": []})"),
              "Impossible de lire « /m.json » : la valeur de « files » n’est pas un objet.");
    EXPECT_EQ(manifestError(R"({"owner": "x", "files": {"a": 1}})"),
              "Impossible de lire « /m.json » : la valeur de « a » n’est pas un texte.");
    EXPECT_EQ(manifestError("[]"), "Impossible de lire « /m.json » : un objet JSON est attendu.");
}

TEST(ManifestTest, WritesCompactJsonWithEscapedSolidus) {
    EXPECT_THAT(encodeManifest({"orvo.lumopack01", {{"A/A.motr", "00"}}}),
                AnyOf(Eq(R"({"files":{"A\/A.motr":"00"},"owner":"orvo.lumopack01"})"),
                      Eq(R"({"owner":"orvo.lumopack01","files":{"A\/A.motr":"00"}})")));
}

TEST(ManifestTest, ReadsWhatItWrites) {
    const Manifest manifest{"orvo.lumopack01", {{"é \"\\\n—/x.motr", "00"}, {"b/small.png", "11"}}};
    EXPECT_EQ(decodeManifest(encodeManifest(manifest), "m.json"), manifest);
}

} // namespace
