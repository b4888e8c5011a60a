#pragma once

/// What the window takes from AppKit and GNUstep does not have. Settings that GNUstep cannot show are
/// recorded, so that a test can ask for them. Included before every source of the window.

#import <AppKit/AppKit.h>

#include <string>
#include <vector>

// An absent selector is written nil too.
#undef nil
#define nil nullptr
// GNUstep 0.29 lacks these two, 0.32 has them.
#define NSEventTypeKeyDown NSKeyDown
#define NSEventTypeKeyUp NSKeyUp
#define NS_VALID_UNTIL_END_OF_SCOPE __attribute__((objc_precise_lifetime))

using NSModalResponse = NSInteger;

constexpr NSCompositingOperation NSCompositingOperationSourceOver = NSCompositeSourceOver;
constexpr NSBezelStyle NSBezelStyleRounded = NSRoundedBezelStyle;
constexpr NSAlertStyle NSAlertStyleWarning = NSWarningAlertStyle;
constexpr NSProgressIndicatorStyle NSProgressIndicatorStyleSpinning = NSProgressIndicatorSpinningStyle;
constexpr auto NSControlSizeLarge = static_cast<NSControlSize>(3);

enum NSWindowTitleVisibility : NSInteger { NSWindowTitleVisible = 0, NSWindowTitleHidden = 1 };

@protocol NSMenuItemValidation <NSObject>
- (BOOL)validateMenuItem:(NSMenuItem*)menuItem;
@end

@interface NSApplication (Compatibility)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
@end

@interface NSMenuItem (Compatibility)
@property(readonly) NSMenuItem* parentItem;
@end

@interface NSWindow (Compatibility)
@property NSWindowTitleVisibility titleVisibility;
@property BOOL titlebarAppearsTransparent;
@property(retain) NSAppearance* appearance;
@property BOOL preventsApplicationTerminationWhenModal;
@end

@interface NSView (Compatibility)
@property(getter=isAccessibilityElement) BOOL accessibilityElement;
@end

@interface NSControl (Compatibility)
@property NSControlSize controlSize;
@end

@interface NSTextField (Compatibility)
+ (NSTextField*)wrappingLabelWithString:(NSString*)text;
@end

@interface NSButton (Compatibility)
+ (NSButton*)buttonWithTitle:(NSString*)title target:(id)target action:(SEL)action;
+ (NSButton*)checkboxWithTitle:(NSString*)title target:(id)target action:(SEL)action;
@property(copy) NSColor* bezelColor;
@property(copy) NSColor* contentTintColor;
@end

@interface NSImageView (Compatibility)
@property(copy) NSColor* contentTintColor;
@end

@interface NSImage (Compatibility)
+ (NSImage*)imageWithSystemSymbolName:(NSString*)name accessibilityDescription:(NSString*)description;
@end

@interface NSFont (Compatibility)
+ (NSFont*)systemFontOfSize:(CGFloat)size weight:(NSFontWeight)weight;
@end

@interface NSAlert (Compatibility)
@property(retain) NSView* accessoryView;
- (void)beginSheetModalForWindow:(NSWindow*)window completionHandler:(void (^)(NSModalResponse))handler;
@end

extern NSString* const NSAccessibilityAnnouncementRequestedNotification;
extern NSString* const NSAccessibilityAnnouncementKey;
extern NSString* const NSAccessibilityPriorityKey;
void NSAccessibilityPostNotificationWithUserInfo(id element, NSString* notification, NSDictionary* userInfo);

namespace compatibility {

/// What was set last on the object; nil when nothing was.
id recorded(id object, const std::string& setting);

/// The texts that a screen reader was asked to say, in order.
std::vector<std::string>& announcements();

/// The alert whose sheet the window shows; nil when it shows none.
NSAlert* presentedAlert(NSWindow* window);

/// The class of service that work was last handed to a global queue with.
long lastQualityOfService();

} // namespace compatibility
