// A portable stand-in for two tools of macOS, lsregister and pluginkit, which make an application and an
// extension known to the system: it only keeps a list.

#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "platform/Locations.hpp"
#include "platform/posix/Descriptor.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <set>

namespace fs = std::filesystem;

namespace {

/// The list in the user's state folder, with a sorted line "KIND<TAB>PATH" per item.
fs::path registrations() {
    const char* state = std::getenv("XDG_STATE_HOME");
    const bool isSet = state != nullptr && *state == '/';
    return (isSet ? fs::path(state) : platform::homeFolder() / ".local/state") /
           "orvo-installer/registrations";
}

/// Adds a line to the list or removes it. To remove what is not there is no error: it is what was asked for.
void update(const fs::path& list, const std::string& line, bool add) {
    platform::FileManager::defaultManager().makeFolder(list.parent_path());
    const platform::Descriptor locked(::open(list.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (!locked || ::flock(locked.get(), LOCK_EX) != 0) {
        throw platform::fileError("réserver", list, errno);
    }
    std::set<std::string> lines;
    std::ifstream before(list);
    for (std::string entry; std::getline(before, entry);) {
        lines.insert(entry);
    }
    if (!(add ? lines.insert(line).second : lines.erase(line) > 0)) {
        return;
    }
    std::ofstream after(list);
    for (const std::string& entry : lines) {
        after << entry << '\n';
    }
    if (!after.flush()) {
        throw platform::fileError("écrire", list, errno);
    }
}

void run(const std::string& kind, const fs::path& path, bool add) {
    if (add && !fs::is_regular_file(path / "Contents/Info.plist")) {
        throw std::runtime_error(path.native() + ": not an " + kind);
    }
    std::string line = kind + '\t' + fs::weakly_canonical(fs::absolute(path)).native();
    std::ranges::replace(line, '\n', ' ');
    update(registrations(), line, add);
}

} // namespace

int main(int count, char** values) {
    const std::string tool = fs::path(values[0]).filename();
    const bool isForExtensions = tool == "pluginkit";
    const std::string option = count == 3 ? values[1] : "";
    const bool add = option == (isForExtensions ? "-a" : "-f");
    if (!add && !(isForExtensions && option == "-r")) {
        std::cerr << "A portable stand-in for the tool of macOS, which only keeps a list.\n"
                     "usage: lsregister -f APPLICATION\n"
                     "       pluginkit -a|-r EXTENSION\n";
        return 2;
    }
    try {
        run(isForExtensions ? "extension" : "application", values[2], add);
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << tool << ": " << failure.what() << '\n';
        return 1;
    }
}
