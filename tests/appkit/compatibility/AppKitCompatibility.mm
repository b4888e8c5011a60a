#import "tests/appkit/compatibility/AppKitCompatibility.hpp"

#import <dispatch/dispatch.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <utility>

namespace {

using Settings = std::map<std::pair<id, std::string>, id>;

Settings& settings() {
    static Settings all;
    return all;
}

void record(id object, const std::string& setting, id value) {
    settings()[{object, setting}] = [value retain];
}

void record(id object, const std::string& setting, bool value) {
    record(object, setting, @(value ? 1 : 0));
}

bool recordedFlag(id object, const std::string& setting) {
    return [compatibility::recorded(object, setting) intValue] != 0;
}

std::map<NSWindow*, NSAlert*>& presentedAlerts() {
    static std::map<NSWindow*, NSAlert*> alerts;
    return alerts;
}

std::atomic<long> qualityOfService{0};

struct Queue {
    bool isMain;
};
constexpr Queue mainQueue{true};
constexpr Queue globalQueue{false};

NSTextField* label(NSString* text, NSRect frame) {
    NSTextField* field = [NSTextField wrappingLabelWithString:text];
    [field setFrame:frame];
    [field setTextColor:[NSColor whiteColor]];
    return field;
}

} // namespace

namespace compatibility {

id recorded(id object, const std::string& setting) {
    const auto found = settings().find({object, setting});
    return found == settings().end() ? nil : found->second;
}

std::vector<std::string>& announcements() {
    static std::vector<std::string> texts;
    return texts;
}

NSAlert* presentedAlert(NSWindow* window) {
    const auto found = presentedAlerts().find(window);
    return found == presentedAlerts().end() ? nil : found->second;
}

long lastQualityOfService() {
    return qualityOfService;
}

} // namespace compatibility

/// GNUstep's run loop collects every child process, also those that it did not start; AppKit's does not.
extern "C" pid_t waitpid(pid_t process, int* status, int options) {
    if (process == -1) {
        errno = ECHILD;
        return -1;
    }
    return wait4(process, status, options, nullptr);
}

// The dispatch queues

@interface BlockRunner : NSObject {
    void (^block)();
}
- (id)initWithBlock:(void (^)())aBlock;
- (void)run;
@end

@implementation BlockRunner

- (id)initWithBlock:(void (^)())aBlock {
    if ((self = [super init]) != nil) {
        block = Block_copy(aBlock);
    }
    return self;
}

- (void)run {
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    block();
    Block_release(block);
    [pool release];
}

@end

dispatch_queue_t dispatch_get_main_queue() {
    return reinterpret_cast<dispatch_queue_t>(&mainQueue);
}

dispatch_queue_t dispatch_get_global_queue(long identifier, unsigned long /*flags*/) {
    qualityOfService = identifier;
    return reinterpret_cast<dispatch_queue_t>(&globalQueue);
}

void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
    BlockRunner* runner = [[[BlockRunner alloc] initWithBlock:block] autorelease];
    if (reinterpret_cast<const Queue*>(queue)->isMain) {
        [runner performSelectorOnMainThread:@selector(run) withObject:nil waitUntilDone:NO];
    } else {
        [NSThread detachNewThreadSelector:@selector(run) toTarget:runner withObject:nil];
    }
}

// Accessibility

NSString* const NSAccessibilityAnnouncementRequestedNotification = @"AnnouncementRequested";
NSString* const NSAccessibilityAnnouncementKey = @"Announcement";
NSString* const NSAccessibilityPriorityKey = @"Priority";

void NSAccessibilityPostNotificationWithUserInfo(id element, NSString* notification, NSDictionary* userInfo) {
    if (element == NSApp && [notification isEqual:NSAccessibilityAnnouncementRequestedNotification]) {
        compatibility::announcements().emplace_back(
            [[userInfo objectForKey:NSAccessibilityAnnouncementKey] UTF8String]);
    }
}

@implementation NSView (Compatibility)
- (BOOL)isAccessibilityElement {
    return recordedFlag(self, "accessibilityElement");
}
- (void)setAccessibilityElement:(BOOL)flag {
    record(self, "accessibilityElement", flag != NO);
}
@end

// Application, menu, window

@implementation NSApplication (Compatibility)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy {
    record(self, "activationPolicy", @(static_cast<int>(policy)));
    return YES;
}
@end

