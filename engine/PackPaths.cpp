#include "engine/PackPaths.hpp"

#include <algorithm>

namespace fs = std::filesystem;

namespace engine {
namespace {

InstallError refused(const fs::path& place) {
    return InstallError("Lien symbolique refusé, conservé : " + place.string());
}

bool isBelow(const fs::path& place, const fs::path& folder) {
    const auto [rest, end] = std::mismatch(place.begin(), place.end(), folder.begin(), folder.end());
    return end == folder.end() && rest != place.end();
}

} // namespace

PackPaths::PackPaths(const PackInstaller& installer)
    : transitions(installer.home / "Movies/Motion Templates.localized/Transitions.localized"),
      category(transitions / installer.category), legacy(transitions / installer.legacyCategory),
      installedManifest(category / ".orvo-transitions.json"),
      legacyManifest(legacy / ".orvo-lumopack01.json"),
      installedApplication(installer.home / "Applications" / applicationName),
      payloadApplication(installer.payload / applicationName),
      payloadTemplates(installer.payload / "MotionTemplates"),
      support(installer.home / "Library/Application Support/OrvoTransitions"), backups(support / "Backups"),
      journal(support / "journal.jsonl"), roots{installer.home, support,
                                                backups,        installedApplication.parent_path(),
                                                transitions,    category,
                                                legacy} {}

void PackPaths::refuseLinksOut(const PackInstaller& installer, const fs::path& place) const {
    if (!isBelow(place, transitions)) {
        if (installer.relative(place.parent_path(), installer.home) == "<outside>") {
            throw refused(place.parent_path());
        }
        return;
    }
    for (fs::path folder = place.parent_path(); folder != transitions; folder = folder.parent_path()) {
        if (installer.fm.isLink(folder)) {
            throw refused(folder);
        }
    }
}

} // namespace engine
