#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace engine {

/// The Motion template with bit 2 of its flags set, by which the editor knows it as deprecated; the same
/// bytes when it is set already. A template that is rewritten is laid out anew, indented by four blanks.
/// Throws platform::Error, naming `source`, when the bytes are not XML.
std::string deprecated(std::string_view data, const std::filesystem::path& source = {});

} // namespace engine
