#pragma once

#import <AppKit/AppKit.h>

/// Hands on to the window's logic what AppKit asks of the application's delegate, and the actions of the
/// menus and of the button.
@interface ApplicationDelegate : NSObject <NSApplicationDelegate, NSMenuItemValidation>

- (void)about;
- (void)install;
- (void)customize;
- (void)uninstall;

@end
