#include "platform/FileLock.hpp"

#include "platform/Error.hpp"
#include "platform/posix/FileManagerParts.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <utility>

namespace platform {
namespace {

/// Network disks lock a file for one process only when it is open for writing, which a folder cannot be.
Descriptor openForLocking(const std::filesystem::path& path) {
    Descriptor file(
        retrying([&] { return ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); }));
    return file || errno == ENOENT || errno == ENOTDIR ? std::move(file)
                                                       : parts::openForReading(path, O_NOFOLLOW);
}

} // namespace

std::optional<FileLock> FileLock::lock(const std::filesystem::path& path) {
    Descriptor file = openForLocking(path);
    if (!file) {
        return std::nullopt;
    }
    struct stat found {};
    if (::fstat(file.get(), &found) != 0 || (!S_ISREG(found.st_mode) && !S_ISDIR(found.st_mode))) {
        throw fileError("lire", path, ENXIO);
    }
    if (retrying([&] { return ::flock(file.get(), LOCK_EX | LOCK_NB); }) != 0) {
        throw fileError("réserver", path, errno);
    }
    return FileLock(std::move(file));
}

bool FileLock::locks(const std::filesystem::path& path) const {
    struct stat locked {};
    struct stat found {};
    return ::fstat(file.get(), &locked) == 0 && ::lstat(path.c_str(), &found) == 0 &&
           locked.st_dev == found.st_dev && locked.st_ino == found.st_ino;
}

} // namespace platform
