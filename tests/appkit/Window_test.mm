#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TreeSnapshot.hpp"
#include "ui/ControlTable.hpp"
#import "ui/appkit/AlertSheet.hpp"
#import "ui/appkit/ApplicationDelegate.hpp"
#import "ui/appkit/InstallerBackground.hpp"

#import <AppKit/AppKit.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using compatibility::recorded;
using tests::TemporaryFolder;
using tests::TreeSnapshot;

namespace {

const fs::path category = "Movies/Motion Templates.localized/Transitions.localized/Orvo Transitions";

std::string text(NSString* string) {
    return string == nil ? "(nil)" : [string UTF8String];
}

/// The settings of the eight controls, in a form that a failing test prints.
std::string describe(NSRect frame) {
    return text(NSStringFromRect(frame));
}

std::string describe(const ui::Frame& frame) {
    return describe(NSMakeRect(frame.x, frame.y, frame.width, frame.height));
}

std::string describe(NSColor* color) {
    NSColor* rgb = [color colorUsingColorSpaceName:NSDeviceRGBColorSpace];
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.3f %.3f %.3f %.3f", [rgb redComponent], [rgb greenComponent],
                  [rgb blueComponent], [rgb alphaComponent]);
    return rgb == nil ? "no colour" : buffer;
}

std::string describe(const ui::Color& color) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.3f %.3f %.3f %.3f", color.red, color.green, color.blue,
                  color.alpha);
    return buffer;
}

std::string describe(NSFont* font) {
    NSFont* semibold = [NSFont systemFontOfSize:[font pointSize] weight:NSFontWeightSemibold];
    return std::to_string([font pointSize]) +
           ([[font fontName] isEqual:[semibold fontName]] ? " semibold" : "");
}

std::string describe(const ui::Font& font) {
    return std::to_string(font.size) + (font.weight == ui::FontWeight::semibold ? " semibold" : "");
}

/// Handles the next event; false when none comes for a moment.
bool handleEvent() {
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                        untilDate:[NSDate dateWithTimeIntervalSinceNow:0.03]
                                           inMode:NSDefaultRunLoopMode
                                          dequeue:YES];
    const bool came = event != nil;
    if (came) {
        [NSApp sendEvent:event];
    }
    [pool release];
    return came;
}

/// Handles events until the condition holds; false when that takes longer than half a minute.
bool handleEventsUntil(const std::function<bool()>& condition) {
    NSDate* deadline = [NSDate dateWithTimeIntervalSinceNow:30];
    while (!condition()) {
        if ([deadline timeIntervalSinceNow] < 0) {
            return false;
        }
        handleEvent();
    }
    return true;
}

void handlePendingEvents() {
    while (handleEvent()) {
    }
}

void post(NSEventType type, NSWindow* window, NSPoint point) {
    [NSApp postEvent:[NSEvent mouseEventWithType:type
                                        location:point
                                   modifierFlags:0
                                       timestamp:0
                                    windowNumber:[window windowNumber]
                                         context:[window graphicsContext]
                                     eventNumber:0
                                      clickCount:1
                                        pressure:1]
             atStart:NO];
}

/// Waits until the window takes keys; the X server hands them over when it comes to it.
void waitForKeyboard(NSWindow* window) {
    [window makeKeyAndOrderFront:nil];
    EXPECT_TRUE(handleEventsUntil([&] { return [window isKeyWindow] != NO; }));
    handlePendingEvents();
}

/// Presses and releases the mouse button over the middle of a control.
void click(NSView* view) {
    waitForKeyboard([view window]);
    const NSRect bounds = [view bounds];
    const NSPoint middle = [view convertPoint:NSMakePoint(NSMidX(bounds), NSMidY(bounds)) toView:nil];
    post(NSLeftMouseDown, [view window], middle);
    post(NSLeftMouseUp, [view window], middle);
    handlePendingEvents();
}

/// A press or release of Return.
NSEvent* key(NSEventType type, NSWindow* window) {
    return [NSEvent keyEventWithType:type
                            location:NSZeroPoint
                       modifierFlags:0
                           timestamp:0
                        windowNumber:[window windowNumber]
                             context:[window graphicsContext]
                          characters:@"\r"
         charactersIgnoringModifiers:@"\r"
                           isARepeat:NO
                             keyCode:36];
}

