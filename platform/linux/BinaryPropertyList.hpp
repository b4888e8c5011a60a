#pragma once

#include "platform/PropertyList.hpp"

#include <optional>
#include <string_view>

namespace platform {

/// True for bytes that begin as a binary property list.
bool isBinaryPropertyList(std::string_view bytes);

/// Reads the top-level dictionary, and of its values the strings alone; nothing when the bytes are no list.
/// However the objects refer to each other, no more than 16 MiB of text come out.
std::optional<PropertyList> readBinaryPropertyList(std::string_view bytes);

} // namespace platform
