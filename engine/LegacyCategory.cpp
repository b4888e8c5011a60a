#include "engine/LegacyCategory.hpp"

#include "engine/TemplateMark.hpp"
#include "engine/Verification.hpp"

#include <utility>

namespace fs = std::filesystem;

namespace engine {
namespace {

FileTable filesToRemove(const Manifest& manifest, bool uninstall,
                        const std::function<bool(const std::string&)>& selected) {
    FileTable removed;
    for (const auto& [path, digest] : manifest.files) {
        if (uninstall && selected(path)) {
            removed.emplace(path, digest);
        }
    }
    return removed;
}

std::map<std::string, std::string> templatesToMark(const PackInstaller& installer, const fs::path& folder,
                                                   const Manifest& manifest) {
    std::map<std::string, std::string> marked;
    for (const auto& [path, digest] : manifest.files) {
        const fs::path file = folder / path;
        if (!path.ends_with(".motr") || !installer.exists(file)) {
            continue;
        }
        const std::string bytes = installer.fm.read(file);
        std::string markedBytes = deprecated(bytes, file);
        if (markedBytes != bytes) {
            marked.emplace(path, std::move(markedBytes));
        }
    }
    return marked;
}

FileTable touchedFiles(const LegacyPlan& plan, const Manifest& manifest) {
    FileTable touched = plan.removed;
    for (const auto& [path, bytes] : plan.marked) {
        touched.emplace(path, manifest.files.at(path));
    }
    return touched;
}

void refuseUnknownTemplates(const PackInstaller& installer, const fs::path& folder,
                            const Manifest& manifest) {
    installer.fm.enumerate(folder, [&](const fs::path& item, bool isFolder) {
        if (!isFolder && item.extension() == ".motr" &&
            !manifest.files.contains(installer.relative(item, folder))) {
            throw InstallError("La catégorie historique contient une transition inconnue : " + item.string() +
                               ". Migration interrompue pour la préserver.");
        }
    });
}

} // namespace

LegacyPlan planLegacy(const PackInstaller& installer, const PackPaths& paths, const Manifest& manifest,
                      bool uninstall, const std::function<bool(const std::string&)>& selected) {
    LegacyPlan plan{filesToRemove(manifest, uninstall, selected), {}};
    if (!uninstall) {
        plan.marked = templatesToMark(installer, paths.legacy, manifest);
    }
    verify(installer, paths.legacy, touchedFiles(plan, manifest), manifest.files, uninstall);
    refuseUnknownTemplates(installer, paths.legacy, manifest);
    return plan;
}

} // namespace engine
