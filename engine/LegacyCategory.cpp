#include "engine/LegacyCategory.hpp"

#include "engine/ItemDigest.hpp"
#include "engine/TemplateMark.hpp"
#include "platform/Unicode.hpp"

#include <set>

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr std::uint64_t largestTemplate = std::uint64_t{1} << 30;

FileTable filesToRemove(const Manifest& manifest, const Request& request) {
    FileTable removed;
    for (const auto& [path, digest] : manifest.files) {
        if (request.selected(path)) {
            removed.emplace(path, digest);
        }
    }
    return removed;
}

/// What the new bytes are is kept by their digest alone: templates can be large.
FileTable templatesToMark(const PackInstaller& installer, const fs::path& folder, const Manifest& manifest) {
    FileTable marked;
    for (const auto& [path, digest] : manifest.files) {
        const fs::path file = folder / path;
        if (!path.ends_with(".motr") || !installer.exists(file)) {
            continue;
        }
        const std::string bytes = installer.fm.read(file, largestTemplate);
        if (const std::string markedBytes = deprecated(bytes, file); markedBytes != bytes) {
            marked.emplace(path, textDigest(markedBytes));
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
    std::set<std::string> known;
    for (const auto& [path, digest] : manifest.files) {
        known.insert(platform::composed(path));
    }
    installer.fm.enumerate(folder, [&](const fs::path& item, const platform::ItemStatus& status) {
        if (status.kind != platform::ItemStatus::Kind::folder && item.extension() == ".motr" &&
            !known.contains(platform::composed(installer.relative(item, folder)))) {
            throw InstallError("La catégorie historique contient une transition inconnue : " + item.string() +
                               ". Migration interrompue pour la préserver.");
        }
    });
}

} // namespace

std::string markedTemplate(const PackInstaller& installer, const fs::path& file) {
    return deprecated(installer.fm.read(file, largestTemplate), file);
}

LegacyPlan planLegacy(const PackInstaller& installer, const PackPaths& paths, const Manifest& manifest,
                      const Request& request) {
    LegacyPlan plan;
    if (request.uninstall) {
        plan.removed = filesToRemove(manifest, request);
    } else {
        plan.marked = templatesToMark(installer, paths.legacy, manifest);
    }
    plan.found =
        verify(installer, paths.legacy, touchedFiles(plan, manifest), manifest.files, request.uninstall);
    refuseUnknownTemplates(installer, paths.legacy, manifest);
    return plan;
}

} // namespace engine
