#include "engine/PackRecords.hpp"

#include "platform/Error.hpp"
#include "platform/Json.hpp"

namespace engine {
namespace {

using platform::Json;

platform::Error decodingError(const std::filesystem::path& source, const std::string& reason) {
    return platform::fileError("lire", source, reason);
}

/// The value of a key that an object must have; `object` may be any value.
const Json& required(const Json& object, const char* key, const std::filesystem::path& source) {
    if (!object.is_object()) {
        throw decodingError(source, "un objet JSON est attendu");
    }
    const auto found = object.find(key);
    if (found == object.end()) {
        throw decodingError(source, std::string("la clé « ") + key + " » manque");
    }
    return *found;
}

std::string string(const Json& value, const std::string& key, const std::filesystem::path& source) {
    if (!value.is_string()) {
        throw decodingError(source, "la valeur de « " + key + " » n’est pas un texte");
    }
    return value.get<std::string>();
}

std::optional<bool> optionalBoolean(const Json& object, const char* key,
                                    const std::filesystem::path& source) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return std::nullopt;
    }
    if (!found->is_boolean()) {
        throw decodingError(source, std::string("la valeur de « ") + key + " » n’est ni vraie ni fausse");
    }
    return found->get<bool>();
}

} // namespace

std::vector<CatalogName> decodeCatalog(std::string_view json, const std::filesystem::path& source) {
    const Json document = platform::parseJson(json, source);
    if (!document.is_array()) {
        throw decodingError(source, "un tableau JSON est attendu");
    }
    std::vector<CatalogName> catalog;
    for (const Json& entry : document) {
        std::string name = string(required(entry, "name", source), "name", source);
        catalog.push_back({std::move(name), optionalBoolean(entry, "retired", source)});
    }
    return catalog;
}

Manifest decodeManifest(std::string_view json, const std::filesystem::path& source) {
    Json document = platform::parseJson(json, source);
    Manifest manifest{string(required(document, "owner", source), "owner", source), {}};
    if (!required(document, "files", source).is_object()) {
        throw decodingError(source, "la valeur de « files » n’est pas un objet");
    }
    for (auto& [path, digest] : document["files"].get_ref<Json::object_t&>()) {
        if (!digest.is_string()) {
            throw decodingError(source, "la valeur de « " + path + " » n’est pas un texte");
        }
        manifest.files.emplace_hint(manifest.files.end(), path, std::move(digest.get_ref<std::string&>()));
    }
    return manifest;
}

void encodeManifest(const Manifest& manifest, const std::function<void(std::string_view)>& sink) {
    sink("{\"owner\":" + platform::compactJson(manifest.owner) + ",\"files\":{");
    std::string_view separator;
    for (const auto& [path, digest] : manifest.files) { // a document of all files would take much more memory
        sink(separator);
        sink(platform::compactJson(path) + ":" + platform::compactJson(digest));
        separator = ",";
    }
    sink("}}");
}

} // namespace engine
