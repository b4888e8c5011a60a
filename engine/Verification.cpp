#include "engine/Verification.hpp"

#include "engine/ItemDigest.hpp"
#include "platform/Parallel.hpp"

namespace fs = std::filesystem;

namespace engine {
namespace {

using Kind = platform::ItemStatus::Kind;

bool isAccepted(const std::string& digest, const std::string& path, const std::string& expected,
                const FileTable& known, bool uninstall) {
    const auto recorded = known.find(path);
    if (recorded != known.end() && recorded->second == digest) {
        return true;
    }
    return !uninstall && digest == expected;
}

/// The contents that the item at the path leads to; a link to nothing is somebody's own.
std::string contentsDigest(const PackInstaller& installer, const fs::path& file, const FoundItem& found) {
    if (found.status->kind == Kind::file) {
        return found.digest;
    }
    if (!installer.exists(file)) {
        throw changedFile(file);
    }
    return installer.hash(file);
}

} // namespace

InstallError changedFile(const fs::path& path) {
    return InstallError("Fichier modifié ou non reconnu, conservé : " + path.string());
}

FoundItem findItem(const PackInstaller& installer, const fs::path& path) {
    const std::optional<platform::ItemStatus> status = installer.fm.status(path);
    return {status, status ? itemDigest(installer, path) : std::string()};
}

/// The device is not compared: on an overlay it changes with a rename.
bool isStill(const PackInstaller& installer, const fs::path& path,
             const std::optional<platform::ItemStatus>& found, const std::string& digest) {
    const std::optional<platform::ItemStatus> now = installer.fm.status(path);
    const bool isSame = now && found && now->kind == found->kind && now->inode == found->inode &&
                        now->size == found->size && now->modified == found->modified;
    return isSame || itemDigest(installer, path) == digest;
}

FoundItems verify(const PackInstaller& installer, const fs::path& folder, const FileTable& files,
                  const FileTable& known, bool uninstall) {
    FoundItems items;
    for (const auto& [path, expected] : files) {
        items.emplace_hint(items.end(), path, FoundItem());
    }
    platform::forEachInParallel(items, [&](auto& item) {
        auto& [path, found] = item;
        const fs::path file = folder / path;
        found = findItem(installer, file);
        if (found.status &&
            !isAccepted(contentsDigest(installer, file, found), path, files.at(path), known, uninstall)) {
            throw changedFile(file);
        }
    });
    return items;
}

void verifyCopies(const PackInstaller& installer, const fs::path& folder, const FileTable& files) {
    platform::forEachInParallel(files, [&](const auto& file) {
        const auto& [path, expected] = file;
        if (installer.hash(folder / path) != expected) {
            throw InstallError("Vérification du template échouée : " + path);
        }
    });
}

} // namespace engine
