#include "platform/FileManager.hpp"

#include "platform/Error.hpp"
#include "platform/posix/FileManagerParts.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <memory>
#include <new>
#include <ratio>
#include <set>
#include <system_error>

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

} // namespace parts

namespace {

constexpr std::size_t pieceSize = std::size_t{64} * 1024;
constexpr unsigned allPermissions = 07777;

/// True for the errors that tell that there is no item.
bool tellsOfNoItem(int number) {
    return number == ENOENT || number == ENOTDIR || number == ELOOP;
}

/// What `stat` or `lstat` tells of the item; nothing when there is none. Throws `Error` when it cannot tell.
std::optional<struct stat> inspect(const fs::path& path, int (*inspection)(const char*, struct stat*)) {
    struct stat found {};
    if (retrying([&] { return inspection(path.c_str(), &found); }) == 0) {
        return found;
    }
    if (tellsOfNoItem(errno)) {
        return std::nullopt;
    }
    throw fileError("lire", path, errno);
}

/// The modification date; macOS has a name of its own for it.
template <typename Status>
timespec modified(const Status& status) {
    if constexpr (requires { status.st_mtimespec; }) {
        return status.st_mtimespec;
    } else {
        return status.st_mtim;
    }
}

/// The date in nanoseconds since 1970; one of another era is moved to the nearest date that has such a
/// number.
std::int64_t nanoseconds(const timespec& date) {
    using Limits = std::numeric_limits<std::int64_t>;
    constexpr std::int64_t second = std::nano::den;
    const std::int64_t seconds = date.tv_sec;
    if (seconds > Limits::max() / second - 1 || seconds < Limits::min() / second + 1) {
        return seconds > 0 ? Limits::max() : Limits::min();
    }
    return seconds * second + date.tv_nsec;
}

ItemStatus::Kind kindOf(mode_t mode) {
    using Kind = ItemStatus::Kind;
    return S_ISREG(mode)   ? Kind::file
           : S_ISDIR(mode) ? Kind::folder
           : S_ISLNK(mode) ? Kind::link
                           : Kind::other;
}

bool changesPermissions(const fs::path& path, unsigned permissions) {
    return retrying([&] { return ::chmod(path.c_str(), static_cast<mode_t>(permissions)); }) == 0;
}

void changePermissions(const fs::path& path, unsigned permissions) {
    if (!changesPermissions(path, permissions)) {
        throw fileError("régler les permissions de", path, errno);
    }
}

struct CloseListing {
    void operator()(DIR* listing) const { ::closedir(listing); }
};

/// The names of all items in the folder, sorted.
std::vector<std::string> names(const fs::path& folder, int flags = 0) {
    Descriptor file(retrying(
        [&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | flags); }));
    const std::unique_ptr<DIR, CloseListing> listing(file ? ::fdopendir(file.get()) : nullptr);
    if (!listing) {
        throw fileError("parcourir le dossier", folder, errno);
    }
    file.release();
    std::vector<std::string> found;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(listing.get());
        if (entry != nullptr) {
            found.emplace_back(entry->d_name);
        } else if (errno == 0) {
            break;
        } else if (errno != EINTR) {
            throw fileError("parcourir le dossier", folder, errno);
        }
    }
    std::erase_if(found, [](const std::string& name) { return name == "." || name == ".."; });
    std::ranges::sort(found);
    return found;
}

/// Lets the owner change what is in the folder; whether that succeeds, the change itself shows.
void makeFolderWritable(const fs::path& folder) {
    const unsigned found = parts::information(folder, "supprimer").st_mode & allPermissions;
    if ((found & S_IRWXU) != S_IRWXU) {
        changesPermissions(folder, found | S_IRWXU);
    }
}

bool isRemoved(const fs::path& item) {
    return retrying([&] { return std::remove(item.c_str()); }) == 0 || tellsOfNoItem(errno);
}

void removeTree(const fs::path& item) {
    if (isRemoved(item)) {
        return;
    }
    if (errno != ENOTEMPTY && errno != EEXIST) {
        throw fileError("supprimer", item, errno);
    }
    makeFolderWritable(item);
    for (const std::string& name : names(item, O_NOFOLLOW)) {
        removeTree(item / name);
    }
    if (!isRemoved(item)) {
        throw fileError("supprimer", item, errno);
    }
}

