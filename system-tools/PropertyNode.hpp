#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

namespace systemtools {

struct FreePropertyNode {
    void operator()(plist_t node) const { plist_free(node); }
};

/// The root of a property list, which owns every node below it.
using PropertyList = std::unique_ptr<void, FreePropertyNode>;

/// The XML form of a node and of what is below it; empty for null.
inline std::string xmlOf(plist_t node) {
    char* text = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node, &text, &length);
    std::string xml(text, length);
    std::free(text);
    return xml;
}

/// The values of a dictionary by their keys; none for any other node and for null.
inline std::map<std::string, plist_t> entriesOf(plist_t node) {
    std::map<std::string, plist_t> entries;
    plist_dict_iter position = nullptr;
    plist_dict_new_iter(node, &position);
    for (std::uint32_t count = plist_dict_get_size(node); count > 0; --count) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, position, &key, &value);
        entries[key] = value;
        std::free(key);
    }
    std::free(position);
    return entries;
}

} // namespace systemtools
