#include "platform/FileManager.hpp"

#include "platform/Error.hpp"
#include "platform/posix/FileManagerParts.hpp"

#include <copyfile.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/stdio.h>

#include <map>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace platform {
namespace parts {

int renameWithoutReplacing(const char* from, const char* to) {
    return ::renamex_np(from, to, RENAME_EXCL);
}

int flushFileSystem(int file) {
    const int result = ::fsync_volume_np(file, SYNC_VOLUME_FULLSYNC | SYNC_VOLUME_WAIT);
    if (result > 0) { // it is not documented whether it returns the number or sets it
        errno = result;
    }
    if (result != 0 && (errno == ENOTSUP || errno == ENOTTY)) { // network disks
        ::sync();
        return 0;
    }
    return result == 0 ? 0 : -1;
}

} // namespace parts

void FileManager::copyItem(const fs::path& from, const fs::path& to) const {
    const struct stat original = parts::information(from, "lire");
    if (!S_ISREG(original.st_mode) && !S_ISLNK(original.st_mode) && !S_ISDIR(original.st_mode)) {
        throw fileError("copier", from, ENXIO);
    }
    if (occupied(to)) { // copyfile would copy a folder into the folder that stands there
        throw fileError("copier", from, to, EEXIST);
    }
    constexpr copyfile_flags_t flags =
        COPYFILE_ALL | COPYFILE_CLONE | COPYFILE_RECURSIVE | COPYFILE_NOFOLLOW | COPYFILE_EXCL;
    if (::copyfile(from.c_str(), to.c_str(), nullptr, flags) != 0) {
        throw fileError("copier", from, to, errno);
    }
}

bool FileManager::isHidden(const fs::path& folder) const {
    struct stat found {};
    return retrying([&] { return ::lstat(folder.c_str(), &found); }) == 0 &&
           (found.st_flags & UF_HIDDEN) != 0;
}

void FileManager::setHidden(const fs::path& folder, bool hidden) const {
    if (isHidden(folder) == hidden) {
        return;
    }
    const struct stat found = parts::information(folder, "régler la visibilité de");
    const auto flags = hidden ? found.st_flags | UF_HIDDEN : found.st_flags & ~std::uint32_t{UF_HIDDEN};
    if (retrying([&] { return ::lchflags(folder.c_str(), flags); }) != 0) {
        throw fileError("régler la visibilité de", folder, errno);
    }
}

std::optional<fs::path> FileManager::hiddenList(const fs::path& /*folder*/) const {
    return std::nullopt;
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
        if (retrying([&] { return ::fcntl(file.get(), F_FULLFSYNC); }) != 0 && errno != ENOTSUP &&
            errno != EINVAL && errno != ENOTTY) { // disks without a cache of their own, and network disks
            throw fileError("enregistrer sur le disque", item, errno);
        }
    }
}

} // namespace platform
