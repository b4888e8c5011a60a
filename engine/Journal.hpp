#pragma once

#include "engine/PackPaths.hpp"
#include "platform/FileLock.hpp"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace engine {

/// What a run does at one path: what exists there before and after it. The digests are those of
/// platform::itemDigest, empty where nothing exists.
struct JournalEntry {
    std::string path; ///< relative to the home folder
    std::string before;
    std::string after;
};

/// The path of an entry, and those that its items have on their way.
struct Item {
    std::filesystem::path path;
    std::filesystem::path prepared; ///< the new item, before it gets the path
    std::filesystem::path aside;    ///< the original beside its path, before it gets into the backup folder
    std::filesystem::path saved;    ///< the original in the backup folder
    std::filesystem::path examined; ///< what an undo has found at the path
};

/// What a run found of a transition folder.
struct FolderState {
    unsigned permissions = 0;
    std::int64_t modified = 0; ///< nanoseconds since 1970
};

/// What a run is going to do, on the disk before its first change: all that an undo needs to know beside the
/// home and the backup folder themselves.
struct Journal {
    std::string id; ///< the run's UUID, the name of its backup folder
    bool legacyHidden = false;
    bool unregistered = false; ///< whether the run has taken the extension's registration back

    /// The folders above the paths, relative to the home folder, that a run may make (nothing) or empty (what
    /// it found of them). In the order of the map the upper ones come first.
    std::map<std::string, std::optional<FolderState>> folders;

    std::vector<JournalEntry> entries; ///< in the order of the run

    std::filesystem::path backup(const PackPaths& paths) const { return paths.backups / id; }
    std::filesystem::path staging(const PackPaths& paths) const { return paths.support / ("Staging-" + id); }

    /// The paths of the item of the entry with this number.
    Item item(const PackPaths& paths, std::size_t entry) const;

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
    /// is made of the run's UUID, the number of the entry and a letter, by default that of an item that is
    /// being copied.
    std::filesystem::path temporary(const std::filesystem::path& path, std::size_t entry,
                                    char letter = 'c') const;

    /// The text with such names replaced by those that the user knows.
    std::string withKnownNames(std::string text) const;
};

/// The journal as JSON, an object a line.
std::string encodeJournal(const Journal& journal);

/// Throws InstallError, naming `source`, for every text that no run writes: what it says must be encoded by
/// this very text, with paths that runs change and folders that lead to them.
Journal decodeJournal(std::string_view text, const PackPaths& paths, const std::filesystem::path& source);

/// Another run is at work, or has just been; this one has changed nothing.
class ConcurrentRunError : public InstallError {
public:
    using InstallError::InstallError;
};

/// What a run says that finds another one at work.
ConcurrentRunError concurrentRun();

/// The journal in the support folder, from before the first change of a run until it is committed or wholly
/// undone. The run locks the file as long as it lives.
class JournalFile {
public:
    /// Writes the journal: it appears whole, locked and on the disk, with everything written before to its
    /// file system, or not at all. Throws ConcurrentRunError when another run has begun.
    static JournalFile begin(const PackInstaller& installer, const PackPaths& paths, const Journal& journal);

    /// The journal of a run that was cut short; nothing when there is none. Throws ConcurrentRunError when
    /// that run is alive, InstallError when the file is none of ours, with what to do then.
    static std::optional<JournalFile> takeOver(const PackInstaller& installer, const PackPaths& paths);

    /// What the file says. Throws InstallError as above.
    Journal read() const;

    /// Removes the file, durably. After an exception it still exists. Returns why the disk has not
    /// confirmed it, if it has not: after a power failure the file may be there again.
    [[nodiscard]] std::optional<std::string> end();

    /// Whether the file has been removed.
    bool isEnded() const { return ended; }

private:
    JournalFile(const PackInstaller& owner, const PackPaths& where, platform::FileLock locked)
        : installer(&owner), paths(&where), lock(std::move(locked)) {}

    const PackInstaller* installer;
    const PackPaths* paths;
    platform::FileLock lock;
    bool ended = false;
};

} // namespace engine
