#pragma once

#include "platform/posix/Descriptor.hpp"

#include <sys/stat.h>

#include <filesystem>
#include <string_view>

/// What the file manager's sources share. Each system's source implements what follows the first comment
/// "Per system" and, of FileManager, `isHidden`, `setHidden`, `hiddenList` and `synchronize`.
namespace platform::parts {

/// Opens a file for reading without waiting for a FIFO's writer. Throws `Error`.
Descriptor openForReading(const std::filesystem::path& path, int flags = 0);

/// The item's own information, links not followed. Throws `Error` with this attempt when it is not there.
struct stat information(const std::filesystem::path& path, std::string_view attempt);

/// Writes all bytes; false, with errno set, when that fails.
bool writeAll(int descriptor, std::string_view bytes);

// Per system

/// Renames an item unless the new path is taken; -1 with EINVAL or ENOTSUP where a file system cannot do it.
int renameWithoutReplacing(const char* from, const char* to);

/// Puts all that was written to the file's file system on the disk; -1, with errno set, when that fails.
int flushFileSystem(int file);

/// Copies a file's contents and attributes to a free path; clones them where the file system can. Throws
/// `Error`. The caller compares sizes, permissions and dates.
void copyFile(const std::filesystem::path& from, const std::filesystem::path& to,
              const struct stat& original);

/// Gives a folder the extended attributes of another one, and what else the system keeps with them. A disk
/// that keeps none is no error. Throws `Error`.
void copyFolderAttributes(const std::filesystem::path& from, const std::filesystem::path& to);

/// True where the copy of an item comes with the attributes that its companion file keeps.
extern const bool copiesCompanions;

} // namespace platform::parts
