#pragma once

#include "engine/PackInstaller.hpp"

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace engine {

/// An item that a run is going to replace or remove, as it was when it was verified.
struct FoundItem {
    std::optional<platform::ItemStatus> status; ///< nothing when there is no item
    std::string digest;                         ///< see platform::itemDigest
};

/// The items by their path relative to a category folder.
using FoundItems = std::map<std::string, FoundItem>;

/// The item, looked at before it is digested: a change after that shows in the status.
FoundItem findItem(const PackInstaller& installer, const std::filesystem::path& path);

/// True when the item at the path is the one that was found, unchanged, whatever path it had then.
bool isStill(const PackInstaller& installer, const std::filesystem::path& path,
             const std::optional<platform::ItemStatus>& found, const std::string& digest);

/// Checks, before anything changes, that every file of the table that exists in the folder may be replaced or
/// removed: it has the digest that `known` gives for it or, for an install, the one that `files` gives; a
/// link counts by its target. Files that do not exist pass. Returns what it found. Throws InstallError for
/// the first other one, platform::Error for one that cannot be read.
FoundItems verify(const PackInstaller& installer, const std::filesystem::path& folder, const FileTable& files,
                  const FileTable& known, bool uninstall);

/// The error for a file that is not what the run may replace or remove.
InstallError changedFile(const std::filesystem::path& path);

} // namespace engine
