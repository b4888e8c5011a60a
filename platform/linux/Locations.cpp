#include "platform/Locations.hpp"

#include "platform/linux/Program.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace fs = std::filesystem;

namespace platform {

fs::path programFolder() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

std::optional<fs::path> resourceFolder() {
    fs::path folder = programFolder() / "Resources";
    std::error_code ignored;
    return fs::is_directory(folder, ignored) ? std::optional(folder) : std::nullopt;
}

fs::path homeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != '\0') {
        return home;
    }
    const passwd* user = ::getpwuid(::getuid());
    return user != nullptr ? user->pw_dir : "/";
}

} // namespace platform
