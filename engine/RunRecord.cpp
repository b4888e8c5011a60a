#include "engine/RunRecord.hpp"

#include "platform/Error.hpp"
#include "platform/Json.hpp"

#include <algorithm>

namespace engine {
namespace {

using platform::Json;

std::string line(const Json& object) {
    return platform::compactJson(object) + "\n";
}

Json encoded(const std::optional<unsigned>& permissions) {
    return permissions ? Json(*permissions) : Json(nullptr);
}

[[noreturn]] void refuse() {
    throw Json::other_error::create(501, "not a run's record", nullptr);
}

/// The text of a key, which must be a path that goes down only.
std::string inside(const Json& object, const char* key) {
    auto text = object.at(key).get<std::string>();
    const std::filesystem::path path(text);
    const bool goesDown =
        !text.empty() && text.find('\0') == std::string::npos && path.is_relative() && path.has_filename() &&
        std::ranges::none_of(path, [](const auto& part) { return part == ".." || part == "."; });
    if (!goesDown) {
        refuse();
    }
    return text;
}

/// The text of a key, which must be the name of an item with this beginning.
std::string name(const Json& object, const char* key, std::string_view beginning) {
    std::string text = inside(object, key);
    if (text.find('/') != std::string::npos || !text.starts_with(beginning)) {
        refuse();
    }
    return text;
}

void decodeLine(RunRecord& record, const Json& object) {
    if (object.contains("place")) {
        record.places.push_back(
            {inside(object, "place"), inside(object, "saved"), object.at("existed").get<bool>()});
    } else if (object.contains("folder")) {
        const Json& permissions = object.at("permissions");
        record.folders.emplace(inside(object, "folder"), permissions.is_null()
                                                             ? std::nullopt
                                                             : std::optional(permissions.get<unsigned>()));
    } else {
        record.backup = name(object, "backup", "");
        record.staging = name(object, "staging", "Staging-");
        record.legacyHidden = object.at("legacyHidden").get<bool>();
    }
}

} // namespace

std::string encodeRunRecord(const RunRecord& record) {
    std::string text =
        line({{"backup", record.backup}, {"staging", record.staging}, {"legacyHidden", record.legacyHidden}});
    for (const auto& [path, permissions] : record.folders) {
        text += line({{"folder", path}, {"permissions", encoded(permissions)}});
    }
    for (const Place& place : record.places) {
        text += encodePlace(place);
    }
    return text;
}

std::string encodePlace(const Place& place) {
    return line({{"place", place.path}, {"saved", place.saved}, {"existed", place.existed}});
}

RunRecord decodeRunRecord(std::string_view text, const std::filesystem::path& source) {
    RunRecord record;
    try {
        while (!text.empty()) {
            const std::size_t end = text.find('\n');
            decodeLine(record, platform::parseJson(text.substr(0, end), source));
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        }
        if (record.backup.empty()) {
            refuse();
        }
    } catch (const Json::exception&) {
        throw platform::fileError("lire", source, "ce n’est pas un journal d’installation");
    }
    return record;
}

} // namespace engine
