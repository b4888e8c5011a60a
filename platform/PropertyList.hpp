#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The strings of a property list, XML or binary.
struct PropertyList {
    /// The entries of the top-level dictionary whose values are strings.
    std::map<std::string, std::string> strings;

    /// True when the list is a dictionary and no value of it is anything but a string.
    bool isDictionaryOfStrings = false;
};

/// Throws `Error`, naming `source`, when the bytes are not a property list.
PropertyList parsePropertyList(std::string_view bytes, const std::filesystem::path& source);

} // namespace platform
