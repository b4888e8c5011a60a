#pragma once

#include "engine/PackInstaller.hpp"

#include <filesystem>
#include <optional>
#include <string>

namespace engine {

inline constexpr const char* applicationName = "Orvo Transitions.app";

/// The paths that a run works with.
struct PackPaths {
    std::filesystem::path home;
    std::filesystem::path transitions = home / "Movies/Motion Templates.localized/Transitions.localized";
    std::filesystem::path category;
    std::filesystem::path legacy;
    std::filesystem::path installedManifest = category / ".orvo-transitions.json";
    std::filesystem::path legacyManifest = legacy / ".orvo-lumopack01.json";
    std::filesystem::path installedApplication = home / "Applications" / applicationName;
    std::filesystem::path payloadApplication;
    std::filesystem::path payloadTemplates;
    std::filesystem::path support = home / "Library/Application Support/OrvoTransitions";
    std::filesystem::path backups = support / "Backups";
    std::filesystem::path journal = support / "journal.jsonl";
    std::optional<std::filesystem::path> hiddenList; ///< that of the transitions folder

    explicit PackPaths(const PackInstaller& installer);

    /// The path relative to the home folder.
    std::string inHome(const std::filesystem::path& path) const;

    /// Where a backup folder keeps the item that has this path in the home folder, relative to the backup
    /// folder; nothing for a path that no run changes. "Movies/…/Orvo Transitions/01 Silk Fade/small.png"
    /// gives "Templates/01 Silk Fade/small.png".
    std::optional<std::string> backupPath(const std::string& path) const;

    /// Whether the path in the home folder, which has such a name, is that of a transition's file.
    bool isTemplate(const std::string& path) const {
        return backupPath(path)->find('/') != std::string::npos;
    }
};

} // namespace engine
