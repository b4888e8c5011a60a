#include "platform/FileManager.hpp"

#include "platform/Error.hpp"
#include "platform/posix/FileManagerParts.hpp"

#include <copyfile.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/stdio.h>

#include <map>
#include <utility>

namespace fs = std::filesystem;

namespace platform {
namespace {

/// Disks without a cache of their own and network disks do not know the full flushes.
bool isUnknownFlush(int number) {
    return number == ENOTSUP || number == EINVAL || number == ENOTTY;
}

std::uint32_t flagsOf(const fs::path& item) {
    struct stat found {};
    if (retrying([&] { return ::lstat(item.c_str(), &found); }) != 0) {
        throw fileError("lire", item, errno);
    }
    return static_cast<std::uint32_t>(found.st_flags);
}

/// With the cache of the drive.
int flushFile(int file) {
    const int result = ::fcntl(file, F_FULLFSYNC);
    return result != 0 && isUnknownFlush(errno) ? ::fsync(file) : result;
}

} // namespace

namespace parts {

const bool copiesCompanions = true;

int renameWithoutReplacing(const char* from, const char* to) {
    return ::renamex_np(from, to, RENAME_EXCL);
}

int flushFileSystem(int file) {
    const int result = ::fsync_volume_np(file, SYNC_VOLUME_FULLSYNC | SYNC_VOLUME_WAIT);
    if (result > 0) { // it is not documented whether it returns the number or sets it
        errno = result;
    }
    if (result != 0 && isUnknownFlush(errno)) {
        ::sync();
        return 0;
    }
    return result == 0 ? 0 : -1;
}

void copyFile(const fs::path& from, const fs::path& to, const struct stat& /*original*/) {
    constexpr copyfile_flags_t flags = COPYFILE_ALL | COPYFILE_CLONE | COPYFILE_NOFOLLOW | COPYFILE_EXCL;
    if (::copyfile(from.c_str(), to.c_str(), nullptr, flags) != 0) {
        throw fileError("copier", from, to, errno);
    }
}

void copyFolderAttributes(const fs::path& from, const fs::path& to) {
    constexpr copyfile_flags_t flags = COPYFILE_METADATA | COPYFILE_NOFOLLOW;
    if (retrying([&] { return ::copyfile(from.c_str(), to.c_str(), nullptr, flags); }) != 0) {
        throw fileError("copier", from, to, errno);
    }
}

} // namespace parts

bool FileManager::isHidden(const fs::path& folder) const {
    return existsNoFollow(folder) && (flagsOf(folder) & UF_HIDDEN) != 0;
}

void FileManager::setHidden(const fs::path& folder, bool hidden) const {
    if (!exists(folder)) {
        return;
    }
    const std::uint32_t found = flagsOf(folder);
    const std::uint32_t wanted = hidden ? found | UF_HIDDEN : found & ~std::uint32_t{UF_HIDDEN};
    if (wanted != found && retrying([&] { return ::lchflags(folder.c_str(), wanted); }) != 0) {
        throw fileError("régler la visibilité de", folder, errno);
    }
}

std::optional<fs::path> FileManager::hiddenList(const fs::path& /*folder*/) const {
    return std::nullopt;
}

std::string FileManager::hiddenListWithout(const fs::path& /*folder*/) const {
    return {};
}

void FileManager::synchronize(const std::vector<fs::path>& items) const {
    std::map<dev_t, std::pair<fs::path, Descriptor>> disks;
    for (const fs::path& item : items) {
        const struct stat found = parts::information(item, "enregistrer sur le disque");
        if (!S_ISREG(found.st_mode) && !S_ISDIR(found.st_mode)) {
            continue;
        }
        Descriptor file = parts::openForReading(item, O_NOFOLLOW);
        if (retrying([&] { return ::fsync(file.get()); }) != 0) {
            throw fileError("enregistrer sur le disque", item, errno);
        }
        disks.insert_or_assign(found.st_dev, std::pair(item, std::move(file)));
    }
    // fsync hands the data to the drive, which may hold it back; one full flush a drive makes it durable.
    for (const auto& [number, last] : disks) {
        const auto& [item, file] = last;
        const int descriptor = file.get();
        if (retrying([&] { return flushFile(descriptor); }) != 0) {
            throw fileError("enregistrer sur le disque", item, errno);
        }
    }
}

} // namespace platform
