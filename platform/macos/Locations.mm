#include "platform/Locations.hpp"

#import <Foundation/Foundation.h>

#include <system_error>

namespace platform {

std::optional<std::filesystem::path> resourceFolder() {
    @autoreleasepool {
        NSURL* folder = NSBundle.mainBundle.resourceURL;
        if (folder == nil) {
            return std::nullopt;
        }
        const std::filesystem::path path = folder.fileSystemRepresentation;
        std::error_code ignored;
        return std::filesystem::is_directory(path, ignored) ? std::optional(path) : std::nullopt;
    }
}

std::filesystem::path homeFolder() {
    @autoreleasepool {
        return NSFileManager.defaultManager.homeDirectoryForCurrentUser.fileSystemRepresentation;
    }
}

} // namespace platform
