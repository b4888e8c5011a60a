#pragma once

#include <filesystem>

namespace platform {

/// The folder that holds the running program, through its real path.
std::filesystem::path programFolder();

} // namespace platform
