#pragma once

#import <AppKit/AppKit.h>

/// The window's content: the base colour under a radial glow.
@interface InstallerBackground : NSView
@end