void postKey(NSEventType type, NSWindow* window) {
    [NSApp postEvent:key(type, window) atStart:NO];
}

void pressReturn(NSWindow* window) {
    waitForKeyboard(window);
    postKey(NSKeyDown, window);
    postKey(NSKeyUp, window);
    handlePendingEvents();
}

/// What the screen shows of a view.
NSBitmapImageRep* pictureOf(NSView* view) {
    [view lockFocus];
    NSBitmapImageRep* picture =
        [[[NSBitmapImageRep alloc] initWithFocusedViewRect:[view bounds]] autorelease];
    [view unlockFocus];
    return picture;
}

/// The window with its controls, in the order in which they were added.
class WindowTest : public testing::Test {
protected:
    void SetUp() override {
        pool = [[NSAutoreleasePool alloc] init];
        setenv("HOME", home.path().c_str(), 1);
        compatibility::announcements().clear();
        delegate = [[ApplicationDelegate alloc] init];
        [NSApp setDelegate:delegate];
        [delegate applicationDidFinishLaunching:[NSNotification notificationWithName:@"" object:NSApp]];
        handlePendingEvents();
        for (NSWindow* candidate in [NSApp windows]) {
            if ([[candidate contentView] isKindOfClass:[InstallerBackground class]] &&
                [candidate isVisible]) {
                window = candidate;
            }
        }
        ASSERT_NE(window, nil);
        NSArray* views = [[window contentView] subviews];
        ASSERT_EQ([views count], 8U);
        icon = [views objectAtIndex:0];
        heading = [views objectAtIndex:1];
        subtitle = [views objectAtIndex:2];
        symbol = [views objectAtIndex:3];
        spinner = [views objectAtIndex:4];
        status = [views objectAtIndex:5];
        primary = [views objectAtIndex:6];
        footer = [views objectAtIndex:7];
    }

    /// The background, drawn without its controls.
    NSView* backgroundAlone() {
        NSView* background = [window contentView];
        for (NSView* view in [background subviews]) {
            [view setHidden:YES];
        }
        [window display];
        handlePendingEvents();
        return background;
    }

    void TearDown() override {
        [window orderOut:nil];
        [pool release];
    }

    NSMenuItem* item(NSInteger menu, NSInteger index) const {
        return [[[[NSApp mainMenu] itemAtIndex:menu] submenu] itemAtIndex:index];
    }
    NSMenuItem* optionsItem() const { return [[NSApp mainMenu] itemAtIndex:1]; }
    NSButton* closeButton() const { return [window standardWindowButton:NSWindowCloseButton]; }
    NSAlert* alert() const { return compatibility::presentedAlert(window); }
    NSWindow* sheet() const { return [window attachedSheet]; }
    NSArray* boxes() const { return [[alert() accessoryView] subviews]; }

    /// Chooses a menu item as the application does: only when it is enabled.
    bool choose(NSMenuItem* chosen) const {
        [[chosen menu] update];
        if (![[chosen menu] autoenablesItems] ? ![chosen isEnabled] : ![delegate validateMenuItem:chosen]) {
            return false;
        }
        [NSApp sendAction:[chosen action] to:[chosen target] from:chosen];
        handlePendingEvents();
        return true;
    }

    void answer(NSUInteger button) const {
        NSAlert* answered = alert();
        ASSERT_NE(answered, nil);
        click([[answered buttons] objectAtIndex:button]);
        EXPECT_NE(alert(), answered);
    }

    bool finishRun() const {
        return handleEventsUntil([&] { return [primary isEnabled] != NO; });
    }
    void expectSuccess() const {
        ASSERT_TRUE(finishRun());
        EXPECT_EQ(text([primary title]), "Terminer") << text([alert() informativeText]);
    }
    void install() const {
        pressReturn(window);
        expectSuccess();
    }

