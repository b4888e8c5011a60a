#pragma once

#include <filesystem>

namespace platform {

/// Goes on with the rights of the home folder's owner and nothing more, and returns the home without links in
/// its path, which is the path to use from then on. A home that does not exist yet belongs to the owner of
/// the nearest folder above it that does.
///
/// A process with root's rights gives them up for good: user, groups, variables, working folder, and
/// descriptors for the tools that it starts. It stays root where the owner is root and nobody else can
/// replace the home or a folder above it meanwhile. Called again for the same home it changes nothing.
///
/// Throws `Error` for a caller who is neither root nor the owner, and when some right cannot be given up.
/// Nothing of the home has changed then, and the process must leave it alone.
std::filesystem::path becomeOwnerOf(const std::filesystem::path& home);

} // namespace platform
