#include "platform/FileManager.hpp"

#include "platform/Error.hpp"
#include "platform/posix/FileManagerParts.hpp"

#include <attr/libattr.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace fs = std::filesystem;

namespace platform {
namespace {

bool copyByReading(int from, int to) {
    std::string buffer(std::size_t{256} * 1024, '\0');
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
bool copyContents(int from, int to, off_t size) {
    if (retrying([&] { return ::ioctl(to, FICLONE, from); }) == 0) {
        return true;
    }
    while (size > 0) {
        const ssize_t length = retrying(
            [&] { return ::copy_file_range(from, nullptr, to, nullptr, static_cast<std::size_t>(size), 0); });
        constexpr std::array unsupported{EXDEV, ENOSYS, EINVAL, EOPNOTSUPP};
        if (length < 0 && std::ranges::find(unsupported, errno) == unsupported.end()) {
            return false;
        }
        if (length <= 0) { // some disks end a copy early
            return copyByReading(from, to);
        }
        size -= length;
    }
    return true;
}

/// Lets the disk write a large copy while the run goes on; the flush at the end then waits for less. Small
/// files are faster written together.
void startWriting(int file, off_t size) {
    constexpr off_t large = off_t{256} * 1024;
    if (size >= large) {
        ::sync_file_range(file, 0, 0, SYNC_FILE_RANGE_WRITE);
    }
}

/// Copies the attributes that a user may set.
void copyAttributes(const fs::path& from, const fs::path& to) {
    const auto isUsers = [](const char* name, error_context*) -> int {
        const std::string_view attribute(name);
        return !attribute.starts_with("security.") && !attribute.starts_with("trusted.") ? 1 : 0;
    };
    if (::attr_copy_file(from.c_str(), to.c_str(), isUsers, nullptr) != 0 && errno != ENOTSUP) {
        throw fileError("copier", from, to, errno);
    }
}

/// The lines of a list of hidden items; a missing list has none. A stream would take an allocation that fails
/// for the end of the text.
std::vector<std::string> hiddenNames(const FileManager& files, const fs::path& list) {
    constexpr std::uint64_t most = std::uint64_t{1} << 20;
    std::vector<std::string> names;
    const std::string text = files.exists(list) ? files.read(list, most) : "";
    for (std::string_view lines = text; !lines.empty();) {
        const std::string_view name = lines.substr(0, lines.find('\n'));
        names.emplace_back(name);
        lines.remove_prefix(std::min(lines.size(), name.size() + 1));
    }
    return names;
}

fs::path hiddenListPath(const fs::path& folder) {
    return folder.parent_path() / ".hidden";
}

} // namespace

namespace parts {

const bool copiesCompanions = false;

int renameWithoutReplacing(const char* from, const char* to) {
    return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
}

int flushFileSystem(int file) {
    return ::syncfs(file);
}

void copyFile(const fs::path& from, const fs::path& to, const struct stat& original) {
    const Descriptor source = openForReading(from, O_NOFOLLOW);
    Descriptor copy(retrying(
        [&] { return ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600); }));
    if (!copy || !copyContents(source.get(), copy.get(), original.st_size)) {
        throw fileError("copier", from, to, errno);
    }
    startWriting(copy.get(), original.st_size);
    if (!copy.close()) {
        throw fileError("copier", from, to, errno);
    }
    copyAttributes(from, to);
}

void copyFolderAttributes(const fs::path& from, const fs::path& to) {
    copyAttributes(from, to);
}

} // namespace parts

// Linux has no such flag. File browsers honour a list of names in the folder above.
bool FileManager::isHidden(const fs::path& folder) const {
    if (!exists(folder)) {
        return false;
    }
    const std::vector<std::string> names = hiddenNames(*this, hiddenListPath(folder));
    return std::ranges::find(names, folder.filename().string()) != names.end();
}

void FileManager::setHidden(const fs::path& /*folder*/, bool /*hidden*/) const {}

std::optional<fs::path> FileManager::hiddenList(const fs::path& folder) const {
    return hiddenListPath(folder);
}

std::string FileManager::hiddenListWithout(const fs::path& folder) const {
    std::string list;
    for (const std::string& name : hiddenNames(*this, hiddenListPath(folder))) {
        if (name != folder.filename().string()) {
            list += name + "\n";
        }
    }
    return list;
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