/// For FAT and some network disks, which know no exclusive rename.
int renameAfterLooking(const fs::path& from, const fs::path& to) {
    struct stat found {};
    if (retrying([&] { return ::lstat(to.c_str(), &found); }) == 0) {
        errno = EEXIST;
        return -1;
    }
    return errno == ENOENT ? retrying([&] { return ::rename(from.c_str(), to.c_str()); }) : -1;
}

void renameExclusively(const fs::path& from, const fs::path& to) {
    int result = retrying([&] { return parts::renameWithoutReplacing(from.c_str(), to.c_str()); });
    if (result != 0 && (errno == EINVAL || errno == ENOTSUP)) {
        result = renameAfterLooking(from, to);
    }
    if (result != 0) {
        throw fileError("déplacer", from, to, errno);
    }
}

/// Renames a folder that was made writable for it, and gives it these permissions back.
void renameUnlockedFolder(const fs::path& from, const fs::path& to, unsigned permissions) {
    try {
        renameExclusively(from, to);
    } catch (const Error&) {
        changesPermissions(from, permissions); // the first failure is the one to report
        throw;
    }
    try {
        changePermissions(to, permissions);
    } catch (const Error&) {
        renameExclusively(to, from);
        throw;
    }
}

void changeDate(const fs::path& path, const timespec& date) {
    const std::array<timespec, 2> dates{{{0, UTIME_OMIT}, date}};
    if (retrying([&] { return ::utimensat(AT_FDCWD, path.c_str(), dates.data(), AT_SYMLINK_NOFOLLOW); }) !=
        0) {
        throw fileError("dater", path, errno);
    }
}

/// Gives the copy the permissions and the date of the original where the system has not done so.
void completeCopy(const fs::path& from, const fs::path& to, const struct stat& original) {
    const struct stat copy = parts::information(to, "copier");
    if (S_ISREG(original.st_mode) && copy.st_size != original.st_size) {
        throw fileError("copier", from, "la copie n’a pas la taille du fichier");
    }
    constexpr unsigned copied = 0777; // rights that nobody asked for are no part of a copy
    if (!S_ISLNK(original.st_mode) && (copy.st_mode & allPermissions) != (original.st_mode & copied)) {
        changePermissions(to, original.st_mode & copied);
    }
    changeDate(to, modified(original));
}

/// Copies the item with all in it, and calls `copied` with each path that was written.
void copyTree(const FileManager& files, const fs::path& from, const fs::path& to,
              const std::function<void(const fs::path&)>& copied) {
    const struct stat original = parts::information(from, "lire");
    const auto check = [&](int result) {
        if (result != 0) {
            throw fileError("copier", from, to, errno);
        }
    };
    switch (kindOf(original.st_mode)) {
    case ItemStatus::Kind::file:
        parts::copyFile(from, to, original);
        break;
    case ItemStatus::Kind::folder:
        check(retrying([&] { return ::mkdir(to.c_str(), S_IRWXU); }));
        for (const std::string& name : parts::copiesCompanions ? files.list(from) : names(from, O_NOFOLLOW)) {
            copyTree(files, from / name, to / name, copied);
        }
        parts::copyFolderAttributes(from, to);
        break;
    case ItemStatus::Kind::link: {
        const std::string target = files.linkTarget(from);
        check(retrying([&] { return ::symlink(target.c_str(), to.c_str()); }));
        break;
    }
    case ItemStatus::Kind::other:
        throw fileError("copier", from, ENXIO);
    }
    completeCopy(from, to, original);
    copied(to);
}

/// Hands a regular file's contents to the sink, once `accept` has been told its size. A disk that ends a file
/// early, as some network disks do, must not give it another digest.
void readFile(const fs::path& path, const std::function<void(std::uint64_t)>& accept,
              const FileManager::Sink& sink) {
    const Descriptor file = parts::openForReading(path);
    struct stat found {};
    if (::fstat(file.get(), &found) != 0) {
        throw fileError("lire", path, errno);
    }
    if (!S_ISREG(found.st_mode)) {
        throw fileError("lire", path, S_ISDIR(found.st_mode) ? EISDIR : ENXIO);
    }
    accept(static_cast<std::uint64_t>(found.st_size));
    std::array<char, pieceSize> piece; // not cleared: small files are many
    for (off_t total = 0;;) {
        const ssize_t length = retrying([&] { return ::read(file.get(), piece.data(), piece.size()); });
        if (length < 0) {
            throw fileError("lire", path, errno);
        }
        if (length == 0 && total < found.st_size) {
            throw fileError("lire", path, "la lecture s’est arrêtée avant la fin du fichier");
        }
        if (length == 0) {
            return;
        }
        total += length;
        sink({piece.data(), static_cast<std::size_t>(length)});
    }
}

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

} // namespace

