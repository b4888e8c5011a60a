#import "ui/appkit/ApplicationDelegate.hpp"

#include "ui/InstallerDelegate.hpp"
#import "ui/appkit/AppKitToolkit.hpp"

#include <memory>

@implementation ApplicationDelegate {
    std::unique_ptr<ui::AppKitToolkit> toolkit;
    std::unique_ptr<ui::InstallerDelegate> installer;
}

- (instancetype)init {
    self = [super init];
    if (self != nil) {
        toolkit = std::make_unique<ui::AppKitToolkit>(self);
        installer = std::make_unique<ui::InstallerDelegate>(*toolkit);
    }
    return self;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
    installer->applicationDidFinishLaunching();
}

- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender {
    return installer->applicationShouldTerminate() ? NSTerminateNow : NSTerminateCancel;
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender {
    return installer->applicationShouldTerminateAfterLastWindowClosed();
}

- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)application {
    return YES;
}

- (BOOL)validateMenuItem:(NSMenuItem*)menuItem {
    return toolkit->validates(menuItem);
}

- (void)about {
    toolkit->perform(ui::Command::about);
}

- (void)install {
    toolkit->perform(ui::Command::install);
}

- (void)customize {
    toolkit->perform(ui::Command::customize);
}

- (void)uninstall {
    toolkit->perform(ui::Command::uninstall);
}

@end
