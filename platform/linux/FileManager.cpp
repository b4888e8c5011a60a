#include "platform/FileManager.hpp"

#include "platform/Error.hpp"
#include "platform/posix/FileManagerParts.hpp"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <limits>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

namespace platform {
namespace parts {

int renameWithoutReplacing(const char* from, const char* to) {
    return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
}

int flushFileSystem(int file) {
    return ::syncfs(file);
}

} // namespace parts

namespace {

constexpr std::size_t bufferSize = std::size_t{256} * 1024;

bool copyByReading(int from, int to) {
    std::vector<char> buffer(bufferSize);
    for (;;) {
        const ssize_t length = retrying([&] { return ::read(from, buffer.data(), buffer.size()); });
        if (length <= 0) {
            return length == 0;
        }
        if (!parts::writeAll(to, {buffer.data(), static_cast<std::size_t>(length)})) {
            return false;
        }
    }
}

/// Clones the file, or copies it inside the kernel, or copies it through this process: the first way that the
/// file systems offer. False, with errno set, when the contents cannot be copied.
bool copyContents(int from, int to) {
    if (retrying([&] { return ::ioctl(to, FICLONE, from); }) == 0) {
        return true;
    }
    constexpr std::size_t most = std::size_t{1} << 30;
    for (;;) {
        const ssize_t length =
            retrying([&] { return ::copy_file_range(from, nullptr, to, nullptr, most, 0); });
        if (length == 0) {
            return true;
        }
        if (length < 0) {
            constexpr std::array unsupported{EXDEV, ENOSYS, EINVAL, EOPNOTSUPP};
            return std::ranges::find(unsupported, errno) != unsupported.end() && copyByReading(from, to);
        }
    }
}

/// Nothing, with errno set, when the names cannot be read; a disk that keeps no attributes has none.
std::optional<std::vector<std::string>> attributeNames(int file) {
    std::string list(std::numeric_limits<std::uint16_t>::max() + std::size_t{1}, '\0'); // XATTR_LIST_MAX
    const ssize_t length = ::flistxattr(file, list.data(), list.size());
    if (length < 0 && errno != ENOTSUP) {
        return std::nullopt;
    }
    list.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    std::istringstream names(list);
    std::vector<std::string> result;
    for (std::string name; std::getline(names, name, '\0');) {
        result.push_back(name);
    }
    return result;
}

/// Copies the extended attributes that a user may set; a disk that keeps none is no error.
bool copyAttributes(int from, int to) {
    const std::optional<std::vector<std::string>> names = attributeNames(from);
    if (!names) {
        return false;
    }
    for (const std::string& name : *names) {
        if (name.starts_with("security.") || name.starts_with("trusted.")) {
            continue;
        }
        std::string value(std::numeric_limits<std::uint16_t>::max() + std::size_t{1}, '\0'); // XATTR_SIZE_MAX
        const ssize_t length = ::fgetxattr(from, name.c_str(), value.data(), value.size());
        if (length < 0 ||
            (::fsetxattr(to, name.c_str(), value.data(), static_cast<std::size_t>(length), 0) != 0 &&
             errno != ENOTSUP)) {
            return false;
        }
    }
    return true;
}

/// Gives the copy what the original has beside its contents; false, with errno set, when that fails.
bool copyMetadata(int from, int to, const struct stat& original) {
    const std::array times{original.st_atim, original.st_mtim};
    return copyAttributes(from, to) &&
           retrying([&] { return ::fchmod(to, original.st_mode & 07777U); }) == 0 &&
           retrying([&] { return ::futimens(to, times.data()); }) == 0;
}

/// Lets the disk write a large copy while the run goes on; the flush at the end then waits for less. Small
/// files are faster written together.
void startWriting(int file, off_t size) {
    constexpr off_t large = off_t{256} * 1024;
    if (size >= large) {
        ::sync_file_range(file, 0, 0, SYNC_FILE_RANGE_WRITE);
    }
}

void copyFile(const fs::path& from, const fs::path& to, const struct stat& original) {
    const Descriptor source = parts::openForReading(from, O_NOFOLLOW);
    Descriptor copy(retrying(
        [&] { return ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600); }));
    if (!copy || !copyContents(source.get(), copy.get()) ||
        !copyMetadata(source.get(), copy.get(), original)) {
        throw fileError("copier", from, to, errno);
    }
    startWriting(copy.get(), original.st_size);
    if (!copy.close()) {
        throw fileError("copier", from, to, errno);
    }
}

void copyLink(const fs::path& from, const fs::path& to, const struct stat& original) {
    std::error_code failure;
    do {
        fs::copy_symlink(from, to, failure);
    } while (failure == std::errc::interrupted);
    if (failure) {
        throw fileError("copier", from, to, failure.value());
    }
    const std::array times{original.st_atim, original.st_mtim};
    ::utimensat(AT_FDCWD, to.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

void copyFolder(const FileManager& files, const fs::path& from, const fs::path& to,
                const struct stat& original) {
    if (retrying([&] { return ::mkdir(to.c_str(), 0700); }) != 0) {
        throw fileError("copier", from, to, errno);
    }
    std::error_code failure;
    fs::directory_iterator item(from, failure);
    for (; !failure && item != fs::directory_iterator(); item.increment(failure)) {
        files.copyItem(item->path(), to / item->path().filename());
    }
    if (failure) {
        throw fileError("lire", from, failure.value());
    }
    const Descriptor source = parts::openForReading(from, O_DIRECTORY | O_NOFOLLOW);
    const Descriptor copy = parts::openForReading(to, O_DIRECTORY | O_NOFOLLOW);
    if (!copyMetadata(source.get(), copy.get(), original)) {
        throw fileError("copier", from, to, errno);
    }
}

/// The lines of a list of hidden items; a missing list has none.
std::vector<std::string> hiddenNames(const FileManager& files, const fs::path& list) {
    std::vector<std::string> names;
    if (files.exists(list)) {
        std::istringstream lines(files.read(list));
        for (std::string name; std::getline(lines, name);) {
            names.push_back(name);
        }
    }
    return names;
}

} // namespace

void FileManager::copyItem(const fs::path& from, const fs::path& to) const {
    const struct stat original = parts::information(from, "lire");
    if (S_ISREG(original.st_mode)) {
        copyFile(from, to, original);
    } else if (S_ISLNK(original.st_mode)) {
        copyLink(from, to, original);
    } else if (S_ISDIR(original.st_mode)) {
        copyFolder(*this, from, to, original);
    } else {
        throw fileError("copier", from, ENXIO);
    }
}

// Linux has no such flag. File browsers honour a list of names in the folder above.
std::optional<fs::path> FileManager::hiddenList(const fs::path& folder) const {
    return folder.parent_path() / ".hidden";
}

bool FileManager::isHidden(const fs::path& folder) const {
    if (!exists(folder)) {
        return false;
    }
    const std::vector<std::string> names = hiddenNames(*this, *hiddenList(folder));
    return std::ranges::find(names, folder.filename().string()) != names.end();
}

void FileManager::setHidden(const fs::path& folder, bool hidden) const {
    if (isHidden(folder) == hidden) {
        return;
    }
    const fs::path list = *hiddenList(folder);
    std::vector<std::string> names = hiddenNames(*this, list);
    std::erase(names, folder.filename().string());
    if (hidden) {
        names.push_back(folder.filename().string());
    }
    if (names.empty()) {
        removeItem(list);
        return;
    }
    std::string contents;
    for (const std::string& name : names) {
        contents += name + "\n";
    }
    writeAtomically(list, contents);
}

void FileManager::synchronize(const std::vector<fs::path>& items) const {
    std::vector<fs::path> written;
    for (const fs::path& item : items) {
        const struct stat found = parts::information(item, "enregistrer sur le disque");
        if (S_ISREG(found.st_mode) || S_ISDIR(found.st_mode)) {
            written.push_back(item);
        }
    }
    // Starting every file's writing before waiting for the first spares a wait per file.
    for (const fs::path& item : written) {
        const Descriptor file = parts::openForReading(item, O_NOFOLLOW);
        ::sync_file_range(file.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
    }
    for (const fs::path& item : written) {
        const Descriptor file = parts::openForReading(item, O_NOFOLLOW);
        if (retrying([&] { return ::fsync(file.get()); }) != 0) {
            throw fileError("enregistrer sur le disque", item, errno);
        }
    }
}

} // namespace platform
