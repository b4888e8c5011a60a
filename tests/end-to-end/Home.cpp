#include "tests/end-to-end/Home.hpp"

#include "platform/Digest.hpp"
#include "tests/end-to-end/Product.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace fs = std::filesystem;

namespace tests {
namespace {

constexpr const char* supportPath = "Library/Application Support/OrvoTransitions";
constexpr const char* categoryName = "Orvo Transitions";
constexpr const char* legacyName = "Orvo Transitions — Lumo Pack 01";

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    if (fs::exists(folder)) {
        for (const auto& item : fs::directory_iterator(folder)) {
            names.insert(item.path().filename().string());
        }
    }
    return names;
}

std::string markedTemplate(const std::string& transition) {
    std::string text = templateText(transition, "1.0");
    return text.replace(text.find("    <build>"), 0,
                        "    <template>\n        <flags>3</flags>\n    </template>\n");
}

} // namespace

std::string digestOf(const std::string& contents) {
    platform::Sha256 digest;
    digest.update(contents);
    return platform::hexadecimal(digest.finish());
}

Digests digestsOf(const std::string& transition, const std::string& edition) {
    return {{transition + "/" + transition + ".motr", digestOf(templateText(transition, edition))},
            {transition + "/small.png", digestOf(thumbnailText(transition, "small", edition))},
            {transition + "/large.png", digestOf(thumbnailText(transition, "large", edition))}};
}

Digests operator+(Digests left, const Digests& right) {
    left.insert(right.begin(), right.end());
    return left;
}

Home::Home(const fs::path& path)
    : folder(path), transitions(path / "Movies/Motion Templates.localized/Transitions.localized"),
      category(transitions / categoryName), legacy(transitions / legacyName),
      manifest(category / ".orvo-transitions.json"), legacyManifest(legacy / ".orvo-lumopack01.json"),
      application(path / "Applications/Orvo Transitions.app"), support(path / supportPath),
      backups(support / "Backups"), journal(support / "journal.jsonl"), hiddenList(transitions / ".hidden") {
    writeFile(folder / "Documents/lettre.txt", "Chère Odile,\n");
    writeFile(folder / "Movies/vacances.mov", "film");
    fs::create_directories(support.parent_path());
    dateLongAgo(folder);
}

TreeSnapshot Home::everything() const {
    return TreeSnapshot::of(folder);
}

TreeSnapshot Home::kept() const {
    return everything().without(supportPath);
}

TreeSnapshot Home::comparable() const {
    return kept()
        .without(manifest.lexically_relative(folder).string())
        .without(legacyManifest.lexically_relative(folder).string())
        .undated();
}

std::set<std::string> Home::backupNames() const {
    return namesIn(backups);
}

std::set<std::string> Home::supportNames() const {
    return namesIn(support);
}

void Home::fillAsLongUsed() const {
    writeTransition(category, "01 Ink Drop", "2.0");
    writeTransition(category, "02 Page Fold", "2.3");
    writeTransition(category, retiredTransition, "2.0");
    writeTransition(category, "10 Dye Bloom", "2.0");
    writeManifest(manifest, digestsOf("01 Ink Drop", "2.0") + digestsOf("02 Page Fold", "2.3") +
                                digestsOf(retiredTransition, "2.0") + digestsOf("10 Dye Bloom", "2.0"));
    writeFile(category / "Mes essais/Mes essais.motr", "<ozml/>");
    writeFile(category / retiredTransition / "notes.txt", "à garder");
    writeApplication(application, "2.0");

    Digests older;
    for (const char* transition : {"10 Dye Bloom", "11 Box Turn", "12 Pane Burst"}) {
        writeTransition(legacy, transition, "1.0");
        older = older + digestsOf(transition, "1.0");
    }
    writeFile(legacy / "11 Box Turn/11 Box Turn.motr", markedTemplate("11 Box Turn"));
    older["11 Box Turn/11 Box Turn.motr"] = digestOf(markedTemplate("11 Box Turn"));
    writeManifest(legacyManifest, older);
    writeFile(hiddenList,
              "Vieux dossier\n" + std::string(legacyName) + "\nAutre"); // no end of line at the end
    fs::permissions(category / "01 Ink Drop", fs::perms(0750));
    fs::permissions(category / "10 Dye Bloom", fs::perms(0700)); // a run empties and removes this one
    dateLongAgo(folder);
}

Digests manifestAt(const fs::path& file) {
    const auto json = nlohmann::json::parse(readFile(file));
    EXPECT_EQ(json.at("owner"), "orvo.lumopack01");
    return json.at("files").get<Digests>();
}

void writeManifest(const fs::path& file, const Digests& digests, const std::string& owner) {
    writeFile(file, nlohmann::json{{"files", digests}, {"owner", owner}}.dump(2));
    dateLongAgo(file);
}

} // namespace tests