const FileManager& FileManager::defaultManager() {
    static const FileManager manager;
    return manager;
}

bool FileManager::exists(const fs::path& path) const {
    return inspect(path, ::stat).has_value();
}

std::optional<ItemStatus> FileManager::status(const fs::path& path) const {
    const std::optional<struct stat> found = inspect(path, ::lstat);
    if (!found) {
        return std::nullopt;
    }
    return ItemStatus{kindOf(found->st_mode),
                      static_cast<std::uint64_t>(found->st_dev),
                      static_cast<std::uint64_t>(found->st_ino),
                      static_cast<std::uint64_t>(found->st_size),
                      nanoseconds(modified(*found)),
                      found->st_mode & allPermissions,
                      found->st_uid};
}

std::string FileManager::linkTarget(const fs::path& link) const {
    std::string target(PATH_MAX, '\0');
    const ssize_t length = retrying([&] { return ::readlink(link.c_str(), target.data(), target.size()); });
    if (length < 0) {
        throw fileError("lire le lien", link, errno);
    }
    target.resize(static_cast<std::size_t>(length)); // no system has links to longer paths
    return target;
}

bool FileManager::belongsToUser(const fs::path& path) const {
    const std::optional<ItemStatus> found = status(path);
    return found && found->owner == ::geteuid();
}

bool FileManager::isFolder(const fs::path& path) const {
    const std::optional<struct stat> found = inspect(path, ::stat);
    return found && S_ISDIR(found->st_mode);
}

fs::path FileManager::resolved(const fs::path& path) const {
    std::error_code failure;
    fs::path existing = fs::absolute(path.empty() ? "." : path, failure).lexically_normal();
    if (failure) {
        return path;
    }
    fs::path rest;
    for (; existing.has_relative_path(); existing = existing.parent_path()) {
        const fs::path real = fs::canonical(existing, failure);
        if (!failure) {
            return rest.empty() ? real : real / rest;
        }
        if (existing.has_filename()) {
            rest = rest.empty() ? existing.filename() : existing.filename() / rest;
        }
    }
    return existing / rest;
}

std::string FileManager::read(const fs::path& path, std::uint64_t most) const {
    std::string contents;
    const auto allow = [&](std::uint64_t size) {
        if (size > most) {
            throw fileError("lire", path, EFBIG);
        }
    };
    try {
        readFile(
            path,
            [&](std::uint64_t size) {
                allow(size);
                contents.reserve(size);
            },
            [&](std::string_view piece) {
                allow(contents.size() + piece.size()); // it may grow meanwhile
                contents.append(piece);
            });
    } catch (const std::bad_alloc&) {
        throw fileError("lire", path, ENOMEM);
    }
    return contents;
}

void FileManager::read(const fs::path& path, const Sink& sink) const {
    readFile(
        path, [](std::uint64_t) {}, sink);
}

void FileManager::writeNew(const fs::path& path, const Source& contents) const {
    Descriptor file(retrying(
        [&] { return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666); }));
    if (!file) {
        throw fileError("écrire", path, errno);
    }
    try {
        writePieces(path, file, contents);
    } catch (...) {
        retrying([&] { return ::unlink(path.c_str()); });
        throw;
    }
}

void FileManager::makeFolder(const fs::path& path, unsigned permissions) const {
    const auto make = [&] {
        return retrying([&] { return ::mkdir(path.c_str(), static_cast<mode_t>(permissions)); }) == 0 ? 0
                                                                                                      : errno;
    };
    int failure = make();
    if (tellsOfNoItem(failure) && path.has_relative_path() && path.parent_path() != path) {
        makeFolder(path.parent_path(), permissions);
        failure = make();
    }
    if (failure == 0 || isFolder(path)) {
        return;
    }
    if (existsNoFollow(path) && !exists(path)) { // to a disk that is not there, perhaps
        throw fileError("créer le dossier", path, "c’est un lien vers un emplacement qui n’existe pas");
    }
    throw fileError("créer le dossier", path, failure);
}

void FileManager::copyItem(const fs::path& from, const fs::path& to) const {
    copyTree(*this, from, to, [](const fs::path&) {});
}

