#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

/// One place in the home folder that a run is going to change.
struct Place {
    std::string path;  ///< relative to the home folder
    std::string saved; ///< where what stands there now will be kept, relative to the run's backup folder
    bool existed = false;
};

/// A folder on the way to those places, as the run found it.
struct Folder {
    std::string path;                    ///< relative to the home folder
    std::optional<unsigned> permissions; ///< nothing when the folder was not there
};

/// Everything that a run is going to touch, written down before it changes anything.
struct RunRecord {
    std::string backup;  ///< the name of the backup folder in "Backups"
    std::string staging; ///< the name of the staging folder in the support folder
    bool legacyHidden = false;
    std::vector<Folder> folders; ///< from the top down
    std::vector<Place> places;   ///< in the order in which the run changes them
};

/// The record as one JSON object a line, in no more memory than a line needs.
std::string encodeRunRecord(const RunRecord& record);

/// Throws platform::Error, naming `source`, for anything that `encodeRunRecord` does not write. The paths of
/// a record never lead out of the folders that they are relative to, links apart.
RunRecord decodeRunRecord(std::string_view text, const std::filesystem::path& source);

} // namespace engine
