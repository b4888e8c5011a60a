#include "platform/FileManager.hpp"

#include "platform/Error.hpp"
#include "platform/posix/FileManagerParts.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <set>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace platform {
namespace parts {

Descriptor openForReading(const fs::path& path, int flags) {
    Descriptor file(
        retrying([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | flags); }));
    if (!file) {
        throw fileError("lire", path, errno);
    }
    return file;
}

struct stat information(const fs::path& path, std::string_view attempt) {
    struct stat found {};
    if (retrying([&] { return ::lstat(path.c_str(), &found); }) != 0) {
        throw fileError(attempt, path, errno);
    }
    return found;
}

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = retrying([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
        if (written < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

namespace {

/// For FAT and some network disks, which know no exclusive rename.
int renameAfterLooking(const fs::path& from, const fs::path& to) {
    struct stat found {};
    if (::lstat(to.c_str(), &found) == 0) {
        errno = EEXIST;
        return -1;
    }
    return retrying([&] { return ::rename(from.c_str(), to.c_str()); });
}

} // namespace

bool renameExclusively(const fs::path& from, const fs::path& to) {
    int result = retrying([&] { return renameWithoutReplacing(from.c_str(), to.c_str()); });
    if (result != 0 && (errno == EINVAL || errno == ENOTSUP)) {
        result = renameAfterLooking(from, to);
    }
    if (result != 0 && errno != EXDEV) {
        throw fileError("déplacer", from, to, errno);
    }
    return result == 0;
}

} // namespace parts

namespace {

constexpr const char* temporaryEnding = ".orvo-partial";
constexpr std::size_t pieceSize = std::size_t{64} * 1024;

void writePieces(const fs::path& path, Descriptor& file, const FileManager::Source& contents) {
    std::string pending;
    const auto flush = [&] {
        if (!parts::writeAll(file.get(), pending)) {
            throw fileError("écrire", path, errno);
        }
        pending.clear();
    };
    contents([&](std::string_view piece) {
        pending += piece;
        if (pending.size() >= pieceSize) {
            flush();
        }
    });
    flush();
    if (!file.close()) {
        throw fileError("écrire", path, errno);
    }
}

/// What `stat` or `lstat` tells of the item; nothing when there is none. Throws `Error` when it cannot tell.
std::optional<struct stat> inspect(const fs::path& path, int (*inspection)(const char*, struct stat*)) {
    struct stat found {};
    if (retrying([&] { return inspection(path.c_str(), &found); }) == 0) {
        return found;
    }
    if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) {
        return std::nullopt;
    }
    throw fileError("lire", path, errno);
}

/// Lets the owner change what is in the folder, at every depth.
void unlockFolders(const fs::path& folder) {
    std::error_code ignored;
    if (!fs::is_directory(fs::symlink_status(folder, ignored))) {
        return;
    }
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ignored);
    for (fs::directory_iterator item(folder, ignored), end; item != end; item.increment(ignored)) {
        unlockFolders(item->path());
    }
}

std::error_code removeAllOnce(const fs::path& path) {
    std::error_code failure;
    do {
        fs::remove_all(path, failure);
    } while (failure == std::errc::interrupted);
    return failure;
}

/// Removes the item with all in it, also from folders that their owner made read-only.
std::error_code removeAll(const fs::path& path) {
    const std::error_code failure = removeAllOnce(path);
    if (failure != std::errc::permission_denied) {
        return failure;
    }
    unlockFolders(path);
    return removeAllOnce(path);
}

/// A folder can be moved only by who may write to it, since its way up changes.
bool renameReadOnlyFolder(const fs::path& from, const fs::path& to, mode_t permissions) {
    const auto set = [](const fs::path& folder, mode_t bits) {
        retrying([&] { return ::chmod(folder.c_str(), bits); });
    };
    set(from, permissions | S_IRWXU);
    try {
        const bool isRenamed = parts::renameExclusively(from, to);
        set(isRenamed ? to : from, permissions);
        return isRenamed;
    } catch (const Error&) {
        set(from, permissions);
        throw;
    }
}

/// Moves an item within its file system; false when the places lie on two.
bool renameItem(const fs::path& from, const fs::path& to) {
    try {
        return parts::renameExclusively(from, to);
    } catch (const Error& error) {
        const std::optional<struct stat> found = inspect(from, ::lstat);
        if (error.number() != EACCES || !found || !S_ISDIR(found->st_mode) ||
            (found->st_mode & S_IWUSR) != 0) {
            throw;
        }
        return renameReadOnlyFolder(from, to, found->st_mode & 07777U);
    }
}

} // namespace

