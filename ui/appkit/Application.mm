#include "ui/Application.hpp"

#import "ui/appkit/ApplicationDelegate.hpp"

namespace ui {

int runApplication(int /*argc*/, char** /*argv*/) {
    @autoreleasepool {
        NSApplication* application = [InstallerApplication sharedApplication];
        // The application holds its delegate weakly.
        NS_VALID_UNTIL_END_OF_SCOPE ApplicationDelegate* delegate = [[ApplicationDelegate alloc] init];
        application.delegate = delegate;
        [application run];
    }
    return 0;
}

} // namespace ui
