#pragma once

#include "platform/PropertyList.hpp"

#include <optional>
#include <string_view>

namespace platform {

/// True for bytes that begin as a binary property list.
bool isBinaryPropertyList(std::string_view bytes);

/// Reads the top-level dictionary, and of its values the strings alone; nothing when the bytes are no list,
/// or one with more text than `mostListText`.
std::optional<PropertyList> readBinaryPropertyList(std::string_view bytes);

} // namespace platform
