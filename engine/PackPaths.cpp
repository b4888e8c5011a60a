#include "engine/PackPaths.hpp"

#include "engine/PackTitles.hpp"

namespace fs = std::filesystem;

namespace engine {

PackPaths::PackPaths(const PackInstaller& installer)
    : home(installer.home), transitions(home / "Movies/Motion Templates.localized/Transitions.localized"),
      category(transitions / installer.category), legacy(transitions / installer.legacyCategory),
      installedManifest(category / ".orvo-transitions.json"),
      legacyManifest(legacy / ".orvo-lumopack01.json"),
      installedApplication(home / "Applications" / applicationName),
      payloadApplication(installer.payload / applicationName),
      payloadTemplates(installer.payload / "MotionTemplates"),
      support(home / "Library/Application Support/OrvoTransitions"), backups(support / "Backups"),
      journal(support / "journal.jsonl"), hiddenList(installer.fm.hiddenList(legacy)) {}

std::string PackPaths::inHome(const fs::path& path) const {
    const std::size_t start = home.native().size() + (home.has_relative_path() ? 1 : 0);
    return path.native().substr(start);
}

std::optional<std::string> PackPaths::backupPath(const std::string& path) const {
    const fs::path item = home / path;
    if (item == installedManifest) {
        return "manifest.json";
    }
    if (item == legacyManifest) {
        return "legacy-manifest.json";
    }
    if (item == installedApplication) {
        return applicationName;
    }
    if (item == hiddenList) {
        return "hidden-list";
    }
    const std::string categoryPath = inHome(category) + "/";
    if (path.starts_with(categoryPath) && isTemplateFile(path.substr(categoryPath.size()))) {
        return "Templates/" + path.substr(categoryPath.size());
    }
    const std::string legacyPath = inHome(legacy) + "/";
    if (path.starts_with(legacyPath) && isTemplateFile(path.substr(legacyPath.size()))) {
        return "Legacy/" + path.substr(legacyPath.size());
    }
    return std::nullopt;
}

} // namespace engine
