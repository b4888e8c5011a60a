#include "platform/Json.hpp"

#include "platform/Error.hpp"
#include "platform/Unicode.hpp"

namespace platform {
namespace {

constexpr int deepest = 64;

/// Where the parser stopped, counted as an editor counts.
std::string position(std::string_view text, std::size_t byte) {
    const std::string_view before = text.substr(0, byte == 0 ? 0 : byte - 1);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const auto lineStart = before.rfind('\n');
    const auto column = before.size() - (lineStart == std::string_view::npos ? 0 : lineStart + 1) + 1;
    return "ligne " + std::to_string(line) + ", colonne " + std::to_string(column);
}

} // namespace

Json parseJson(std::string_view text, const std::filesystem::path& source) {
    const auto bounded = [&](int depth, Json::parse_event_t event, const Json&) {
        if (depth >= deepest &&
            (event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start)) {
            throw fileError("lire", source, "le JSON est imbriqué trop profondément");
        }
        return true;
    };
    const auto refusal = [&](std::size_t byte) {
        return fileError("lire", source, "ce n’est pas du JSON valide (" + position(text, byte) + ")");
    };
    try {
        Json document = Json::parse(text, bounded);
        if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) {
            throw refusal(zero + 1); // the library takes it for the end of the text
        }
        return document;
    } catch (const Json::parse_error& error) {
        throw refusal(error.byte);
    } catch (const Json::exception&) {
        throw fileError("lire", source, "ce n’est pas du JSON valide");
    }
}

const Json& requiredValue(const Json& object, const char* key, const std::filesystem::path& source) {
    if (!object.is_object()) {
        throw fileError("lire", source, "un objet JSON est attendu");
    }
    const auto found = object.find(key);
    if (found == object.end()) {
        throw fileError("lire", source, std::string("la clé « ") + key + " » manque");
    }
    return *found;
}

const std::string& textOf(const Json& value, const std::string& name, const std::filesystem::path& source) {
    if (!value.is_string()) {
        throw fileError("lire", source, "la valeur de « " + name + " » n’est pas un texte");
    }
    return value.get_ref<const std::string&>();
}

std::optional<bool> optionalBoolean(const Json& object, const char* key,
                                    const std::filesystem::path& source) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return std::nullopt;
    }
    if (!found->is_boolean()) {
        throw fileError("lire", source, std::string("la valeur de « ") + key + " » n’est ni vraie ni fausse");
    }
    return found->get<bool>();
}

std::string compactJson(const Json& document) {
    const std::string plain = document.dump();
    std::string escaped;
    escaped.reserve(plain.size() + plain.size() / 16);
    for (const char character : plain) { // outside strings JSON has no solidus
        if (character == '/') {
            escaped += '\\';
        }
        escaped += character;
    }
    return escaped;
}

std::string repairedUtf8(const std::string& text) { // here, because the JSON library does it on the way
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
}

} // namespace platform
