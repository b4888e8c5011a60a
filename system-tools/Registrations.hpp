#pragma once

#include <filesystem>
#include <string>

namespace systemtools {

/// The list of what was registered: the file "orvo-installer/registrations" in the user's state folder, with
/// a sorted line "KIND<TAB>PATH" each. A tab, a line feed and a backslash in a path are written "\t", "\n",
/// "\\". Two programs may change it at once. All throw `platform::Error` or std::runtime_error.
std::filesystem::path registrationList();

/// Adds an entry, unless it is there.
void addRegistration(const std::string& kind, const std::filesystem::path& path);

/// Removes an entry; returns whether it was there.
bool removeRegistration(const std::string& kind, const std::filesystem::path& path);

} // namespace systemtools
