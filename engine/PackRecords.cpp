#include "engine/PackRecords.hpp"

#include "platform/Error.hpp"
#include "platform/Json.hpp"

namespace engine {

using platform::Json;

std::vector<CatalogName> decodeCatalog(std::string_view json, const std::filesystem::path& source) {
    const Json document = platform::parseJson(json, source);
    if (!document.is_array()) {
        throw platform::fileError("lire", source, "un tableau JSON est attendu");
    }
    std::vector<CatalogName> catalog;
    for (const Json& entry : document) {
        catalog.push_back({platform::textOf(platform::requiredValue(entry, "name", source), "name", source),
                           platform::optionalBoolean(entry, "retired", source)});
    }
    return catalog;
}

Manifest decodeManifest(std::string_view json, const std::filesystem::path& source) {
    Json document = platform::parseJson(json, source);
    Manifest manifest{platform::textOf(platform::requiredValue(document, "owner", source), "owner", source),
                      {}};
    if (!platform::requiredValue(document, "files", source).is_object()) {
        throw platform::fileError("lire", source, "la valeur de « files » n’est pas un objet");
    }
    for (auto& [path, digest] : document["files"].get_ref<Json::object_t&>()) {
        platform::textOf(digest, path, source);
        manifest.files.emplace_hint(manifest.files.end(), path, std::move(digest.get_ref<std::string&>()));
    }
    return manifest;
}

std::string encodeManifest(const Manifest& manifest) {
    std::string json = "{\"owner\":" + platform::compactJson(manifest.owner) + ",\"files\":{";
    for (const auto& [path, digest] : manifest.files) { // a document of all files would take much more memory
        json += json.back() == '{' ? "" : ",";
        json += platform::compactJson(path) + ":" + platform::compactJson(digest);
    }
    return json + "}}";
}

/// Its what() ends at a zero byte.
std::string localizedDescription(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const InstallError& error) {
        return error.message;
    } catch (...) {
        return platform::describe(failure);
    }
}

} // namespace engine
