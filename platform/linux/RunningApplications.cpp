#include "platform/RunningApplications.hpp"

#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "platform/PropertyList.hpp"

#include <cerrno>
#include <optional>

namespace fs = std::filesystem;

namespace platform {
namespace {

/// The `X.app` of an executable in `X.app/Contents/MacOS/`.
std::optional<fs::path> bundle(const fs::path& executable) {
    const fs::path folder = executable.parent_path();
    const fs::path contents = folder.parent_path();
    const fs::path application = contents.parent_path();
    const bool isInside = folder.filename() == "MacOS" && contents.filename() == "Contents" &&
                          application.extension() == ".app";
    return isInside ? std::optional(application) : std::nullopt;
}

std::optional<std::string> identifier(const fs::path& application) {
    const fs::path file = application / "Contents/Info.plist";
    try {
        const PropertyList information = parsePropertyList(FileManager::defaultManager().read(file), file);
        const auto found = information.strings.find("CFBundleIdentifier");
        return found == information.strings.end() ? std::nullopt : std::optional(found->second);
    } catch (const Error& error) {
        if (error.number() == ENOMEM) {
            throw;
        }
        return std::nullopt; // a bundle that does not say its identifier has none
    }
}

} // namespace

std::vector<std::string> runningApplications() {
    std::vector<std::string> identifiers;
    const fs::path processes = "/proc";
    // std::filesystem's iterator ends the program when memory runs out.
    for (const std::string& process : FileManager::defaultManager().list(processes)) {
        std::error_code gone; // processes end while they are listed, and others belong to other users
        const fs::path executable = fs::read_symlink(processes / process / "exe", gone);
        const std::optional<fs::path> application = gone ? std::nullopt : bundle(executable);
        const std::optional<std::string> name = application ? identifier(*application) : std::nullopt;
        if (name) {
            identifiers.push_back(*name);
        }
    }
    return identifiers;
}

} // namespace platform
