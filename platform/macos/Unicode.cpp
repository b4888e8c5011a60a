#include "platform/Unicode.hpp"

#include "platform/Error.hpp"
#include "platform/macos/CoreFoundationHandle.hpp"

namespace platform {

std::string composed(std::string_view text) {
    const Owned<CFStringRef> string(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
    if (!string) { // it is not UTF-8
        return std::string(text);
    }
    const Owned<CFMutableStringRef> form(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, string.get()));
    if (!form) {
        throw Error("Impossible de composer les accents d’un nom.");
    }
    CFStringNormalize(form.get(), kCFStringNormalizationFormC);
    return utf8(form.get());
}

} // namespace platform
