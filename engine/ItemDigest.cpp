#include "engine/ItemDigest.hpp"

#include "platform/Digest.hpp"

namespace fs = std::filesystem;

namespace engine {
namespace {

using Status = platform::ItemStatus;

std::string ownDigest(const PackInstaller& installer, const fs::path& item, Status::Kind kind) {
    switch (kind) {
    case Status::Kind::file:
        return installer.hash(item);
    case Status::Kind::link:
        return "link:" + textDigest(installer.fm.linkTarget(item));
    case Status::Kind::folder:
        return "folder:";
    case Status::Kind::other:
        break;
    }
    return "other:";
}

std::string folderDigest(const PackInstaller& installer, const fs::path& folder) {
    platform::Sha256 digest;
    installer.fm.enumerate(folder, [&](const fs::path& item, const Status& status) {
        const std::string path = item.lexically_relative(folder).string();
        digest.update(std::to_string(path.size()) + ":" + path + ownDigest(installer, item, status.kind));
    });
    return "folder:" + platform::hexadecimal(digest.finish());
}

} // namespace

std::string itemDigest(const PackInstaller& installer, const fs::path& path) {
    const std::optional<Status> status = installer.fm.status(path);
    if (!status) {
        return {};
    }
    return status->kind == Status::Kind::folder ? folderDigest(installer, path)
                                                : ownDigest(installer, path, status->kind);
}

std::string textDigest(std::string_view text) {
    platform::Sha256 digest;
    digest.update(text);
    return platform::hexadecimal(digest.finish());
}

} // namespace engine