    /// Return counts again once it has been up for a while.
    void expectAcceptanceAfterARest() const {
        [delegate accepts:key(NSKeyUp, window)];
        [NSThread sleepForTimeInterval:0.55];
        EXPECT_TRUE([delegate accepts:key(NSKeyDown, window)]);
        [delegate accepts:key(NSKeyUp, window)];
    }

    void pause() const { tests::writeFile(home / "pause", ""); }
    void resume() const { fs::remove(home / "pause"); }

    /// What the pack puts into a home folder, without the backups' fresh names.
    static TreeSnapshot installed(const fs::path& folder) {
        TreeSnapshot snapshot = TreeSnapshot::of(folder).undated();
        std::erase_if(snapshot.items, [](const auto& entry) {
            return !entry.first.starts_with("Movies/") && !entry.first.starts_with("Applications/");
        });
        return snapshot;
    }

    /// What the command line makes of the same request in a fresh home folder.
    static TreeSnapshot commandLine(const std::vector<std::string>& requests) {
        const TemporaryFolder other;
        for (const std::string& request : requests) {
            const std::string command = "HOME=" + other.path().string() + " " ORVO_COMMAND_LINE " " +
                                        request + " --root " + other.path().string() + " > /dev/null";
            EXPECT_EQ(std::system(command.c_str()), 0) << command;
        }
        return installed(other.path());
    }

    const TemporaryFolder home;
    NSAutoreleasePool* pool = nil;
    ApplicationDelegate* delegate = nil;
    NSWindow* window = nil;
    NSImageView* icon = nil;
    NSTextField* heading = nil;
    NSTextField* subtitle = nil;
    NSImageView* symbol = nil;
    NSProgressIndicator* spinner = nil;
    NSTextField* status = nil;
    NSButton* primary = nil;
    NSTextField* footer = nil;
};

void expectLabel(NSTextField* label, const ui::LabelControl& control) {
    EXPECT_EQ(text([label stringValue]), control.text);
    EXPECT_EQ(describe([label frame]), describe(control.frame));
    EXPECT_EQ(describe([label font]), describe(control.font));
    EXPECT_EQ(describe([label textColor]), describe(control.color));
    EXPECT_EQ([label alignment], NSTextAlignmentCenter);
    EXPECT_NE(recorded(label, "wrappingLabel"), nil);
    EXPECT_EQ([label isAccessibilityElement] != NO, control.accessibilityElement);
    EXPECT_FALSE([label isEditable]);
}

} // namespace

TEST_F(WindowTest, LabelsAreAsTheTableSays) {
    expectLabel(heading, ui::controlTable.heading);
    expectLabel(subtitle, ui::controlTable.subtitle);
    expectLabel(status, ui::controlTable.status);
    expectLabel(footer, ui::controlTable.footer);
}

TEST_F(WindowTest, IconShowsTheApplicationsImage) {
    EXPECT_EQ(describe([icon frame]), describe(ui::controlTable.icon.frame));
    ASSERT_NE([icon image], nil);
    NSImage* shipped = [[[NSImage alloc] initWithContentsOfFile:@RESOURCES @"/Orvo.icns"] autorelease];
    EXPECT_EQ([[icon image] size].width, [shipped size].width);
    ASSERT_NE([NSApp applicationIconImage], nil);
    EXPECT_EQ([icon contentTintColor], nil);
}

TEST_F(WindowTest, SymbolIsEmptyAndTinted) {
    EXPECT_EQ(describe([symbol frame]), describe(ui::controlTable.symbol.frame));
    EXPECT_EQ([symbol image], nil);
    EXPECT_EQ(describe([symbol contentTintColor]), describe(*ui::controlTable.symbol.tint));
    EXPECT_EQ([symbol imageScaling], [[[[NSImageView alloc] init] autorelease] imageScaling]);
}

TEST_F(WindowTest, SpinnerHidesWhileItIsStill) {
    EXPECT_TRUE([spinner isKindOfClass:[NSProgressIndicator class]]);
    EXPECT_EQ(describe([spinner frame]), describe(ui::controlTable.spinner.frame));
    EXPECT_EQ([spinner style], NSProgressIndicatorStyleSpinning);
    EXPECT_FALSE([spinner isDisplayedWhenStopped]);
    EXPECT_FALSE([[spinner valueForKey:@"isRunning"] boolValue]);
}

