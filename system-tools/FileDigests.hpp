#pragma once

#include <filesystem>
#include <string>

namespace systemtools {

/// The digests of a file's contents, as bytes.
std::string sha1(const std::filesystem::path& file);
std::string sha256(const std::filesystem::path& file);

} // namespace systemtools
