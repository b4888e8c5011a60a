#pragma once

#include "engine/PackInstaller.hpp"
#include "engine/PackPaths.hpp"
#include "engine/Request.hpp"
#include "engine/Verification.hpp"

#include <filesystem>
#include <string>

namespace engine {

/// What a run does to the older pack's category.
struct LegacyPlan {
    FileTable removed; ///< the files that go, as the manifest lists them
    FileTable marked;  ///< the templates that get the mark, with their digests then
    FoundItems found;  ///< both, as they are now
};

/// Decides it and checks it, before anything changes. Throws InstallError for a changed file and for a
/// template that the older pack did not record, platform::Error for one that cannot be read.
LegacyPlan planLegacy(const PackInstaller& installer, const PackPaths& paths, const Manifest& manifest,
                      const Request& request);

/// The bytes of a template of the older pack, with the mark. Throws as above.
std::string markedTemplate(const PackInstaller& installer, const std::filesystem::path& file);

} // namespace engine