TEST_F(WindowTest, PrimaryButtonIsAsTheTableSays) {
    const ui::ButtonControl& control = ui::controlTable.primary;
    EXPECT_EQ(describe([primary frame]), describe(control.frame));
    EXPECT_EQ(text([primary title]), control.title);
    EXPECT_EQ(describe([primary font]), describe(control.font));
    EXPECT_EQ(describe([primary bezelColor]), describe(control.bezel));
    EXPECT_EQ(describe([primary contentTintColor]), describe(control.tint));
    NSDictionary* attributes = [[primary attributedTitle] attributesAtIndex:0 effectiveRange:nullptr];
    EXPECT_EQ(text([[primary attributedTitle] string]), control.title);
    NSColor* color = [attributes objectForKey:NSForegroundColorAttributeName];
    NSFont* font = [attributes objectForKey:NSFontAttributeName];
    EXPECT_EQ(describe(color), describe(control.tint));
    EXPECT_EQ(describe(font), describe(control.font));
    EXPECT_EQ([primary bezelStyle], NSBezelStyleRounded);
    EXPECT_EQ([primary controlSize], NSControlSizeLarge);
    EXPECT_EQ(text([primary keyEquivalent]), "\r");
    EXPECT_EQ([primary target], delegate);
    EXPECT_EQ(text(NSStringFromSelector([primary action])), "install");
}

TEST_F(WindowTest, WindowIsFixedDarkAndMovedByItsBackground) {
    const NSUInteger mask = NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                            NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskFullSizeContentView;
    EXPECT_EQ([window styleMask], mask);
    EXPECT_EQ(text([window title]), ui::windowTable.title);
    EXPECT_EQ(describe([[window contentView] frame]),
              describe(NSMakeRect(0, 0, ui::windowTable.width, ui::windowTable.height)));
    EXPECT_EQ([window titleVisibility], NSWindowTitleHidden);
    EXPECT_TRUE([window titlebarAppearsTransparent]);
    EXPECT_EQ(text([[window appearance] name]), text(NSAppearanceNameDarkAqua));
    EXPECT_TRUE([window isMovableByWindowBackground]);
    EXPECT_FALSE([window isReleasedWhenClosed]);
    EXPECT_EQ([window backingType], NSBackingStoreBuffered);
    EXPECT_EQ([recorded(NSApp, "activationPolicy") intValue], NSApplicationActivationPolicyRegular);
}

TEST_F(WindowTest, MenusHaveTheirItemsWithKeysAndTargets) {
    NSMenu* menu = [NSApp mainMenu];
    ASSERT_EQ([menu numberOfItems], 2);
    EXPECT_EQ(text([[menu itemAtIndex:0] title]), "");
    EXPECT_EQ(text([optionsItem() title]), "Options");
    EXPECT_EQ(text([optionsItem() keyEquivalent]), "");

    ASSERT_EQ([[[menu itemAtIndex:0] submenu] numberOfItems], 3);
    EXPECT_TRUE([item(0, 1) isSeparatorItem]);
    ASSERT_EQ([[optionsItem() submenu] numberOfItems], 2);

    struct Expected {
        NSMenuItem* item;
        const char* title;
        const char* action;
        const char* key;
        id target;
    };
    for (const Expected& expected :
         {Expected{item(0, 0), "À propos de Orvo Transitions", "about", "", delegate},
          Expected{item(0, 2), "Quitter Orvo Transitions", "terminate:", "q", nil},
          Expected{item(1, 0), "Choisir les transitions…", "customize", "", delegate},
          Expected{item(1, 1), "Désinstaller la sélection…", "uninstall", "", delegate}}) {
        EXPECT_EQ(text([expected.item title]), expected.title);
        EXPECT_EQ(text(NSStringFromSelector([expected.item action])), expected.action);
        EXPECT_EQ(text([expected.item keyEquivalent]), expected.key);
        EXPECT_EQ([expected.item target], expected.target);
    }
    EXPECT_EQ([item(0, 2) keyEquivalentModifierMask], static_cast<NSUInteger>(NSCommandKeyMask));
}

