#pragma once

#include "platform/posix/Descriptor.hpp"

#include <filesystem>
#include <optional>
#include <utility>

namespace platform {

/// Holds a file or a folder for one process at a time. The hold ends with the object, or with the process
/// however it ends; child processes do not inherit it.
class FileLock {
public:
    /// Holds the existing regular file or folder; nothing when another process does. Throws `Error` when it
    /// cannot be opened, with the number ENOENT when it is not there, and where the disk cannot hold it.
    static std::optional<FileLock> acquire(const std::filesystem::path& path);

    /// True while the file that is held is the one that stands at the path.
    bool holds(const std::filesystem::path& path) const;

private:
    explicit FileLock(Descriptor held) : file(std::move(held)) {}
    Descriptor file;
};

} // namespace platform
