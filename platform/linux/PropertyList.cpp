#include "platform/PropertyList.hpp"

#include "platform/Error.hpp"
#include "platform/XmlDocument.hpp"
#include "platform/linux/BinaryPropertyList.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace platform {
namespace {

using Element = XmlDocument::Element;

bool isValue(const Element& element) {
    constexpr std::array<std::string_view, 9> kinds{"string",  "dict", "array", "true", "false",
                                                    "integer", "real", "date",  "data"};
    return std::ranges::find(kinds, element.name()) != kinds.end();
}

/// The entries of a dictionary come as a key, its value, a key, its value.
std::optional<PropertyList> readDictionary(const Element& dictionary) {
    PropertyList list;
    list.isDictionaryOfStrings = true;
    const std::vector<Element> items = dictionary.children();
    std::size_t size = 0;
    for (std::size_t at = 0; at < items.size(); at += 2) {
        if (at + 1 == items.size() || items[at].name() != "key" || !isValue(items[at + 1])) {
            return std::nullopt;
        }
        if (items[at + 1].name() != "string") {
            list.isDictionaryOfStrings = false;
            continue;
        }
        std::string key = items[at].text();
        std::string value = items[at + 1].text();
        size += key.size() + value.size();
        if (size > mostListText) {
            return std::nullopt;
        }
        list.strings[std::move(key)] = std::move(value);
    }
    return list;
}

std::optional<PropertyList> readXml(std::string_view bytes) {
    const XmlDocument document(bytes);
    const std::optional<Element> root = document.root();
    if (!root || root->name() != "plist") {
        return std::nullopt;
    }
    const std::vector<Element> values = root->children();
    if (values.size() != 1 || !isValue(values.front())) {
        return std::nullopt;
    }
    return values.front().name() == "dict" ? readDictionary(values.front()) : PropertyList();
}

std::optional<PropertyList> readList(std::string_view bytes) {
    try {
        return isBinaryPropertyList(bytes) ? readBinaryPropertyList(bytes) : readXml(bytes);
    } catch (const Error&) {
        return std::nullopt;
    }
}

} // namespace

// The lists read here are other people's. The usual library stops the program on some of them and takes
// memory without bound for others, so the little that is needed is read here.
PropertyList parsePropertyList(std::string_view bytes, const std::filesystem::path& source) {
    const std::optional<PropertyList> list = readList(bytes);
    if (!list) {
        throw fileError("lire", source, "ce n’est pas une liste de propriétés valide");
    }
    return *list;
}

} // namespace platform
