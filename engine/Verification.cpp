#include "engine/Verification.hpp"

#include "platform/Parallel.hpp"

namespace fs = std::filesystem;

namespace engine {
namespace {

bool isAccepted(const std::string& digest, const std::string& path, const std::string& expected,
                const FileTable& known, bool uninstall) {
    const auto recorded = known.find(path);
    if (recorded != known.end() && recorded->second == digest) {
        return true;
    }
    return !uninstall && digest == expected;
}

} // namespace

void verify(const PackInstaller& installer, const fs::path& folder, const FileTable& files,
            const FileTable& known, bool uninstall) {
    platform::forEachInParallel(files, [&](const auto& entry) {
        const auto& [path, expected] = entry;
        const fs::path file = folder / path;
        if (!installer.fm.occupied(file)) {
            return;
        }
        // The pack installs no links: one that stands here is somebody's own, wherever it leads.
        if (installer.fm.isLink(file) ||
            !isAccepted(installer.hash(file), path, expected, known, uninstall)) {
            throw InstallError("Fichier modifié ou non reconnu, conservé : " + file.string());
        }
    });
}

void verifyCopies(const PackInstaller& installer, const fs::path& folder, const FileTable& files,
                  const std::function<bool(const std::string&)>& isCopy) {
    platform::forEachInParallel(files, [&](const auto& file) {
        const auto& [path, expected] = file;
        if (isCopy(path) && installer.hash(folder / path) != expected) {
            throw InstallError("Vérification du template échouée : " + path);
        }
    });
}

} // namespace engine
