#include "platform/PropertyList.hpp"

#include "platform/Error.hpp"
#include "platform/macos/CoreFoundationHandle.hpp"

#include <vector>

namespace platform {
namespace {

Owned<CFPropertyListRef> parse(std::string_view bytes) {
    const Owned<CFDataRef> data(
        CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                    static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
    if (!data) {
        return nullptr;
    }
    return Owned<CFPropertyListRef>(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(),
                                                                 kCFPropertyListImmutable, nullptr, nullptr));
}

/// A string's text in UTF-8; nothing for a value of another type.
std::optional<std::string> text(CFTypeRef value) {
    if (CFGetTypeID(value) != CFStringGetTypeID()) {
        return std::nullopt;
    }
    return utf8(static_cast<CFStringRef>(value));
}

Error refusal(const std::filesystem::path& source) {
    return fileError("lire", source, "ce n’est pas une liste de propriétés valide");
}

} // namespace

PropertyList parsePropertyList(std::string_view bytes, const std::filesystem::path& source) {
    const Owned<CFPropertyListRef> list = parse(bytes);
    if (!list) {
        throw refusal(source);
    }
    PropertyList result;
    if (CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) {
        return result;
    }
    const auto dictionary = static_cast<CFDictionaryRef>(list.get());
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    std::vector<CFTypeRef> keys(count);
    std::vector<CFTypeRef> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());

    std::size_t size = 0;
    result.isDictionaryOfStrings = true;
    for (std::size_t index = 0; index < count; ++index) {
        const std::optional<std::string> key = text(keys[index]);
        const std::optional<std::string> value = text(values[index]);
        size += key.value_or("").size() + value.value_or("").size();
        if (size > mostListText) {
            throw refusal(source);
        }
        if (key && value) {
            result.strings[*key] = *value;
        } else {
            result.isDictionaryOfStrings = false;
        }
    }
    return result;
}

} // namespace platform