TEST_F(WindowTest, BackgroundGlowsAsItIsDefined) {
    NSView* background = backgroundAlone();
    NSBitmapImageRep* picture = pictureOf(background);
    constexpr double step = 1.5 / 255;
    const auto expectColor = [&](NSInteger x, NSInteger y, const ui::Color& color) {
        NSColor* pixel = [[picture colorAtX:x y:y] colorUsingColorSpaceName:NSDeviceRGBColorSpace];
        EXPECT_NEAR([pixel redComponent], color.red, step) << x << ", " << y;
        EXPECT_NEAR([pixel greenComponent], color.green, step) << x << ", " << y;
        EXPECT_NEAR([pixel blueComponent], color.blue, step) << x << ", " << y;
    };
    const auto [glow, base] = std::pair(ui::backgroundTable.glow, ui::backgroundTable.base);
    for (const auto& [x, y] : {std::pair(230, 75),
                               {1, 1},
                               {458, 1},
                               {1, 498},
                               {458, 498},
                               {230, 286},
                               {230, 250},
                               {230, 498},
                               {100, 400},
                               {20, 75}}) {
        const double part = std::hypot(x + 0.5 - 230, y + 0.5 - 75) / std::hypot(230, 425);
        const auto mix = [&](double from, double to) { return from + (to - from) * part; };
        expectColor(x, y,
                    {mix(glow.red, base.red), mix(glow.green, base.green), mix(glow.blue, base.blue), 1});
    }
}

TEST_F(WindowTest, BackgroundDrawsAPartLikeTheWhole) {
    NSView* background = backgroundAlone();
    NSData* whole = [pictureOf(background) TIFFRepresentation];
    [background displayRect:NSMakeRect(300, 400, 90, 70)];
    handlePendingEvents();
    EXPECT_TRUE([whole isEqual:[pictureOf(background) TIFFRepresentation]]);
}

TEST_F(WindowTest, AboutSheetShowsVersionAndChangesNothing) {
    ASSERT_TRUE(choose(item(0, 0)));
    ASSERT_NE(alert(), nil);
    EXPECT_EQ(text([alert() messageText]), "Orvo Transitions 2.3");
    EXPECT_EQ(text([alert() informativeText]),
              "11 transitions natives pour Final Cut Pro.\nVersion signée localement, non notarisée.");
    EXPECT_EQ([[alert() buttons] count], 1U);
    EXPECT_EQ([alert() alertStyle], NSAlertStyleWarning);
    EXPECT_EQ(text([[sheet() appearance] name]), text(NSAppearanceNameDarkAqua));
    EXPECT_FALSE([sheet() preventsApplicationTerminationWhenModal]);
    answer(0);
    EXPECT_EQ(text([heading stringValue]), "Orvo Transitions");
    EXPECT_EQ(text([primary title]), "Installer");
}

TEST_F(WindowTest, NoItemOpensASecondSheet) {
    ASSERT_TRUE(choose(item(0, 0)));
    NSAlert* first = alert();
    EXPECT_FALSE(choose(item(0, 0)));
    EXPECT_FALSE(choose(item(1, 0)));
    EXPECT_FALSE(choose(item(1, 1)));
    EXPECT_EQ(alert(), first);
    answer(0);
    EXPECT_TRUE(choose(item(1, 0)));
    answer(1);
}

