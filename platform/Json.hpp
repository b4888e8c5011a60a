#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <string_view>

namespace platform {

using Json = nlohmann::json;

/// Parses one JSON document (RFC 8259). Throws `Error`, naming `source`, when it is not JSON or when its
/// values lie more than 64 deep.
Json parseJson(std::string_view text, const std::filesystem::path& source);

/// The compact form of a document, with "/" written as "\/".
std::string compactJson(const Json& document);

} // namespace platform
