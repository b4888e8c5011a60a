#include "platform/ItemDigest.hpp"

#include "platform/Digest.hpp"

#include <optional>

namespace fs = std::filesystem;

namespace platform {
namespace {

std::string ownDigest(const FileManager& files, const fs::path& item, ItemStatus::Kind kind) {
    switch (kind) {
    case ItemStatus::Kind::file:
        return fileDigest(files, item);
    case ItemStatus::Kind::link:
        return "link:" + textDigest(files.linkTarget(item));
    case ItemStatus::Kind::folder:
        return "folder:";
    case ItemStatus::Kind::other:
        break;
    }
    return "other:";
}

} // namespace

std::string textDigest(std::string_view text) {
    Sha256 digest;
    digest.update(text);
    return hexadecimal(digest.finish());
}

std::string fileDigest(const FileManager& files, const fs::path& path) {
    Sha256 digest;
    files.read(path, [&](std::string_view piece) { digest.update(piece); });
    return hexadecimal(digest.finish());
}

std::string itemDigest(const FileManager& files, const fs::path& path) {
    const std::optional<ItemStatus> status = files.status(path);
    if (!status || status->kind != ItemStatus::Kind::folder) {
        return status ? ownDigest(files, path, status->kind) : std::string();
    }
    Sha256 digest;
    files.enumerate(path, [&](const fs::path& item, const ItemStatus& below) {
        const std::string name = item.lexically_relative(path).string();
        digest.update(std::to_string(name.size()) + ":" + name + ownDigest(files, item, below.kind));
    });
    return "folder:" + hexadecimal(digest.finish());
}

FoundItem findItem(const FileManager& files, const fs::path& path) {
    std::optional<ItemStatus> status = files.status(path);
    return {status, status ? itemDigest(files, path) : std::string()};
}

/// The device is not compared: on an overlay it changes with a rename.
bool isStill(const FileManager& files, const fs::path& path, const std::optional<ItemStatus>& found,
             const std::string& digest) {
    const std::optional<ItemStatus> now = files.status(path);
    const bool isSame = now && found && now->kind == found->kind && now->inode == found->inode &&
                        now->size == found->size && now->modified == found->modified;
    return isSame || itemDigest(files, path) == digest;
}

} // namespace platform
