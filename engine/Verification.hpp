#pragma once

#include "engine/PackInstaller.hpp"

#include <filesystem>
#include <functional>

namespace engine {

/// Checks, before anything changes, that every file of the table that stands in the folder may be replaced or
/// removed: it has the digest that `known` gives for it or, for an install, the one that `files` gives. Files
/// that are not there pass. Throws InstallError for the first other one, platform::Error for one that cannot
/// be read.
void verify(const PackInstaller& installer, const std::filesystem::path& folder, const FileTable& files,
            const FileTable& known, bool uninstall);

/// Checks that every file of the table for which `isCopy` holds stands in the folder with its digest.
/// Throws InstallError for the first that does not.
void verifyCopies(const PackInstaller& installer, const std::filesystem::path& folder, const FileTable& files,
                  const std::function<bool(const std::string& path)>& isCopy);

} // namespace engine
