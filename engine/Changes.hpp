#pragma once

#include "engine/PackInstaller.hpp"
#include "engine/RunRecord.hpp"

#include <deque>
#include <filesystem>
#include <functional>
#include <string>

namespace engine {

/// A place whose former contents a run saved or, without a saved copy, where it created something.
struct Change {
    std::string place;    ///< relative to the home folder
    std::string saved;    ///< relative to the run's backup folder; empty when nothing stood at the place
    bool isTaken = false; ///< what stands there now is somebody else's, and not the run's to remove
};

/// A deque grows without holding everything twice.
using ChangeList = std::deque<Change>;

/// What a run has changed so far, in order, each entry made before the run can leave a byte at the place.
class Changes {
public:
    Changes(const PackInstaller& installer, std::filesystem::path backup);

    /// Moves what stands at the place, if anything, into the backup folder under the relative path. Throws
    /// platform::Error; the place is then as it was, unless the entry was made.
    void preserve(const std::filesystem::path& file, const std::string& relative);

    /// The same with a copy: the place stays as it is until it is replaced.
    void preserveCopy(const std::filesystem::path& file, const std::string& relative);

    /// Runs an action that creates something at the place, where nothing may stand. Throws what it throws.
    void create(const std::filesystem::path& place, const std::function<void()>& action);

    /// Puts a file with these contents at the place, whole or not at all, in a folder that is made if need
    /// be. What stands there is preserved under the relative path.
    void write(const std::filesystem::path& file, const std::string& relative,
               const platform::FileManager::Source& contents);

    const ChangeList& list() const { return entries; }

private:
    std::filesystem::path placeOfCopy(const std::string& relative);
    void record(const std::filesystem::path& place, const std::string& saved);

    const PackInstaller& installer;
    std::filesystem::path backup;
    std::filesystem::path lastFolder; ///< of the backup, the one that was made last
    ChangeList entries;
};

} // namespace engine
