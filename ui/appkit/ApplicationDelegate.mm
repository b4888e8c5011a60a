#import "ui/appkit/ApplicationDelegate.hpp"

@implementation InstallerApplication

- (void)sendEvent:(NSEvent*)event {
    auto* delegate = static_cast<ApplicationDelegate*>(self.delegate);
    if (delegate == nil || [delegate accepts:event]) {
        [super sendEvent:event];
    }
}

@end

@implementation ApplicationDelegate

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

- (void)applicationDidResignActive:(NSNotification*)notification {
    toolkit->keyboardLeft();
}

- (BOOL)windowShouldClose:(id)sender {
    return installer->applicationShouldTerminate();
}

- (void)windowDidEndSheet:(NSNotification*)notification {
    // AppKit gives the button back with the end of a sheet.
    NSButton* close = [notification.object standardWindowButton:NSWindowCloseButton];
    close.enabled = installer->applicationShouldTerminate();
}

- (BOOL)accepts:(NSEvent*)event {
    return toolkit->accepts(event);
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
