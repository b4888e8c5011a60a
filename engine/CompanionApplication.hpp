#pragma once

#include "engine/PackInstaller.hpp"

#include <filesystem>

/// The application beside the templates, its signature and what the system knows of it.
namespace engine {

/// Throws InstallError with the tool's text when the application is not signed as it should be.
void checkSignature(const PackInstaller& installer, const std::filesystem::path& application);

/// Checks that the item at the path, if there is one, is the pack's own application. Throws InstallError when
/// it is not, platform::Error when its ownership list is no property list.
void checkOwnership(const PackInstaller& installer, const std::filesystem::path& application);

/// Makes the application and its extension known to the system.
void registerApplication(const PackInstaller& installer, const std::filesystem::path& application);

bool hasExtension(const PackInstaller& installer, const std::filesystem::path& application);
void registerExtension(const PackInstaller& installer, const std::filesystem::path& application);
void unregisterExtension(const PackInstaller& installer, const std::filesystem::path& application);

} // namespace engine
