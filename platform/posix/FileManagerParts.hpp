#pragma once

#include "platform/posix/Descriptor.hpp"

#include <sys/stat.h>

#include <filesystem>
#include <string_view>

/// What the file manager's sources share. Each system's source implements the last two functions and, of
/// FileManager, `copyItem`, `isHidden`, `setHidden`, `hiddenList` and `synchronize`.
namespace platform::parts {

/// Opens a file for reading without waiting for a FIFO's writer. Throws `Error`.
Descriptor openForReading(const std::filesystem::path& path, int flags = 0);

/// The item's own information, links not followed. Throws `Error` with this attempt when it is not there.
struct stat information(const std::filesystem::path& path, std::string_view attempt);

/// Writes all bytes; false, with errno set, when that fails.
bool writeAll(int descriptor, std::string_view bytes);

/// Renames an item to a place where nothing stands. Returns false when the places lie on different file
/// systems, throws `Error` for every other failure.
bool renameExclusively(const std::filesystem::path& from, const std::filesystem::path& to);

/// The system's call for that, which it may not know for every file system: -1, with EINVAL or ENOTSUP.
int renameWithoutReplacing(const char* from, const char* to);

/// Puts all that was written to the file's file system on the disk; -1, with errno set, when that fails.
int flushFileSystem(int file);

} // namespace platform::parts
