#include "platform/RunningApplications.hpp"

#import <AppKit/AppKit.h>

namespace platform {

// Called on the worker, where no run loop drains a pool, hence the pool of its own.
std::vector<std::string> runningApplications() {
    @autoreleasepool {
        std::vector<std::string> identifiers;
        for (NSRunningApplication* application in NSWorkspace.sharedWorkspace.runningApplications) {
            if (NSString* identifier = application.bundleIdentifier) {
                identifiers.emplace_back(identifier.UTF8String);
            }
        }
        return identifiers;
    }
}

} // namespace platform
