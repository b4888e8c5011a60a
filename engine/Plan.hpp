#pragma once

#include "engine/Journal.hpp"
#include "engine/Request.hpp"
#include "platform/ItemDigest.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace engine {

/// What only the run itself has to know of the entry of the journal with the same number.
struct Change {
    std::optional<platform::ItemStatus> found; ///< what existed when it was verified

    /// Makes the new item at this path, where nothing exists; empty when nothing is to exist. There is one
    /// for every file of a pack: they hold names, because a path takes ten times as much memory.
    std::function<void(const std::filesystem::path&)> make;
};

/// All that a run is going to do. Nothing is decided later.
struct Plan {
    Journal journal;
    std::vector<Change> changes; ///< one an entry of the journal
    FileTable copies;            ///< the templates that an install puts into the category, with their digests
    bool installs = false;
    bool unregisters = false; ///< the extension, before the application goes
    std::string summary;      ///< for the user, when all is done
};

/// The items by their path relative to a category folder.
using FoundItems = std::map<std::string, platform::FoundItem>;

/// Checks, before anything changes, that every file of the table that exists in the folder may be replaced or
/// removed: it has the digest that `known` gives for it or, for an install, the one that `files` gives; a
/// link counts by its target. Files that do not exist pass. Returns what it found. Throws InstallError for
/// the first other one, platform::Error for one that cannot be read.
FoundItems verify(const PackInstaller& installer, const std::filesystem::path& folder, const FileTable& files,
                  const FileTable& known, bool uninstall);

/// The error for a file that is not what the run may replace or remove.
InstallError changedFile(const std::filesystem::path& path);

/// Reads and checks everything; changes nothing. Throws InstallError for what the run may not do,
/// platform::Error for what cannot be read.
Plan makePlan(const PackInstaller& installer, const PackPaths& paths, const Request& request);

} // namespace engine
