#include "engine/Verification.hpp"

#include "platform/ItemDigest.hpp"
#include "platform/Parallel.hpp"

namespace fs = std::filesystem;

namespace engine {
namespace {

using platform::ItemStatus;

/// The contents that the item at the path leads to; a link to nothing is somebody's own.
std::string contentsDigest(const PackInstaller& installer, const fs::path& file, const FoundItem& found) {
    if (found.status->kind == ItemStatus::Kind::file) {
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
    std::optional<ItemStatus> status = installer.fm.status(path);
    return {status, status ? platform::itemDigest(installer.fm, path) : std::string()};
}

/// The device is not compared: on an overlay it changes with a rename.
bool isStill(const PackInstaller& installer, const fs::path& path,
             const std::optional<platform::ItemStatus>& found, const std::string& digest) {
    const std::optional<platform::ItemStatus> now = installer.fm.status(path);
    const bool isSame = now && found && now->kind == found->kind && now->inode == found->inode &&
                        now->size == found->size && now->modified == found->modified;
    return isSame || platform::itemDigest(installer.fm, path) == digest;
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
        if (!found.status) {
            return;
        }
        const std::string digest = contentsDigest(installer, file, found);
        const auto recorded = known.find(path);
        const bool isRecorded = recorded != known.end() && recorded->second == digest;
        if (!isRecorded && (uninstall || digest != files.at(path))) {
            throw changedFile(file);
        }
    });
    return items;
}

} // namespace engine
