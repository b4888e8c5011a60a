#include "system-tools/Bundle.hpp"

#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "system-tools/PropertyTree.hpp"

namespace fs = std::filesystem;

namespace systemtools {
namespace {

struct Shape {
    fs::path contents;
    std::string infoList;
    std::string programFolder;
    bool hasResourcesFolder;
};

Shape shapeOf(const fs::path& path) {
    if (fs::is_directory(path / "Contents")) {
        return {path / "Contents", "Info.plist", "MacOS/", true};
    }
    if (fs::is_directory(path / "Versions" / "Current")) {
        return {path / "Versions" / fs::canonical(path / "Versions" / "Current").filename(),
                "Resources/Info.plist", "", true};
    }
    return {path, "Info.plist", "", false};
}

} // namespace

std::optional<Bundle> Bundle::at(const fs::path& path) {
    const Shape shape = shapeOf(path);
    const fs::path infoList = shape.contents / shape.infoList;
    if (!fs::is_regular_file(infoList)) {
        return std::nullopt;
    }
    try {
        const Tree info = parsePropertyTree(platform::FileManager::defaultManager().read(infoList), infoList);
        const std::string identifier = textAt(info, "CFBundleIdentifier");
        std::string program = textAt(info, "CFBundleExecutable");
        if (program.empty()) {
            program = path.stem();
        }
        if (identifier.empty() || program.find('/') != std::string::npos) {
            return std::nullopt;
        }
        return Bundle{path,       shape.contents,          shape.infoList, shape.programFolder + program,
                      identifier, shape.hasResourcesFolder};
    } catch (const platform::Error&) {
        return std::nullopt;
    }
}

} // namespace systemtools
