#pragma once

#include "engine/PackInstaller.hpp"
#include "engine/PackPaths.hpp"

#include <functional>
#include <map>
#include <string>

namespace engine {

/// What a run does to the older pack's category.
struct LegacyPlan {
    FileTable removed;                         ///< the files that go, as the manifest lists them
    std::map<std::string, std::string> marked; ///< path and new bytes of each template that gets the mark
};

/// Decides it and checks it, before anything changes. Throws InstallError for a changed file and for a
/// template that the older pack did not record, platform::Error for one that cannot be read.
LegacyPlan planLegacy(const PackInstaller& installer, const PackPaths& paths, const Manifest& manifest,
                      bool uninstall, const std::function<bool(const std::string&)>& selected);

} // namespace engine
