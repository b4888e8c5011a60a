#pragma once

#include "engine/PackInstaller.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace engine {

/// What an item is, links not followed: the SHA-256 of a file's contents, "link:" and that of a link's
/// target, "folder:" and that of the names, kinds and digests of everything in a folder. Permissions and
/// dates do not count. Empty when there is no item. Throws platform::Error.
std::string itemDigest(const PackInstaller& installer, const std::filesystem::path& path);

/// The SHA-256 of a text as 64 lowercase hexadecimal characters.
std::string textDigest(std::string_view text);

} // namespace engine
