#include "system-tools/Registrations.hpp"

#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "platform/posix/Descriptor.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <cstdlib>
#include <set>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace systemtools {
namespace {

using Lines = std::set<std::string>;

std::string escaped(const std::string& path) {
    std::string text;
    for (const char character : path) {
        switch (character) {
        case '\t':
            text += "\\t";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\\':
            text += "\\\\";
            break;
        default:
            text += character;
        }
    }
    return text;
}

std::string line(const std::string& kind, const fs::path& path) {
    const fs::path resolved = platform::FileManager::defaultManager().resolved(path);
    return kind + '\t' + escaped(resolved);
}

/// Waits until no other program holds the file; the lock ends with the descriptor.
platform::Descriptor lock(const fs::path& file) {
    platform::Descriptor descriptor(
        platform::retrying([&] { return ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666); }));
    if (!descriptor || platform::retrying([&] { return ::flock(descriptor.get(), LOCK_EX); }) != 0) {
        throw platform::fileError("réserver", file, errno);
    }
    return descriptor;
}

Lines readLines(const fs::path& file) {
    Lines lines;
    if (fs::exists(file)) {
        std::istringstream text(platform::FileManager::defaultManager().read(file));
        for (std::string entry; std::getline(text, entry);) {
            lines.insert(entry);
        }
    }
    return lines;
}

void writeLines(const fs::path& file, const Lines& lines) {
    std::string text;
    for (const std::string& entry : lines) {
        text += entry + '\n';
    }
    platform::FileManager::defaultManager().writeAtomically(file, text);
}

/// Applies a change that tells whether it changed anything.
template <typename Change>
bool update(Change change) {
    const fs::path list = registrationList();
    platform::FileManager::defaultManager().makeFolder(list.parent_path());
    const platform::Descriptor held = lock(list.parent_path() / "registrations.lock");
    Lines lines = readLines(list);
    if (!change(lines)) {
        return false;
    }
    writeLines(list, lines);
    return true;
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace

fs::path registrationList() {
    fs::path state = environment("XDG_STATE_HOME");
    if (!state.is_absolute()) {
        const std::string home = environment("HOME");
        if (home.empty()) {
            throw std::runtime_error("HOME is not set, so there is no place to keep registrations");
        }
        state = fs::path(home) / ".local" / "state";
    }
    return state / "orvo-installer" / "registrations";
}

void addRegistration(const std::string& kind, const fs::path& path) {
    update([&](Lines& lines) { return lines.insert(line(kind, path)).second; });
}

bool removeRegistration(const std::string& kind, const fs::path& path) {
    return update([&](Lines& lines) { return lines.erase(line(kind, path)) > 0; });
}

} // namespace systemtools
