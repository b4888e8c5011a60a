#pragma once

#include "ui/InstallerDelegate.hpp"
#import "ui/appkit/AppKitToolkit.hpp"

#import <AppKit/AppKit.h>

#include <memory>

/// Hands on to the window's logic what AppKit asks of the application's delegate, and the actions of the
/// menus and of the button.
@interface ApplicationDelegate : NSObject <NSApplicationDelegate, NSMenuItemValidation> {
@private
    std::unique_ptr<ui::AppKitToolkit> toolkit;
    std::unique_ptr<ui::InstallerDelegate> installer;
}

- (void)about;
- (void)install;
- (void)customize;
- (void)uninstall;

@end
