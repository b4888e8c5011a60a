#include "system-tools/PropertyTree.hpp"

#include "platform/Error.hpp"

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

namespace systemtools {
namespace {

struct FreeNode {
    void operator()(plist_t node) const { plist_free(node); }
};
struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};
using Node = std::unique_ptr<void, FreeNode>;

Tree treeOf(plist_t node);

Tree dictionaryOf(plist_t node) {
    Tree tree = Tree::object();
    plist_dict_iter position = nullptr;
    plist_dict_new_iter(node, &position);
    const std::unique_ptr<void, FreeMemory> positionOwner(position);
    for (;;) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, position, &key, &value);
        const std::unique_ptr<char, FreeMemory> keyOwner(key);
        if (key == nullptr) {
            return tree;
        }
        tree[key] = treeOf(value);
    }
}

Tree arrayOf(plist_t node) {
    Tree tree = Tree::array();
    for (std::uint32_t index = 0; index < plist_array_get_size(node); ++index) {
        tree.push_back(treeOf(plist_array_get_item(node, index)));
    }
    return tree;
}

Tree treeOf(plist_t node) {
    std::uint64_t length = 0;
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return value != 0;
    }
    case PLIST_UINT: {
        std::uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return value;
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_STRING: {
        const char* text = plist_get_string_ptr(node, &length);
        return std::string(text, length);
    }
    case PLIST_DATA: {
        const char* bytes = plist_get_data_ptr(node, &length);
        return dataElement({bytes, length});
    }
    case PLIST_DICT:
        return dictionaryOf(node);
    case PLIST_ARRAY:
        return arrayOf(node);
    default:
        return nullptr;
    }
}

// Ownership of a child passes to its parent, so only the outermost node needs an owner.
plist_t nodeOf(const Tree& tree) {
    if (tree.is_object()) {
        plist_t node = plist_new_dict();
        for (const auto& [key, value] : tree.items()) {
            plist_dict_set_item(node, key.c_str(), nodeOf(value));
        }
        return node;
    }
    if (tree.is_array()) {
        plist_t node = plist_new_array();
        for (const Tree& value : tree) {
            plist_array_append_item(node, nodeOf(value));
        }
        return node;
    }
    if (tree.is_binary()) {
        const std::string bytes = dataBytes(tree);
        return plist_new_data(bytes.data(), bytes.size());
    }
    if (tree.is_boolean()) {
        return plist_new_bool(tree.get<bool>() ? 1 : 0);
    }
    if (tree.is_number_unsigned()) {
        return plist_new_uint(tree.get<std::uint64_t>());
    }
    if (tree.is_number()) {
        return plist_new_real(tree.get<double>());
    }
    return plist_new_string(tree.is_string() ? tree.get_ref<const std::string&>().c_str() : "");
}

} // namespace

Tree parsePropertyTree(std::string_view bytes, const std::filesystem::path& source) {
    plist_t list = nullptr;
    if (bytes.size() <= std::numeric_limits<std::uint32_t>::max()) {
        const auto length = static_cast<std::uint32_t>(bytes.size());
        if (bytes.substr(0, 6) == "bplist") {
            plist_from_bin(bytes.data(), length, &list);
        } else {
            plist_from_xml(bytes.data(), length, &list);
        }
    }
    const Node owner(list);
    if (!owner) {
        throw platform::fileError("lire", source, "ce n’est pas une liste de propriétés valide");
    }
    return treeOf(owner.get());
}

std::string xmlPropertyTree(const Tree& tree) {
    const Node node(nodeOf(tree));
    char* text = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node.get(), &text, &length);
    const std::unique_ptr<char, FreeMemory> owner(text);
    return {text, length};
}

Tree dataElement(std::string_view bytes) {
    return Tree::binary({bytes.begin(), bytes.end()});
}

std::string dataBytes(const Tree& tree) {
    if (!tree.is_binary()) {
        return {};
    }
    return {tree.get_binary().begin(), tree.get_binary().end()};
}

const Tree& valueAt(const Tree& tree, const std::string& key) {
    static const Tree nothing;
    if (!tree.is_object()) {
        return nothing;
    }
    const auto found = tree.find(key);
    return found == tree.end() ? nothing : *found;
}

std::string textAt(const Tree& tree, const std::string& key) {
    const Tree& value = valueAt(tree, key);
    return value.is_string() ? value.get<std::string>() : std::string();
}

bool isTrueAt(const Tree& tree, const std::string& key) {
    const Tree& value = valueAt(tree, key);
    return value.is_boolean() && value.get<bool>();
}

} // namespace systemtools