TEST_F(WindowTest, ReturnInstallsLikeTheCommandLine) {
    pause();
    pressReturn(window);
    EXPECT_EQ(text([heading stringValue]), "Installation…");
    EXPECT_EQ(text([subtitle stringValue]), "Cela ne prend que quelques instants.");
    EXPECT_EQ(text([status stringValue]), "");
    EXPECT_EQ([symbol image], nil);
    EXPECT_TRUE([[spinner valueForKey:@"isRunning"] boolValue]);
    EXPECT_FALSE([primary isEnabled]);
    EXPECT_FALSE([optionsItem() isEnabled]);
    EXPECT_FALSE([closeButton() isEnabled]);
    EXPECT_EQ(compatibility::lastQualityOfService(), 0x19);
    resume();
    expectSuccess();
    EXPECT_EQ(text([heading stringValue]), "C’est installé.");
    EXPECT_EQ(text([subtitle stringValue]), "Retrouvez vos transitions dans Final Cut Pro.");
    EXPECT_EQ(text([status stringValue]), "Transitions → Orvo Transitions");
    EXPECT_EQ(text([primary title]), "Terminer");
    EXPECT_EQ(text(recorded([symbol image], "systemSymbolName")), "checkmark.circle.fill");
    EXPECT_EQ(text(recorded([symbol image], "accessibilityDescription")), "Opération réussie");
    EXPECT_FALSE([[spinner valueForKey:@"isRunning"] boolValue]);
    EXPECT_TRUE([optionsItem() isEnabled]);
    EXPECT_TRUE([closeButton() isEnabled]);
    EXPECT_EQ([[symbol image] size].width, 20);
    EXPECT_EQ(compatibility::announcements(),
              (std::vector<std::string>{"Installation…\nCela ne prend que quelques instants.",
                                        "C’est installé.\nRetrouvez vos transitions dans Final Cut Pro.\n"
                                        "Transitions → Orvo Transitions"}));
    EXPECT_EQ(difference(commandLine({"--install"}), installed(home.path())), "");
}

TEST_F(WindowTest, ClickOnTheButtonInstalls) {
    click(primary);
    expectSuccess();
    EXPECT_EQ(text([heading stringValue]), "C’est installé.");
    EXPECT_TRUE(fs::exists(home / "Applications/Orvo Transitions.app"));
}

TEST_F(WindowTest, TerminationIsRefusedWhileBusy) {
    EXPECT_EQ([delegate applicationShouldTerminate:NSApp], NSTerminateNow);
    pause();
    pressReturn(window);
    EXPECT_EQ([delegate applicationShouldTerminate:NSApp], NSTerminateCancel);
    [NSApp terminate:nil];
    EXPECT_FALSE(choose(item(1, 0)));
    EXPECT_FALSE(choose(item(1, 1)));
    pressReturn(window);
    EXPECT_EQ(text([heading stringValue]), "Installation…");
    resume();
    ASSERT_TRUE(finishRun());
    EXPECT_EQ([delegate applicationShouldTerminate:NSApp], NSTerminateNow);
    EXPECT_TRUE([delegate applicationShouldTerminateAfterLastWindowClosed:NSApp]);
}

TEST_F(WindowTest, AboutDuringARunGivesTheCloseButtonNotBack) {
    pause();
    pressReturn(window);
    ASSERT_TRUE(choose(item(0, 0)));
    answer(0);
    EXPECT_FALSE([closeButton() isEnabled]);
    EXPECT_FALSE([[window delegate] windowShouldClose:window]);
    resume();
    ASSERT_TRUE(finishRun());
    EXPECT_TRUE([closeButton() isEnabled]);
    EXPECT_TRUE([[window delegate] windowShouldClose:window]);
}

TEST_F(WindowTest, NothingBehindASheetAnswers) {
    ASSERT_TRUE(choose(item(1, 0)));
    NSAlert* chooser = alert();
    [primary performClick:nil]; // as assistive technology does
    EXPECT_EQ(text([heading stringValue]), "Orvo Transitions");
    EXPECT_EQ(alert(), chooser);
    answer(1);
}

TEST_F(WindowTest, ReturnHeldDownConfirmsOnce) {
    waitForKeyboard(window);
    NSDate* end = [NSDate dateWithTimeIntervalSinceNow:2];
    while ([end timeIntervalSinceNow] > 0) {
        postKey(NSKeyDown, window); // no release, and no mark that it is a repeat
        handlePendingEvents();
    }
    expectSuccess();
    for (int repeat = 0; repeat < 30; ++repeat) {
        EXPECT_FALSE([delegate accepts:key(NSKeyDown, window)]);
    }
    expectAcceptanceAfterARest();
}

