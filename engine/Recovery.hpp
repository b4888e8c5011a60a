#pragma once

#include "engine/Changes.hpp"
#include "engine/PackPaths.hpp"
#include "engine/RunRecord.hpp"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace engine {

/// Puts back the state that a run found.
class Recovery {
public:
    Recovery(const PackInstaller& installer, const PackPaths& paths, const RunRecord& record);

    /// Undoes the changes, the last one first, and returns what could not be put back, a French sentence
    /// each. `discard` gets rid of what the run left at a place.
    std::vector<std::string>
    undo(const ChangeList& changes,
         const std::function<void(const std::filesystem::path& place)>& discard) const;

    /// The same for a run that was cut short, of which only the record and the backup folder tell how far it
    /// came. What stands at its places may be the user's own by now, so it is moved into the backup folder.
    std::vector<std::string> undoInterrupted() const;

private:
    using Problems = std::vector<std::string>;

    Problems linksInTheWay() const;
    void removeUnfinished(Problems& problems) const;
    void remakeFolders(Problems& problems) const;
    void putBack(const Change& change,
                 const std::function<void(const std::filesystem::path&)>& discard) const;
    void restoreHiddenFlag() const;
    void restoreRegistration() const;
    void removeMadeFolders(Problems& problems) const;
    void setAside(const std::filesystem::path& place, const std::filesystem::path& folder) const;
    ChangeList changesFoundOnDisk(Problems& problems) const;
    std::filesystem::path placeOf(const Change& change) const { return installer.home / change.place; }

    const PackInstaller& installer;
    const PackPaths& paths;
    const RunRecord& record;
    std::filesystem::path backup;
};

} // namespace engine
