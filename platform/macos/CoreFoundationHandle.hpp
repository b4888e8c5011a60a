#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <type_traits>

namespace platform {

struct ReleaseHandle {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// An object of CoreFoundation's that is released with its owner.
template <typename Reference>
using Owned = std::unique_ptr<std::remove_pointer_t<Reference>, ReleaseHandle>;

/// The string in UTF-8.
inline std::string utf8(CFStringRef string) {
    const CFRange whole = CFRangeMake(0, CFStringGetLength(string));
    const CFIndex most = CFStringGetMaximumSizeForEncoding(whole.length, kCFStringEncodingUTF8);
    std::string text(static_cast<std::size_t>(most), '\0');
    CFIndex used = 0;
    CFStringGetBytes(string, whole, kCFStringEncodingUTF8, '?', false, reinterpret_cast<UInt8*>(text.data()),
                     most, &used);
    text.resize(static_cast<std::size_t>(used));
    return text;
}

} // namespace platform
