#pragma once

#include <filesystem>
#include <map>
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

/// The folders on the way to those places, as paths relative to the home folder, with the permissions that
/// the run found, or nothing where there was no folder. In the order of the map the upper ones come first.
using Folders = std::map<std::string, std::optional<unsigned>>;

/// Everything that a run is going to touch, written down before it changes anything.
struct RunRecord {
    std::string backup;  ///< the name of the backup folder in "Backups"
    std::string staging; ///< the name of the staging folder in the support folder
    bool legacyHidden = false;
    Folders folders;
    std::vector<Place> places; ///< in the order in which the run changes them
    bool unregisters = false;  ///< whether the run takes the extension's registration back
};

/// The record as JSON, one object a line. The order of the lines of places alone counts.
std::string encodeRunRecord(const RunRecord& record);

/// The line of one place.
std::string encodePlace(const Place& place);

/// Throws platform::Error, naming `source`, for anything that `encodeRunRecord` does not write. The paths of
/// a record never lead out of the folders that they are relative to, links apart.
RunRecord decodeRunRecord(std::string_view text, const std::filesystem::path& source);

} // namespace engine
