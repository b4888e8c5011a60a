#include "engine/CompanionApplication.hpp"

#include "platform/Error.hpp"
#include "platform/PropertyList.hpp"

#include <string>

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr const char* codesign = "/usr/bin/codesign";
constexpr const char* pluginkit = "/usr/bin/pluginkit";
constexpr const char* lsregister = "/System/Library/Frameworks/CoreServices.framework/Frameworks/"
                                   "LaunchServices.framework/Support/lsregister";

constexpr std::uint64_t largestList = std::uint64_t{1} << 20;

fs::path extension(const fs::path& application) {
    return application / "Contents/PlugIns/OrvoTransitions.pluginkit";
}

bool isOwn(const PackInstaller& installer, const fs::path& application) {
    const fs::path file = application / "Contents/Resources/orvo-owned.plist";
    std::string bytes;
    try {
        bytes = installer.fm.read(file, largestList);
    } catch (const platform::Error&) {
        return false;
    }
    const platform::PropertyList list = platform::parsePropertyList(bytes, file);
    const auto owner = list.strings.find("owner");
    return list.isDictionaryOfStrings && owner != list.strings.end() && owner->second == installer.owner;
}

} // namespace

void checkSignature(const PackInstaller& installer, const fs::path& application) {
    installer.process(codesign, {"--verify", "--deep", "--strict", application.string()});
}

void checkOwnership(const PackInstaller& installer, const fs::path& application) {
    if (installer.fm.existsNoFollow(application) && !isOwn(installer, application)) {
        throw InstallError("Application non reconnue, conservée : " + application.string());
    }
}

void registerApplication(const PackInstaller& installer, const fs::path& application) {
    installer.process(lsregister, {"-f", application.string()});
    registerExtension(installer, application);
}

bool hasExtension(const PackInstaller& installer, const fs::path& application) {
    return installer.exists(extension(application));
}

void registerExtension(const PackInstaller& installer, const fs::path& application) {
    installer.process(pluginkit, {"-a", extension(application).string()});
}

void unregisterExtension(const PackInstaller& installer, const fs::path& application) {
    installer.process(pluginkit, {"-r", extension(application).string()});
}

} // namespace engine
