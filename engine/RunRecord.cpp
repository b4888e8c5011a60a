#include "engine/RunRecord.hpp"

#include "platform/Error.hpp"
#include "platform/Json.hpp"

#include <algorithm>
#include <cstdint>

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

std::optional<unsigned> permissions(const Json& value) {
    constexpr unsigned most = 07777;
    if (value.is_null()) {
        return std::nullopt;
    }
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
        refuse();
    }
    return value.get<unsigned>();
}

void decodeLine(RunRecord& record, const Json& object) {
    if (object.contains("place")) {
        record.places.push_back(
            {inside(object, "place"), inside(object, "saved"), object.at("existed").get<bool>()});
    } else if (object.contains("folder")) {
        record.folders.emplace(inside(object, "folder"), permissions(object.at("permissions")));
    } else {
        record.backup = name(object, "backup", "");
        record.staging = name(object, "staging", "Staging-");
        record.legacyHidden = object.at("legacyHidden").get<bool>();
        record.unregisters = object.at("unregisters").get<bool>();
    }
}

} // namespace

std::string encodeRunRecord(const RunRecord& record) {
    std::string text = line({{"backup", record.backup},
                             {"staging", record.staging},
                             {"legacyHidden", record.legacyHidden},
                             {"unregisters", record.unregisters}});
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
