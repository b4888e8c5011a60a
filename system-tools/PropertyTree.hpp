#pragma once

#include "platform/Json.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace systemtools {

/// A property list held as a tree; its data elements are binary values.
using Tree = platform::Json;

/// Reads a property list, XML or binary. Dates count as null. Throws `platform::Error`, naming `source`, when
/// the bytes are not a property list.
Tree parsePropertyTree(std::string_view bytes, const std::filesystem::path& source);

/// Writes the XML form.
std::string xmlPropertyTree(const Tree& tree);

/// A data element, and the bytes of one; no bytes when the value is anything else.
Tree dataElement(std::string_view bytes);
std::string dataBytes(const Tree& tree);

/// The value at a key; null when the tree is no dictionary or has no such key.
const Tree& valueAt(const Tree& tree, const std::string& key);

/// The text at a key; empty when there is none.
std::string textAt(const Tree& tree, const std::string& key);

/// True when the value at a key is the boolean true.
bool isTrueAt(const Tree& tree, const std::string& key);

} // namespace systemtools