TEST_F(WindowTest, ReturnDoesNothingUntilAResultCanBeRead) {
    install();
    [NSThread sleepForTimeInterval:0.1];
    EXPECT_FALSE([delegate accepts:key(NSKeyDown, window)]);
    expectAcceptanceAfterARest();
}

TEST_F(WindowTest, ConfirmedUninstallRemovesThePack) {
    install();
    ASSERT_TRUE(choose(item(1, 1)));
    ASSERT_NE(alert(), nil);
    EXPECT_EQ(text([alert() messageText]), "Retirer les transitions sélectionnées ?");
    EXPECT_EQ(text([alert() informativeText]), "Les autres effets sont conservés.");
    EXPECT_EQ([alert() alertStyle], NSAlertStyleWarning);
    ASSERT_EQ([[alert() buttons] count], 2U);
    EXPECT_EQ(text([[[alert() buttons] objectAtIndex:0] title]), "Désinstaller");
    EXPECT_EQ(text([[[alert() buttons] objectAtIndex:1] title]), "Annuler");
    EXPECT_EQ(text([[[alert() buttons] objectAtIndex:1] keyEquivalent]), "\033");
    answer(0);
    expectSuccess();
    EXPECT_EQ(text([heading stringValue]), "C’est désinstallé.");
    EXPECT_EQ(text([subtitle stringValue]), "Vous pouvez fermer cette fenêtre.");
    EXPECT_EQ(text([status stringValue]), "");
    EXPECT_EQ(text([primary title]), "Terminer");
    EXPECT_EQ(difference(commandLine({"--install", "--uninstall"}), installed(home.path())), "");
}

TEST_F(WindowTest, CancelledUninstallChangesNothing) {
    install();
    const TreeSnapshot before = TreeSnapshot::of(home.path());
    ASSERT_TRUE(choose(item(1, 1)));
    answer(1);
    EXPECT_EQ(difference(before, TreeSnapshot::of(home.path())), "");
    EXPECT_EQ(text([heading stringValue]), "C’est installé.");
}

TEST_F(WindowTest, FailedRunShowsTheWholeErrorAndKeepsTheFile) {
    install();
    fs::path changed;
    for (const auto& entry : fs::recursive_directory_iterator(home / category)) {
        if (entry.path().extension() == ".motr") {
            changed = entry.path();
        }
    }
    tests::writeFile(changed, "the user's own");
    ASSERT_TRUE(choose(item(1, 1)));
    answer(0);
    ASSERT_TRUE(finishRun());

    EXPECT_EQ(text([heading stringValue]), "À vérifier");
    EXPECT_EQ(text([subtitle stringValue]), "L’installation n’a pas pu se terminer.");
    EXPECT_EQ(text([status stringValue]), "Consultez le détail, puis réessayez.");
    EXPECT_EQ(text([primary title]), "Réessayer");
    EXPECT_EQ([symbol image], nil);
    ASSERT_NE(alert(), nil);
    EXPECT_EQ(text([alert() messageText]), "Installation interrompue");
    EXPECT_EQ(text([alert() informativeText]),
              "Fichier modifié ou non reconnu, conservé : " + fs::canonical(changed).string());
    EXPECT_EQ([alert() alertStyle], NSAlertStyleWarning);
    ASSERT_EQ([[alert() buttons] count], 1U);
    EXPECT_EQ(text([[[alert() buttons] objectAtIndex:0] title]), "OK");
    answer(0);
    EXPECT_EQ(tests::readFile(changed), "the user's own");
}

TEST_F(WindowTest, ChooserPutsItsBoxesInColumnsOfSix) {
    ASSERT_TRUE(choose(item(1, 0)));
    ASSERT_NE(alert(), nil);
    EXPECT_EQ(text([alert() messageText]), "Vos transitions");
    EXPECT_EQ(text([alert() informativeText]), "");
    EXPECT_EQ(text([[[alert() buttons] objectAtIndex:0] title]), "Valider");
    EXPECT_EQ(text([[[alert() buttons] objectAtIndex:1] title]), "Annuler");
    EXPECT_EQ([[alert() accessoryView] frame].size.width, 400);
    EXPECT_EQ([[alert() accessoryView] frame].size.height, 240);
    ASSERT_EQ([boxes() count], 11U);
    for (NSUInteger index = 0; index < 11; ++index) {
        NSButton* box = [boxes() objectAtIndex:index];
        EXPECT_EQ(describe([box frame]),
                  describe(NSMakeRect(static_cast<CGFloat>(index / 6 * 205),
                                      210 - static_cast<CGFloat>(index % 6 * 37), 200, 28)));
        EXPECT_EQ([box state], NSControlStateValueOn);
        EXPECT_EQ([box target], nil);
    }
    answer(1);
}