@implementation NSMenuItem (Compatibility)
- (NSMenuItem*)parentItem {
    for (NSMenuItem* item in [[[self menu] supermenu] itemArray]) {
        if ([item submenu] == [self menu]) {
            return item;
        }
    }
    return nil;
}
@end

@implementation NSWindow (Compatibility)
- (NSWindowTitleVisibility)titleVisibility {
    return static_cast<NSWindowTitleVisibility>([compatibility::recorded(self, "titleVisibility") intValue]);
}
- (void)setTitleVisibility:(NSWindowTitleVisibility)visibility {
    record(self, "titleVisibility", @(static_cast<int>(visibility)));
}
- (BOOL)titlebarAppearsTransparent {
    return recordedFlag(self, "titlebarAppearsTransparent");
}
- (void)setTitlebarAppearsTransparent:(BOOL)flag {
    record(self, "titlebarAppearsTransparent", flag != NO);
}
- (NSAppearance*)appearance {
    return compatibility::recorded(self, "appearance");
}
- (void)setAppearance:(NSAppearance*)appearance {
    record(self, "appearance", appearance);
}
- (BOOL)preventsApplicationTerminationWhenModal {
    return recordedFlag(self, "preventsApplicationTerminationWhenModal");
}
- (void)setPreventsApplicationTerminationWhenModal:(BOOL)flag {
    record(self, "preventsApplicationTerminationWhenModal", flag != NO);
}
- (NSWindow*)attachedSheet {
    return [compatibility::presentedAlert(self) window];
}
// The decoration is the window manager's, which has no button to ask for.
- (NSButton*)standardWindowButton:(NSWindowButton)button {
    NSString* name = [NSString stringWithFormat:@"standardWindowButton%d", static_cast<int>(button)];
    if (compatibility::recorded(self, [name UTF8String]) == nil) {
        record(self, [name UTF8String], [[[NSButton alloc] init] autorelease]);
    }
    return compatibility::recorded(self, [name UTF8String]);
}
@end

// Controls

@implementation NSControl (Compatibility)
- (NSControlSize)controlSize {
    return static_cast<NSControlSize>([compatibility::recorded(self, "controlSize") intValue]);
}
- (void)setControlSize:(NSControlSize)size {
    record(self, "controlSize", @(static_cast<int>(size)));
}
@end

@implementation NSTextField (Compatibility)
+ (NSTextField*)wrappingLabelWithString:(NSString*)text {
    NSTextField* field = [[[NSTextField alloc] init] autorelease];
    [field setStringValue:text];
    [field setEditable:NO];
    [field setSelectable:YES];
    [field setBezeled:NO];
    [field setDrawsBackground:NO];
    [[field cell] setWraps:YES];
    record(field, "wrappingLabel", true);
    return field;
}
@end

@implementation NSButton (Compatibility)
+ (NSButton*)buttonWithTitle:(NSString*)title target:(id)target action:(SEL)action {
    NSButton* button = [[[NSButton alloc] init] autorelease];
    [button setTitle:title];
    [button setTarget:target];
    [button setAction:action];
    [button setButtonType:NSMomentaryPushInButton];
    return button;
}
+ (NSButton*)checkboxWithTitle:(NSString*)title target:(id)target action:(SEL)action {
    NSButton* button = [NSButton buttonWithTitle:title target:target action:action];
    [button setButtonType:NSSwitchButton];
    [button setImagePosition:NSImageLeft];
    return button;
}
- (NSColor*)bezelColor {
    return compatibility::recorded(self, "bezelColor");
}
- (void)setBezelColor:(NSColor*)color {
    record(self, "bezelColor", color);
    [[self cell] setBackgroundColor:color];
}
- (NSColor*)contentTintColor {
    return compatibility::recorded(self, "contentTintColor");
}
- (void)setContentTintColor:(NSColor*)color {
    record(self, "contentTintColor", color);
}
@end

@implementation NSImageView (Compatibility)
- (NSColor*)contentTintColor {
    return compatibility::recorded(self, "contentTintColor");
}
- (void)setContentTintColor:(NSColor*)color {
    record(self, "contentTintColor", color);
}
@end