void FileManager::renameItem(const fs::path& from, const fs::path& to) const {
    try {
        renameExclusively(from, to);
    } catch (const Error& error) {
        const auto found = error.number() == EACCES ? inspect(from, ::lstat) : std::nullopt;
        // A folder is renamed only by who may write to it: Linux changes its "..", macOS asks for it always.
        if (!found || !S_ISDIR(found->st_mode) || (found->st_mode & S_IWUSR) != 0 ||
            !changesPermissions(from, (found->st_mode & allPermissions) | S_IWUSR)) {
            throw;
        }
        renameUnlockedFolder(from, to, found->st_mode & allPermissions);
    }
}

void FileManager::moveItem(const fs::path& from, const fs::path& to, const fs::path& partial) const {
    try {
        renameItem(from, to);
        return;
    } catch (const Error& error) {
        if (error.number() != EXDEV) {
            throw;
        }
    }
    std::vector<fs::path> written;
    copyTree(*this, from, partial, [&](const fs::path& item) { written.push_back(item); });
    synchronize(written);
    renameItem(partial, to);
    synchronize({to.parent_path()});
    removeItem(from);
}

bool FileManager::moveExisting(const fs::path& from, const fs::path& to, const fs::path& partial) const {
    try {
        moveItem(from, to, partial);
        return true;
    } catch (const Error& error) {
        if (error.number() != ENOENT || existsNoFollow(from)) {
            throw;
        }
        return false;
    }
}

void FileManager::removeItem(const fs::path& path) const {
    removeTree(path);
}

void FileManager::removeEmptyFolder(const fs::path& path) const {
    if (retrying([&] { return ::rmdir(path.c_str()); }) != 0 && errno != ENOTEMPTY && errno != EEXIST &&
        !tellsOfNoItem(errno)) {
        throw fileError("supprimer le dossier", path, errno);
    }
}

std::vector<std::string> FileManager::list(const fs::path& folder) const {
    if (!isFolder(folder)) {
        return {};
    }
    const std::vector<std::string> all = names(folder);
    std::vector<std::string> found;
    std::ranges::copy_if(all, std::back_inserter(found), [&](const std::string& name) {
        return !name.starts_with("._") || !std::ranges::binary_search(all, name.substr(2));
    });
    return found;
}

void FileManager::enumerate(const fs::path& folder,
                            const std::function<void(const fs::path&, const ItemStatus&)>& visit) const {
    for (const std::string& name : list(folder)) {
        const fs::path item = folder / name;
        if (const std::optional<ItemStatus> found = status(item)) { // else it went in the meantime
            visit(item, *found);
            if (found->kind == ItemStatus::Kind::folder) {
                enumerate(item, visit);
            }
        }
    }
}

void FileManager::touch(const fs::path& path) const {
    changeDate(path, {0, UTIME_NOW});
}

void FileManager::setPermissions(const fs::path& path, unsigned permissions) const {
    const struct stat found = parts::information(path, "régler les permissions de");
    if (S_ISLNK(found.st_mode)) {
        throw fileError("régler les permissions de", path, ELOOP);
    }
    if ((found.st_mode & allPermissions) != permissions) {
        changePermissions(path, permissions);
    }
}

void FileManager::setModified(const fs::path& path, std::int64_t date) const {
    using namespace std::chrono;
    if (nanoseconds(modified(parts::information(path, "dater"))) != date) {
        const auto second = floor<seconds>(std::chrono::nanoseconds(date));
        changeDate(path, {static_cast<time_t>(second.count()),
                          static_cast<long>((std::chrono::nanoseconds(date) - second).count())});
    }
}

// After many small files one flush of all costs a fraction of one flush each.
void FileManager::synchronizeFileSystems(const std::vector<fs::path>& paths) const {
    std::set<dev_t> synchronized;
    for (const fs::path& path : paths) {
        fs::path folder = resolved(path);
        while (!isFolder(folder) && folder.has_parent_path()) {
            folder = folder.parent_path();
        }
        const Descriptor file = parts::openForReading(folder);
        struct stat found {};
        if (::fstat(file.get(), &found) != 0 ||
            (synchronized.insert(found.st_dev).second &&
             retrying([&] { return parts::flushFileSystem(file.get()); }) != 0)) {
            throw fileError("enregistrer sur le disque", folder, errno);
        }
    }
}

} // namespace platform
