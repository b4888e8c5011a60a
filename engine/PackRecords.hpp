#pragma once

#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

/// A path relative to a category folder, joined with "/", and the file's SHA-256 in lowercase hexadecimal.
using FileTable = std::map<std::string, std::string>;

/// Which files of a category folder a pack put there.
struct Manifest {
    std::string owner;
    FileTable files;

    friend bool operator==(const Manifest&, const Manifest&) = default;
};

/// One entry of the pack's catalogue.
struct CatalogName {
    std::string name;
    std::optional<bool> retired;
};

/// No catalogue, manifest or journal is larger, in bytes: 10,000 transitions take a seventh of it.
inline constexpr std::uint64_t largestRecord = std::uint64_t{64} << 20;

/// A failure of the installer's own. `what()`, its localised description, is exactly `message`.
struct InstallError : std::runtime_error {
    explicit InstallError(const std::string& text) : std::runtime_error(text), message(text) {}
    std::string message;
};

/// The French text that the user reads of a failure: the message of an `InstallError`, whole, whatever bytes
/// it holds; platform::describe of everything else. In a handler:
/// `localizedDescription(std::current_exception())`.
std::string localizedDescription(const std::exception_ptr& failure);

/// Reads a catalogue: an array of objects with "name" and, optionally, "retired". Other keys are ignored.
/// Throws platform::Error, naming `source`, for anything else.
std::vector<CatalogName> decodeCatalog(std::string_view json, const std::filesystem::path& source);

/// Reads a manifest: an object with "owner" and "files". Throws as above.
Manifest decodeManifest(std::string_view json, const std::filesystem::path& source);

/// The compact JSON of a manifest.
std::string encodeManifest(const Manifest& manifest);

} // namespace engine
