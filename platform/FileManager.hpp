#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// The file operations that the engine needs. Every operation that can fail throws `Error`. None follows a
/// symbolic link that stands at the end of the path it changes, and none replaces an item that it was not
/// asked to replace.
class FileManager {
public:
    /// The manager that the whole process shares; it holds no state.
    static const FileManager& defaultManager();

    /// True when an item of any kind stands at the path; a link counts by its target.
    bool exists(const std::filesystem::path& path) const;

    /// True when anything stands at the path, a link without a target too.
    bool occupied(const std::filesystem::path& path) const;

    /// True when a symbolic link stands at the path.
    bool isLink(const std::filesystem::path& path) const;

    /// The path made absolute, without "." and "..", and with the links in its existing part resolved.
    std::filesystem::path resolved(const std::filesystem::path& path) const;

    /// The whole contents of a regular file.
    std::string read(const std::filesystem::path& path) const;

    /// Takes contents piece by piece, so that no file is too large for the memory.
    using Sink = std::function<void(std::string_view)>;
    using Source = std::function<void(const Sink&)>;

    /// Hands the contents of a regular file to the sink.
    void read(const std::filesystem::path& path, const Sink& sink) const;

    /// Writes a file where nothing stands; after a failure, also one of the source's, nothing of it is left.
    void writeNew(const std::filesystem::path& path, const Source& contents) const;

    /// The same, but the file appears whole, under its final name, or not at all.
    void createAtomically(const std::filesystem::path& path, const Source& contents) const;

    /// Replaces the file by one with these contents, which appears whole or not at all.
    void writeAtomically(const std::filesystem::path& path, std::string_view contents) const;

    /// Creates the folder and every missing one above it; an existing folder is not an error.
    void makeFolder(const std::filesystem::path& path) const;

    /// The same, and returns once the way to the folder is on the disk.
    void makeFolderDurably(const std::filesystem::path& path) const;

    /// Copies a file, a link or a whole folder to a place where nothing stands, with permissions, dates and
    /// extended attributes; clones where the file system can. A failed copy leaves what it had written.
    void copyItem(const std::filesystem::path& from, const std::filesystem::path& to) const;

    /// The same, but the copy appears whole, under its final name and on the disk, or not at all.
    void copyItemDurably(const std::filesystem::path& from, const std::filesystem::path& to) const;

    /// Moves an item to a place where nothing stands. Across file systems it is copied durably first.
    /// `arrived` is called once the item stands whole at its new place, before it is removed from the old
    /// one.
    void moveItem(
        const std::filesystem::path& from, const std::filesystem::path& to,
        const std::function<void()>& arrived = [] {}) const;

    /// Removes a file, a link or a whole folder.
    void removeItem(const std::filesystem::path& path) const;

    /// Removes a folder when it is empty; returns whether it did. That there is none, or a file or a link in
    /// its place, is no error.
    bool removeEmptyFolder(const std::filesystem::path& path) const;

    /// The name under which an unfinished item stands beside its final place.
    static std::filesystem::path temporaryName(const std::filesystem::path& path);

    /// True for the names that `temporaryName` gives.
    static bool isTemporaryName(const std::filesystem::path& path);

    /// Calls `visit` for every item below the folder, at every depth, links not followed; a missing folder
    /// has none. The second argument tells whether the item is a folder.
    void enumerate(const std::filesystem::path& folder,
                   const std::function<void(const std::filesystem::path&, bool)>& visit) const;

    /// Sets the modification date to the current date and time.
    void touch(const std::filesystem::path& path) const;

    /// The permission bits of a folder, or nothing when no folder stands there; a link counts by its target.
    std::optional<unsigned> folderPermissions(const std::filesystem::path& path) const;
    void setPermissions(const std::filesystem::path& path, unsigned permissions) const;

    /// Whether file browsers hide the folder; false when it is not there.
    bool isHidden(const std::filesystem::path& folder) const;
    void setHidden(const std::filesystem::path& folder, bool hidden) const;

    /// The file that records which items of a folder are hidden, on systems where the item itself does not.
    std::optional<std::filesystem::path> hiddenList(const std::filesystem::path& folder) const;

    /// Returns once the items (files by their contents, folders by their entries) are on the disk.
    void synchronize(const std::vector<std::filesystem::path>& items) const;

    /// Returns once everything that was written so far to the file systems of the folders is on the disk.
    /// What is no folder counts for nothing.
    void synchronizeFileSystems(const std::vector<std::filesystem::path>& folders) const;

private:
    std::filesystem::path writeTemporary(const std::filesystem::path& path, const Source& contents) const;
    void removeMoved(const std::filesystem::path& path) const;
    void removeUnfinished(const std::filesystem::path& path) const;
};

} // namespace platform
