#include "platform/Ownership.hpp"

#include "platform/Error.hpp"
#include "platform/FileManager.hpp"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

extern char** environ; // NOLINT: POSIX gives the environment no header of its own

namespace fs = std::filesystem;

namespace platform {
namespace {

constexpr uid_t root = 0;
constexpr gid_t groupWithoutRights = 65534; // "nogroup" or nobody's

struct Account {
    uid_t user;
    gid_t group;
    std::string name; ///< empty where the system knows none
};

Account accountOf(const struct stat& item) {
    if (const passwd* known = ::getpwuid(item.st_uid)) {
        return {item.st_uid, known->pw_gid, known->pw_name};
    }
    // Who makes a folder for such a user often leaves it root's group, which is not theirs.
    return {item.st_uid, item.st_gid == root ? groupWithoutRights : item.st_gid, ""};
}

std::string nameOf(const Account& account) {
    return "l’utilisateur " + (account.name.empty() ? std::to_string(account.user) : account.name);
}

std::string quoted(const fs::path& path) {
    return "« " + path.string() + " »";
}

struct stat informationOf(const fs::path& path) {
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) {
        throw fileError("lire", path, errno);
    }
    return found;
}

/// The home, or the nearest folder above it that exists.
fs::path nearestItem(const fs::path& home) {
    fs::path path = home;
    struct stat found {};
    while (::lstat(path.c_str(), &found) != 0 && (errno == ENOENT || errno == ENOTDIR) &&
           path.has_relative_path()) {
        path = path.parent_path();
    }
    return path;
}

Error foreignHome(const fs::path& home, const fs::path& nearest, const Account& owner) {
    return fileError("modifier", home,
                     (nearest == home ? "ce dossier" : quoted(nearest)) + " appartient à " + nameOf(owner) +
                         ", et vous n’êtes ni cet utilisateur ni l’administrateur");
}

/// Throws where somebody else could put a folder of theirs in the place of a home in which root stays root.
/// Write permission for a group is the administrator's own decision.
void rejectReplaceable(const fs::path& home, const fs::path& nearest) {
    for (fs::path path = nearest;; path = path.parent_path()) {
        const struct stat found = informationOf(path);
        if (found.st_uid != root) {
            throw fileError("modifier", home,
                            quoted(path) + " appartient à " + nameOf(accountOf(found)) +
                                ", qui pourrait remplacer ce dossier");
        }
        // In a sticky folder others can add items but not replace one of root's.
        const bool protects = path != nearest && (found.st_mode & S_ISVTX) != 0;
        if (S_ISDIR(found.st_mode) && (found.st_mode & S_IWOTH) != 0 && !protects) {
            throw fileError("modifier", home, "tout le monde peut écrire dans " + quoted(path));
        }
        if (!path.has_relative_path()) {
            return;
        }
    }
}

/// Throws when a step of giving up root's rights failed.
void require(bool succeeded, const Account& owner, int number) {
    if (!succeeded) {
        throw Error("Impossible de renoncer aux droits d’administrateur en faveur de " + nameOf(owner) +
                        " : " + reason(number) + ".",
                    number);
    }
}

/// Calls initgroups, whose second argument is not of the same type everywhere.
template <typename Group>
bool takeGroupsOf(const Account& owner, int (*initialise)(const char*, Group)) {
    return initialise(owner.name.c_str(), static_cast<Group>(owner.group)) == 0;
}

void takeRightsOf(const Account& owner) {
    const bool hasGroups =
        owner.name.empty() ? ::setgroups(1, &owner.group) == 0 : takeGroupsOf(owner, ::initgroups);
    require(hasGroups, owner, errno);
    require(::setgid(owner.group) == 0, owner, errno);
    require(::setuid(owner.user) == 0, owner, errno);
    const bool isOwner = ::getuid() == owner.user && ::geteuid() == owner.user && ::getgid() == owner.group &&
                         ::getegid() == owner.group;
    require(isOwner && ::setuid(root) != 0 && ::seteuid(root) != 0, owner, EPERM);
}

/// What root had opened before it started the program stays closed to the tools.
void keepDescriptorsFromTools(const Account& owner) {
    std::error_code failure;
    for (fs::directory_iterator item("/dev/fd", failure), end; !failure && item != end;
         item.increment(failure)) {
        const std::string name = item->path().filename().string();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (descriptor > STDERR_FILENO) {
            ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        }
    }
    require(!failure, owner, failure.value());
}

/// Whether a variable says something about the terminal or the display and nothing about root.
bool isOfTheSession(std::string_view name) {
    constexpr std::array<std::string_view, 8> names{"PATH", "LANG",    "LANGUAGE",   "TZ",
                                                    "TERM", "DISPLAY", "XAUTHORITY", "WAYLAND_DISPLAY"};
    return std::ranges::find(names, name) != names.end() || name.starts_with("LC_") ||
           name.starts_with("QT_");
}

void takeVariablesOf(const Account& owner, const fs::path& home) {
    std::vector<std::string> names;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view text = *variable;
        names.emplace_back(text.substr(0, text.find('=')));
    }
    for (const std::string& name : names) {
        if (!isOfTheSession(name)) {
            ::unsetenv(name.c_str());
        }
    }
    ::setenv("HOME", home.c_str(), 1);
    if (!owner.name.empty()) {
        ::setenv("USER", owner.name.c_str(), 1);
        ::setenv("LOGNAME", owner.name.c_str(), 1);
    }
}

void become(const Account& owner, const fs::path& home) {
    keepDescriptorsFromTools(owner);
    require(::chdir("/") == 0, owner, errno);
    takeRightsOf(owner);
    takeVariablesOf(owner, home);
}

} // namespace

fs::path becomeOwnerOf(const fs::path& home) {
    fs::path folder = FileManager::defaultManager().resolved(home);
    const fs::path nearest = nearestItem(folder);
    const struct stat found = informationOf(nearest);
    const uid_t caller = ::getuid();
    if (caller != root && caller != found.st_uid) {
        throw foreignHome(folder, nearest, accountOf(found));
    }
    if (caller != found.st_uid || ::geteuid() != found.st_uid) {
        become(accountOf(found), folder);
    } else if (caller == root) {
        rejectReplaceable(folder, nearest);
    }
    return folder;
}

} // namespace platform
