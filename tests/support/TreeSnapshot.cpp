#include "tests/support/TreeSnapshot.hpp"

#include "platform/Digest.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <sys/stat.h>

#include <cstdio>
#include <stdexcept>

namespace tests {
namespace {

const std::string dateMark = " modified ";

std::string describe(const std::filesystem::path& path) {
    struct stat information {};
    if (lstat(path.c_str(), &information) != 0) {
        throw std::runtime_error("cannot look at " + path.string());
    }
    char permissions[8];
    std::snprintf(permissions, sizeof permissions, "%04o", information.st_mode & 07777U);
    if (S_ISDIR(information.st_mode)) {
        return std::string("folder ") + permissions;
    }
    if (S_ISLNK(information.st_mode)) {
        return "link to " + std::filesystem::read_symlink(path).string();
    }
    if (!S_ISREG(information.st_mode)) {
        return std::string("special ") + permissions;
    }
    platform::Sha256 digest;
    digest.update(readFile(path));
#ifdef __APPLE__
    const auto modified = information.st_mtimespec;
#else
    const auto modified = information.st_mtim;
#endif
    return std::string("file ") + permissions + " " + platform::hexadecimal(digest.finish()) + dateMark +
           std::to_string(modified.tv_sec) + "." + std::to_string(modified.tv_nsec);
}

} // namespace

TreeSnapshot TreeSnapshot::of(const std::filesystem::path& folder) {
    TreeSnapshot snapshot;
    for (const auto& item : std::filesystem::recursive_directory_iterator(folder)) {
        snapshot.items[item.path().lexically_relative(folder).string()] = describe(item.path());
    }
    return snapshot;
}

TreeSnapshot TreeSnapshot::without(const std::string& path) const {
    TreeSnapshot rest = *this;
    std::erase_if(rest.items,
                  [&](const auto& item) { return item.first == path || item.first.starts_with(path + "/"); });
    return rest;
}

TreeSnapshot TreeSnapshot::undated() const {
    TreeSnapshot rest = *this;
    for (auto& [path, description] : rest.items) {
        description = description.substr(0, description.find(dateMark));
    }
    return rest;
}

std::ostream& operator<<(std::ostream& stream, const TreeSnapshot& snapshot) {
    for (const auto& [path, description] : snapshot.items) {
        stream << path << ": " << description << "\n";
    }
    return stream;
}

std::string difference(const TreeSnapshot& before, const TreeSnapshot& after) {
    std::string text;
    for (const auto& [path, description] : before.items) {
        const auto found = after.items.find(path);
        if (found == after.items.end()) {
            text += "- " + path + ": " + description + "\n";
        } else if (found->second != description) {
            text += "! " + path + ": " + description + " -> " + found->second + "\n";
        }
    }
    for (const auto& [path, description] : after.items) {
        if (!before.items.contains(path)) {
            text += "+ " + path + ": " + description + "\n";
        }
    }
    return text;
}

} // namespace tests