const FileManager& FileManager::defaultManager() {
    static const FileManager manager;
    return manager;
}

bool FileManager::exists(const fs::path& path) const {
    return inspect(path, ::stat).has_value();
}

bool FileManager::occupied(const fs::path& path) const {
    return inspect(path, ::lstat).has_value();
}

bool FileManager::isLink(const fs::path& path) const {
    const std::optional<struct stat> found = inspect(path, ::lstat);
    return found && S_ISLNK(found->st_mode);
}

fs::path FileManager::resolved(const fs::path& path) const {
    std::error_code failure;
    const fs::path absolute = fs::absolute(path.empty() ? "." : path, failure).lexically_normal();
    const fs::path real = failure ? absolute : fs::weakly_canonical(absolute, failure);
    if (failure) {
        throw fileError("lire", absolute, failure.value());
    }
    return real.has_filename() ? real : real.parent_path();
}

std::string FileManager::read(const fs::path& path) const {
    std::string contents;
    read(path, [&](std::string_view piece) { contents.append(piece); });
    return contents;
}

void FileManager::read(const fs::path& path, const Sink& sink) const {
    const Descriptor file = parts::openForReading(path);
    struct stat found {};
    if (::fstat(file.get(), &found) != 0) {
        throw fileError("lire", path, errno);
    }
    if (!S_ISREG(found.st_mode)) {
        throw fileError("lire", path, S_ISDIR(found.st_mode) ? EISDIR : ENXIO);
    }
    std::array<char, pieceSize> piece; // not cleared: small files are many
    for (;;) {
        const ssize_t length = retrying([&] { return ::read(file.get(), piece.data(), piece.size()); });
        if (length < 0) {
            throw fileError("lire", path, errno);
        }
        if (length == 0) {
            return;
        }
        sink({piece.data(), static_cast<std::size_t>(length)});
    }
}

void FileManager::writeNew(const fs::path& path, const Source& contents) const {
    Descriptor file(retrying(
        [&] { return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666); }));
    if (!file) {
        throw fileError("écrire", path, errno);
    }
    try {
        writePieces(path, file, contents);
    } catch (const std::exception&) {
        retrying([&] { return ::unlink(path.c_str()); });
        throw;
    }
}

void FileManager::writeAtomically(const fs::path& path, std::string_view contents) const {
    const fs::path temporary = writeTemporary(path, [&](const Sink& sink) { sink(contents); });
    if (retrying([&] { return ::rename(temporary.c_str(), path.c_str()); }) != 0) {
        const int number = errno;
        retrying([&] { return ::unlink(temporary.c_str()); });
        throw fileError("écrire", path, number);
    }
}

void FileManager::createAtomically(const fs::path& path, const Source& contents) const {
    const fs::path temporary = writeTemporary(path, contents);
    try {
        parts::renameExclusively(temporary, path);
    } catch (const Error& error) {
        retrying([&] { return ::unlink(temporary.c_str()); });
        throw fileError("écrire", path, error.number());
    }
}

fs::path FileManager::writeTemporary(const fs::path& path, const Source& contents) const {
    fs::path temporary = temporaryName(path);
    removeUnfinished(temporary);
    writeNew(temporary, contents);
    return temporary;
}

/// Where an earlier run could neither finish an item nor remove it, this one must not stop for ever.
void FileManager::removeUnfinished(const fs::path& path) const {
    if (occupied(path)) {
        removeItem(path);
    }
}

void FileManager::makeFolder(const fs::path& path) const {
    if (retrying([&] { return ::mkdir(path.c_str(), 0777); }) == 0) {
        return;
    }
    int number = errno;
    if ((number == ENOENT || number == ENOTDIR) && path.has_relative_path() && path.parent_path() != path) {
        makeFolder(path.parent_path());
        if (retrying([&] { return ::mkdir(path.c_str(), 0777); }) == 0) {
            return;
        }
        number = errno;
    }
    if (isLink(path) && !exists(path)) { // to a disk that is not there, perhaps
        throw fileError("créer le dossier", path, "c’est un lien vers un emplacement qui n’existe pas");
    }
    if (!folderPermissions(path)) {
        throw fileError("créer le dossier", path, number);
    }
}