@implementation NSImage (Compatibility)
// A plain disc: that the view shows a picture is all that the window on screen has to tell.
+ (NSImage*)imageWithSystemSymbolName:(NSString*)name accessibilityDescription:(NSString*)description {
    NSImage* image = [[[NSImage alloc] initWithSize:NSMakeSize(26, 26)] autorelease];
    [image lockFocus];
    [[NSColor colorWithSRGBRed:0.45 green:0.85 blue:0.65 alpha:1] set];
    [[NSBezierPath bezierPathWithOvalInRect:NSMakeRect(1, 1, 24, 24)] fill];
    [image unlockFocus];
    record(image, "systemSymbolName", name);
    record(image, "accessibilityDescription", description);
    return image;
}
@end

@implementation NSFont (Compatibility)
+ (NSFont*)systemFontOfSize:(CGFloat)size weight:(NSFontWeight)weight {
    return weight >= NSFontWeightSemibold ? [NSFont boldSystemFontOfSize:size]
                                          : [NSFont systemFontOfSize:size];
}
@end

// Alerts

@interface AlertSheetController : NSObject {
    NSAlert* alert;
    NSWindow* parent;
    void (^handler)(NSModalResponse);
}
- (id)initWithAlert:(NSAlert*)anAlert parent:(NSWindow*)aParent handler:(void (^)(NSModalResponse))aHandler;
- (void)chosen:(NSButton*)button;
@end

@implementation AlertSheetController

- (id)initWithAlert:(NSAlert*)anAlert parent:(NSWindow*)aParent handler:(void (^)(NSModalResponse))aHandler {
    if ((self = [super init]) != nil) {
        alert = [anAlert retain];
        parent = aParent;
        handler = Block_copy(aHandler);
    }
    return self;
}

- (void)chosen:(NSButton*)button {
    presentedAlerts().erase(parent);
    const auto index = static_cast<NSInteger>([[alert buttons] indexOfObject:button]);
    [parent makeKeyWindow];
    handler(NSAlertFirstButtonReturn + index);
    [[alert window] orderOut:nil];
    // AppKit gives the button back too, whatever it was before.
    [[parent standardWindowButton:NSWindowCloseButton] setEnabled:YES];
    [[parent delegate] windowDidEndSheet:[NSNotification notificationWithName:NSWindowDidEndSheetNotification
                                                                       object:parent]];
}

@end

@implementation NSAlert (Compatibility)

- (NSView*)accessoryView {
    return compatibility::recorded(self, "accessoryView");
}

- (void)setAccessoryView:(NSView*)view {
    record(self, "accessoryView", view);
}

- (NSWindow*)window {
    if (compatibility::recorded(self, "window") == nil) {
        NSPanel* panel = [[NSPanel alloc] initWithContentRect:NSMakeRect(0, 0, 440, 420)
                                                    styleMask:NSWindowStyleMaskTitled
                                                      backing:NSBackingStoreBuffered
                                                        defer:NO];
        [panel setReleasedWhenClosed:NO];
        [panel setBackgroundColor:[NSColor darkGrayColor]];
        record(panel, "preventsApplicationTerminationWhenModal", true);
        record(self, "window", panel);
    }
    return compatibility::recorded(self, "window");
}

- (void)beginSheetModalForWindow:(NSWindow*)parent completionHandler:(void (^)(NSModalResponse))handler {
    if ([[self buttons] count] == 0) {
        [self addButtonWithTitle:@"OK"];
    }
    NSView* content = [[self window] contentView];
    [content addSubview:label([self messageText], NSMakeRect(20, 380, 400, 24))];
    [content addSubview:label([self informativeText], NSMakeRect(20, 310, 400, 60))];
    [[self accessoryView] setFrameOrigin:NSMakePoint(20, 60)];
    if ([self accessoryView] != nil) {
        [content addSubview:[self accessoryView]];
    }
    AlertSheetController* controller = [[AlertSheetController alloc] initWithAlert:self
                                                                            parent:parent
                                                                           handler:handler];
    CGFloat right = 420;
    for (NSButton* button in [self buttons]) {
        [button setFrame:NSMakeRect(right - 110, 16, 110, 28)];
        [button setTarget:controller];
        [button setAction:@selector(chosen:)];
        [content addSubview:button];
        right -= 120;
    }
    presentedAlerts()[parent] = [self retain];
    [[self window] center];
    [[self window] makeKeyAndOrderFront:nil];
}

@end
