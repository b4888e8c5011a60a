#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// What the system says of an item itself, links not followed.
struct ItemStatus {
    enum class Kind { file, folder, link, other };
    Kind kind = Kind::other;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;    ///< in bytes
    std::int64_t modified = 0; ///< modification date, nanoseconds since 1970
    unsigned permissions = 0;  ///< the lower twelve bits of the mode
    std::uint64_t owner = 0;   ///< user number

    friend bool operator==(const ItemStatus&, const ItemStatus&) = default;
};

/// The file operations that the engine needs.
///
/// Contract of every operation: it throws `Error`, which names the item of the call that failed, unless it
/// did all that it says; no result has to be looked at to learn of a failure. Only ENOENT, ENOTDIR and ELOOP
/// tell that there is no item; an item that cannot be looked at for another reason never counts as absent. An
/// operation neither follows a link at the end of a path that it changes nor replaces an item, unless it says
/// so. Calls that a signal interrupts are made again.
class FileManager {
public:
    /// The manager that the whole process shares; it has no state.
    static const FileManager& defaultManager();

    /// True when an item of any kind exists at the path; a link counts by its target.
    bool exists(const std::filesystem::path& path) const;

    /// The item itself, or nothing when there is none; a link counts, whatever it leads to.
    std::optional<ItemStatus> status(const std::filesystem::path& path) const;
    bool existsNoFollow(const std::filesystem::path& path) const { return status(path).has_value(); }

    /// True when the item belongs to the user whose rights the process has.
    bool belongsToUser(const std::filesystem::path& path) const;

    /// The target of a symbolic link, as it is written in it.
    std::string linkTarget(const std::filesystem::path& link) const;

    /// True when the path leads to a folder, links followed.
    bool isFolder(const std::filesystem::path& path) const;

    /// The path made absolute, without "." and "..", and with the links in its existing part resolved. What
    /// cannot be resolved, a link to itself for instance, stays as it is.
    std::filesystem::path resolved(const std::filesystem::path& path) const;

    /// The whole contents of a regular file, links followed. A file of more than `most` bytes is refused, by
    /// name and before it is read.
    std::string read(const std::filesystem::path& path,
                     std::uint64_t most = std::numeric_limits<std::uint64_t>::max()) const;

    /// Takes contents piece by piece, so that no file is too large for the memory.
    using Sink = std::function<void(std::string_view)>;
    using Source = std::function<void(const Sink&)>;

    /// Hands the contents of a regular file to the sink.
    void read(const std::filesystem::path& path, const Sink& sink) const;

    /// Writes a file where nothing exists. After a throw, also one of the source's, nothing of it is left.
    void writeNew(const std::filesystem::path& path, const Source& contents) const;

    /// Creates the folder and every missing one above it with these permissions, less the process's mask; an
    /// existing folder, or a link to one, is no error.
    void makeFolder(const std::filesystem::path& path, unsigned permissions = 0777) const;

    /// Copies a file, a link or a whole folder to a path where nothing exists, with permissions (never
    /// setuid, setgid or sticky), dates and extended attributes; clones where the file system can. The copy
    /// of a file has the size that the file had, or the copy fails. After a throw, what was written may be
    /// left at `to` and nowhere else.
    void copyItem(const std::filesystem::path& from, const std::filesystem::path& to) const;

    /// Gives an item another path in the same file system, where nothing exists; also a folder that its owner
    /// made read-only. Atomic. Throws with the number EXDEV where the file system cannot do it, between two
    /// disks for instance or for a folder in the lower layer of an overlay; nothing has changed then.
    void renameItem(const std::filesystem::path& from, const std::filesystem::path& to) const;

    /// The same also across file systems: there the item is copied under the name `partial`, a free path
    /// beside `to`, put on the disk, renamed to `to`, and then removed from `from`. After a throw the item is
    /// whole at `from`, or whole and on the disk at `to` with the rest of it, if any, at `from`; `partial`
    /// may be left.
    void moveItem(const std::filesystem::path& from, const std::filesystem::path& to,
                  const std::filesystem::path& partial) const;

    /// The same; false, and nothing has changed, when there is no item at `from`.
    [[nodiscard]] bool moveExisting(const std::filesystem::path& from, const std::filesystem::path& to,
                                    const std::filesystem::path& partial) const;

    /// Removes a file, a link or a whole folder, also from folders that their owner made read-only; that
    /// there is nothing is no error. The error names the item that could not be removed and is the first one.
    void removeItem(const std::filesystem::path& path) const;

    /// Removes a folder when it is empty. That there is none, that it is not empty, and a file or a link at
    /// the path are no errors.
    void removeEmptyFolder(const std::filesystem::path& path) const;

    /// The names of the items in a folder, sorted, a link to a folder followed; a missing folder has none.
    /// The companion files "._NAME" in which a Mac keeps the attributes of the item NAME are left out when
    /// NAME exists.
    std::vector<std::string> list(const std::filesystem::path& folder) const;

    /// Calls `visit` for every item below the folder, at every depth and in the order of `list`, a folder
    /// before what is in it. Links below the folder are not followed.
    void enumerate(const std::filesystem::path& folder,
                   const std::function<void(const std::filesystem::path&, const ItemStatus&)>& visit) const;

    /// Sets the modification date to the current date and time.
    void touch(const std::filesystem::path& path) const;

    /// Gives an item that is no link these permissions and this modification date, where it has others.
    void setPermissions(const std::filesystem::path& path, unsigned permissions) const;
    void setModified(const std::filesystem::path& path, std::int64_t nanoseconds) const;

    /// Whether file browsers hide the folder; false when it does not exist.
    bool isHidden(const std::filesystem::path& folder) const;

    /// Where the folder itself records that, sets it; elsewhere, and for a folder that does not exist, does
    /// nothing.
    void setHidden(const std::filesystem::path& folder, bool hidden) const;

    /// The file that records which items of the folder's parent are hidden, on systems where the items
    /// themselves do not.
    std::optional<std::filesystem::path> hiddenList(const std::filesystem::path& folder) const;

    /// What that file says when this folder is not hidden; empty when it lists nothing then.
    std::string hiddenListWithout(const std::filesystem::path& folder) const;

    /// Returns once the items (files by their contents, folders by their entries) are on the disk.
    void synchronize(const std::vector<std::filesystem::path>& items) const;

    /// Returns once everything that was written so far to the file systems of these paths is on the disk. For
    /// a path where nothing exists the nearest folder above it counts.
    void synchronizeFileSystems(const std::vector<std::filesystem::path>& paths) const;
};

} // namespace platform
