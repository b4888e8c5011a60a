#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The strings of a property list, XML or binary. A Mac also reads the old form (`{ owner = "…"; }`, and a
/// text alone), which is refused elsewhere.
struct PropertyList {
    /// The entries of the top-level dictionary whose values are strings.
    std::map<std::string, std::string> strings;

    /// True when the list is a dictionary and no value of it is anything but a string.
    bool isDictionaryOfStrings = false;
};

/// What the strings of a list may come to, in bytes: entries may name one long string many times.
inline constexpr std::size_t mostListText = std::size_t{16} << 20;

/// Throws `Error`, naming `source`, when the bytes are not a property list, or one with more text than that.
PropertyList parsePropertyList(std::string_view bytes, const std::filesystem::path& source);

} // namespace platform
