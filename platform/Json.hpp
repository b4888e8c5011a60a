#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

using Json = nlohmann::json;

/// Parses one JSON document (RFC 8259). Throws `Error`, naming `source`, when it is not JSON or when its
/// values lie more than 64 deep.
Json parseJson(std::string_view text, const std::filesystem::path& source);

/// The value of a key that an object must have; `object` may be any value. Throws `Error`, naming `source`.
const Json& requiredValue(const Json& object, const char* key, const std::filesystem::path& source);

/// A text, called `name` in the error otherwise. Throws as above.
const std::string& textOf(const Json& value, const std::string& name, const std::filesystem::path& source);

/// The value of a key of an object, if it has one that is not null. Throws as above when it is no boolean.
std::optional<bool> optionalBoolean(const Json& object, const char* key, const std::filesystem::path& source);

/// The compact form of a document, with "/" written as "\/".
std::string compactJson(const Json& document);

} // namespace platform
