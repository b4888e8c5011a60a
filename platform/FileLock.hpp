#pragma once

#include "platform/posix/Descriptor.hpp"

#include <filesystem>
#include <optional>
#include <utility>

namespace platform {

/// Locks a file or a folder for one process at a time. The lock ends with the object, or with the process
/// however it ends; child processes do not inherit it.
class FileLock {
public:
    /// Locks the existing regular file or folder; nothing when there is none. Throws `Error`: with the number
    /// EWOULDBLOCK when another process has locked it, with another one when it cannot be opened and where
    /// the disk has no locks.
    static std::optional<FileLock> lock(const std::filesystem::path& path);

    /// True while the file that is locked is the one that exists at the path.
    bool locks(const std::filesystem::path& path) const;

private:
    explicit FileLock(Descriptor locked) : file(std::move(locked)) {}
    Descriptor file;
};

} // namespace platform