void FileManager::makeFolderDurably(const fs::path& path) const {
    std::vector<fs::path> changed{path.parent_path()};
    while (!exists(changed.back()) && changed.back() != changed.back().parent_path()) {
        changed.push_back(changed.back().parent_path());
    }
    makeFolder(path);
    synchronize(changed);
}

void FileManager::copyItemDurably(const fs::path& from, const fs::path& to) const {
    const fs::path temporary = temporaryName(to);
    removeUnfinished(temporary);
    try {
        copyItem(from, temporary);
        std::vector<fs::path> items{temporary};
        enumerate(temporary, [&](const fs::path& item, bool) { items.push_back(item); });
        synchronize(items);
        parts::renameExclusively(temporary, to);
        synchronize({to.parent_path()});
    } catch (const Error& error) {
        removeAll(temporary); // the failure that is reported is the first one
        throw fileError("copier", from, to, error.number());
    }
}

void FileManager::moveItem(const fs::path& from, const fs::path& to,
                           const std::function<void()>& arrived) const {
    const bool isRenamed = renameItem(from, to);
    if (!isRenamed) {
        copyItemDurably(from, to);
    }
    arrived();
    if (!isRenamed) {
        removeMoved(from);
    }
}

/// A folder goes from its place at once: half of it must never stand there and be taken for the whole.
void FileManager::removeMoved(const fs::path& path) const {
    if (!folderPermissions(path)) {
        removeItem(path);
        return;
    }
    const fs::path leaving = temporaryName(path);
    parts::renameExclusively(path, leaving);
    removeItem(leaving);
}

void FileManager::removeItem(const fs::path& path) const {
    if (const std::error_code failure = removeAll(path)) {
        throw fileError("supprimer", path, failure.value());
    }
}

bool FileManager::removeEmptyFolder(const fs::path& path) const {
    if (retrying([&] { return ::rmdir(path.c_str()); }) == 0) {
        return true;
    }
    if (errno == ENOTEMPTY || errno == EEXIST || errno == ENOENT || errno == ENOTDIR) {
        return false;
    }
    throw fileError("supprimer le dossier", path, errno);
}

fs::path FileManager::temporaryName(const fs::path& path) {
    fs::path name(".");
    name += path.filename();
    name += temporaryEnding;
    return path.parent_path() / name;
}

bool FileManager::isTemporaryName(const fs::path& path) {
    const std::string name = path.filename().string();
    return name.starts_with('.') && name.ends_with(temporaryEnding);
}

void FileManager::enumerate(const fs::path& folder,
                            const std::function<void(const fs::path&, bool)>& visit) const {
    std::error_code failure;
    if (!fs::is_directory(fs::symlink_status(folder, failure))) {
        return;
    }
    fs::recursive_directory_iterator item(folder, failure);
    for (; !failure && item != fs::recursive_directory_iterator(); item.increment(failure)) {
        visit(item->path(), fs::is_directory(item->symlink_status(failure)));
    }
    if (failure) {
        throw fileError("parcourir le dossier", folder, failure.value());
    }
}

void FileManager::touch(const fs::path& path) const {
    const std::array<timespec, 2> times{{{0, UTIME_OMIT}, {0, UTIME_NOW}}};
    if (retrying([&] { return ::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW); }) !=
        0) {
        throw fileError("dater", path, errno);
    }
}

std::optional<unsigned> FileManager::folderPermissions(const fs::path& path) const {
    const std::optional<struct stat> found = inspect(path, ::stat);
    return found && S_ISDIR(found->st_mode) ? std::optional(found->st_mode & 07777U) : std::nullopt;
}

void FileManager::setPermissions(const fs::path& path, unsigned permissions) const {
    if (retrying([&] { return ::chmod(path.c_str(), static_cast<mode_t>(permissions)); }) != 0) {
        throw fileError("régler les permissions de", path, errno);
    }
}

// After many small files one flush of all costs a fraction of one flush each.
void FileManager::synchronizeFileSystems(const std::vector<fs::path>& folders) const {
    std::set<dev_t> synchronized;
    for (const fs::path& item : folders) {
        if (!folderPermissions(item)) {
            continue;
        }
        const Descriptor file = parts::openForReading(item);
        struct stat found {};
        if (::fstat(file.get(), &found) != 0 ||
            (synchronized.insert(found.st_dev).second &&
             retrying([&] { return parts::flushFileSystem(file.get()); }) != 0)) {
            throw fileError("enregistrer sur le disque", item, errno);
        }
    }
}

} // namespace platform