TEST_F(WindowTest, ChooserScrollsToAThirdColumn) {
    ui::Alert chooser{"", "", {"", ""}, ui::Accessory{ui::chooserGrid.width, ui::chooserGrid.height, {}}};
    for (int index = 0; index < 13; ++index) {
        chooser.accessory->boxes.push_back({"", ui::chooserGrid.box(index), index == 12});
    }
    ui::AlertResponse answered;
    ui::beginAlertSheet(window, chooser, [&](const ui::AlertResponse& response) { answered = response; });
    NSScrollView* area = (NSScrollView*)[alert() accessoryView];
    ASSERT_TRUE([area isKindOfClass:[NSScrollView class]]);
    EXPECT_EQ([area contentSize].width, 405); // two columns
    EXPECT_EQ([area contentSize].height, ui::chooserGrid.height);
    NSButton* last = [[[area documentView] subviews] objectAtIndex:12];
    EXPECT_FALSE(NSContainsRect([area documentVisibleRect], [last frame]));
    [last scrollRectToVisible:[last bounds]];
    EXPECT_TRUE(NSContainsRect([area documentVisibleRect], [last frame]));
    answer(0);
    ASSERT_EQ(answered.boxes.size(), 13U);
    EXPECT_TRUE(answered.boxes[12]);
}

TEST_F(WindowTest, CancelledChooserChangesNothing) {
    ASSERT_TRUE(choose(item(1, 0)));
    click([boxes() objectAtIndex:0]);
    answer(1);
    EXPECT_EQ(text([subtitle stringValue]), ui::controlTable.subtitle.text);
    ASSERT_TRUE(choose(item(1, 0)));
    EXPECT_EQ([[boxes() objectAtIndex:0] state], NSControlStateValueOn);
    answer(1);
}

TEST_F(WindowTest, ConfirmedChooserInstallsWhatIsTicked) {
    ASSERT_TRUE(choose(item(1, 0)));
    std::string names;
    for (NSUInteger index = 0; index < 11; ++index) {
        NSButton* box = [boxes() objectAtIndex:index];
        if (index < 4) {
            names += (index == 0 ? "" : ",") + text([box title]);
        } else {
            click(box);
            EXPECT_EQ([box state], NSControlStateValueOff);
        }
    }
    answer(0);
    EXPECT_EQ(text([heading stringValue]), "Orvo Transitions");
    EXPECT_EQ(text([subtitle stringValue]), "4 transitions sélectionnées");
    EXPECT_EQ(text([status stringValue]), "");
    EXPECT_EQ(text([primary title]), "Installer");
    install();
    EXPECT_EQ(difference(commandLine({"--install --only '" + names + "'"}), installed(home.path())), "");
}

TEST_F(WindowTest, ChooserAfterASuccessOffersToInstallAgain) {
    install();
    ASSERT_TRUE(choose(item(1, 0)));
    answer(0);
    EXPECT_EQ(text([primary title]), "Installer");
    EXPECT_EQ(text([subtitle stringValue]), "11 transitions sélectionnées");
    EXPECT_EQ([symbol image], nil);
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const TemporaryFolder home; // GNUstep keeps its own files in the home that it finds at its start
    setenv("HOME", home.path().c_str(), 1);
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    [[NSUserDefaults standardUserDefaults]
        registerDefaults:[NSDictionary dictionaryWithObjectsAndKeys:@"YES", @"GSSuppressAppIcon", nil]];
    [InstallerApplication sharedApplication];
    [NSApp finishLaunching];
    const int result = RUN_ALL_TESTS();
    [pool release];
    return result;
}
