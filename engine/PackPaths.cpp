#include "engine/PackPaths.hpp"

#include "engine/Request.hpp"

#include <utility>

namespace fs = std::filesystem;

namespace engine {

PackPaths::PackPaths(const PackInstaller& installer)
    : home(installer.home), category(transitions / installer.category),
      legacy(transitions / installer.legacyCategory), payloadApplication(installer.payload / applicationName),
      payloadTemplates(installer.payload / "MotionTemplates"), hiddenList(installer.fm.hiddenList(legacy)) {}

std::string PackPaths::inHome(const fs::path& path) const {
    const std::size_t start = home.native().size() + (home.has_relative_path() ? 1 : 0);
    return path.native().substr(start);
}

std::optional<std::string> PackPaths::backupPath(const std::string& path) const {
    for (const auto& [folder, name] : {std::pair(&category, "Templates/"), std::pair(&legacy, "Legacy/")}) {
        const std::string start = inHome(*folder) + "/";
        if (path.starts_with(start) && isTemplateFile(path.substr(start.size()))) {
            return name + path.substr(start.size());
        }
    }
    for (const auto& [file, name] :
         {std::pair(&installedManifest, "manifest.json"), std::pair(&legacyManifest, "legacy-manifest.json"),
          std::pair(&installedApplication, applicationName),
          std::pair(hiddenList ? &*hiddenList : nullptr, "hidden-list")}) {
        if (file && home / path == *file) {
            return name;
        }
    }
    return std::nullopt;
}

} // namespace engine
