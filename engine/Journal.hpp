#pragma once

#include "engine/PackPaths.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

/// What a run does at one path: what exists there before and after it. The digests are those of
/// platform::itemDigest, empty where nothing exists.
struct JournalEntry {
    std::string path; ///< relative to the home folder
    std::string before;
    std::string after;

    friend bool operator==(const JournalEntry&, const JournalEntry&) = default;
};

/// What a run found of a transition folder.
struct FolderState {
    unsigned permissions = 0;
    std::int64_t modified = 0; ///< nanoseconds since 1970

    friend bool operator==(const FolderState&, const FolderState&) = default;
};

/// What a run is going to do, on the disk before its first change: all that an undo needs to know beside the
/// home and the backup folder themselves.
struct Journal {
    std::string id; ///< the run's UUID, the name of its backup folder
    bool legacyHidden = false;
    bool unregistered =
        false; ///< whether the run has taken the extension's registration back; see JournalFile

    /// The folders above the paths, relative to the home folder, that a run may make (nothing) or empty (what
    /// it found of them). In the order of the map the upper ones come first.
    std::map<std::string, std::optional<FolderState>> folders;

    std::vector<JournalEntry> entries; ///< in the order of the run

    std::filesystem::path backup(const PackPaths& paths) const { return paths.backups / id; }
    std::filesystem::path staging(const PackPaths& paths) const { return paths.support / ("Staging-" + id); }

    /// Where the item of an entry is kept.
    std::filesystem::path saved(const PackPaths& paths, std::size_t entry) const;

    /// A copy of a transition folder that the run has emptied and removed, for what belongs to the folder
    /// itself.
    std::filesystem::path emptied(const PackPaths& paths, const std::string& folder) const;

    /// A file that says that the run has taken the extension's registration back; so the journal never
    /// changes.
    std::filesystem::path unregisteredMark(const PackPaths& paths) const {
        return backup(paths) / "unregistered";
    }

    /// A folder at least of every file system that the run changes.
    std::vector<std::filesystem::path> changedFolders(const PackPaths& paths) const;

    /// A name beside the path, for an item that is not finished or about to go. Nobody else's item has it: it
    /// is made of the run's UUID, the number of the entry and a letter.
    std::filesystem::path temporary(const std::filesystem::path& path, std::size_t entry, char letter) const;

    /// The text with such names replaced by those that the user knows.
    std::string withKnownNames(std::string text) const;

    friend bool operator==(const Journal&, const Journal&) = default;
};

/// Hands the journal to the sink as JSON, an object a line.
void encodeJournal(const Journal& journal, const std::function<void(std::string_view)>& sink);

/// Throws InstallError, naming `source`, for every text that no run writes: what it says must be encoded by
/// this very text, with paths that runs change and folders that lead to them.
Journal decodeJournal(std::string_view text, const PackPaths& paths, const std::filesystem::path& source);

} // namespace engine
