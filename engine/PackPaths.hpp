#pragma once

#include "engine/PackInstaller.hpp"

#include <filesystem>
#include <vector>

namespace engine {

inline constexpr const char* applicationName = "Orvo Transitions.app";

/// The places that one run works with.
struct PackPaths {
    std::filesystem::path transitions;
    std::filesystem::path category;
    std::filesystem::path legacy;
    std::filesystem::path installedManifest;
    std::filesystem::path legacyManifest;
    std::filesystem::path installedApplication;
    std::filesystem::path payloadApplication;
    std::filesystem::path payloadTemplates;
    std::filesystem::path support;
    std::filesystem::path backups;
    std::filesystem::path journal;

    std::vector<std::filesystem::path> roots; ///< one at least on every file system that a run changes

    explicit PackPaths(const PackInstaller& installer);

    /// Throws InstallError when a link would lead a change of the place out of the folders that the pack
    /// works in. People link Movies to another disk, so what stands above the categories may be a link; what
    /// is below, and the rest of the home folder, may not lead elsewhere.
    void refuseLinksOut(const PackInstaller& installer, const std::filesystem::path& place) const;
};

} // namespace engine
