#pragma once

#include "ui/InstallerDelegate.hpp"
#import "ui/appkit/AppKitToolkit.hpp"

#import <AppKit/AppKit.h>

#include <memory>

/// Keeps the presses of Return that do not count from the window and its sheets.
@interface InstallerApplication : NSApplication
@end

/// Hands on to the window's logic what AppKit asks of the application's and the window's delegate, and the
/// actions of the menus and of the button.
@interface ApplicationDelegate : NSObject <NSApplicationDelegate, NSWindowDelegate, NSMenuItemValidation> {
@private
    std::unique_ptr<ui::AppKitToolkit> toolkit;
    std::unique_ptr<ui::InstallerDelegate> installer;
}

- (BOOL)accepts:(NSEvent*)event;
- (void)about;
- (void)install;
- (void)customize;
- (void)uninstall;

@end
