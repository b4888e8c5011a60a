#include "platform/PropertyList.hpp"

#include "platform/Error.hpp"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace platform {
namespace {

struct FreeList {
    void operator()(plist_t list) const { plist_free(list); }
};
struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};
using List = std::unique_ptr<void, FreeList>;

List parse(std::string_view bytes) {
    plist_t list = nullptr;
    if (bytes.size() <= std::numeric_limits<std::uint32_t>::max()) {
        plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &list);
    }
    return List(list);
}

} // namespace

PropertyList parsePropertyList(std::string_view bytes, const std::filesystem::path& source) {
    const List list = parse(bytes);
    if (!list) {
        throw fileError("lire", source, "ce n’est pas une liste de propriétés valide");
    }
    PropertyList result;
    if (plist_get_node_type(list.get()) != PLIST_DICT) {
        return result;
    }
    result.isDictionaryOfStrings = true;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(list.get(), &iterator);
    const std::unique_ptr<void, FreeMemory> iteratorOwner(iterator);
    for (;;) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(list.get(), iterator, &key, &value);
        const std::unique_ptr<char, FreeMemory> keyOwner(key);
        if (key == nullptr) {
            return result;
        }
        std::uint64_t length = 0;
        const char* text =
            plist_get_node_type(value) == PLIST_STRING ? plist_get_string_ptr(value, &length) : nullptr;
        if (text == nullptr) {
            result.isDictionaryOfStrings = false;
        } else {
            result.strings[key] = std::string(text, length);
        }
    }
}

} // namespace platform
