#pragma once

#include "platform/FileManager.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The SHA-256 of a text as 64 lowercase hexadecimal characters.
std::string textDigest(std::string_view text);

/// The same of a file's contents, links followed. Throws `Error`.
std::string fileDigest(const FileManager& files, const std::filesystem::path& path);

/// What an item is, links not followed: the digest of a file's contents, "link:" and that of a link's target,
/// "folder:" and that of the names, kinds and digests of everything in a folder, "other:". Permissions and
/// dates do not count. Empty when there is no item. Throws `Error`.
std::string itemDigest(const FileManager& files, const std::filesystem::path& path);

/// An item as it is at one moment.
struct FoundItem {
    std::optional<ItemStatus> status; ///< nothing when there is no item
    std::string digest;               ///< see itemDigest
};

/// The item, looked at before it is digested: a change after that shows in the status. Throws `Error`.
FoundItem findItem(const FileManager& files, const std::filesystem::path& path);

/// True when the item at the path is the one that had this status, unchanged, whatever path it had then, or
/// has this digest. Throws `Error`.
bool isStill(const FileManager& files, const std::filesystem::path& path,
             const std::optional<ItemStatus>& found, const std::string& digest);

} // namespace platform
