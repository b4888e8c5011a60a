#pragma once

#include "engine/Journal.hpp"
#include "engine/Request.hpp"
#include "engine/Verification.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace engine {

/// How the new item gets to its path, if there is one.
enum class Action {
    copy,  ///< a copy of `source`
    write, ///< a file with `contents`
    move,  ///< `source` itself
    remove ///< nothing is to exist there
};

/// One change: the entry of the journal with the same number, and what only the run itself has to know.
struct Change {
    Action action = Action::remove;
    std::optional<platform::ItemStatus> found; ///< what existed when it was verified
    std::filesystem::path source;
    platform::FileManager::Source contents;
};

/// All that a run is going to do. Nothing is decided later.
struct Plan {
    Journal journal;
    std::vector<Change> changes; ///< one an entry of the journal
    FileTable copies;            ///< the templates that an install puts into the category, with their digests
    bool installs = false;
    bool unregisters = false; ///< the extension, before the application goes
    std::vector<std::optional<platform::ItemStatus>> manifestsRead; ///< another run would have changed them
    std::string summary;                                            ///< for the user, when all is done
};

/// Reads and checks everything; changes nothing. Throws InstallError for what the run may not do,
/// platform::Error for what cannot be read.
Plan makePlan(const PackInstaller& installer, const PackPaths& paths, const Request& request);

/// Both manifests' files, as they are now.
std::vector<std::optional<platform::ItemStatus>> manifestStatus(const PackInstaller& installer,
                                                                const PackPaths& paths);

} // namespace engine
