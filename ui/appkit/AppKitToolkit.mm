#import "ui/appkit/AppKitToolkit.hpp"

#import "ui/appkit/AlertSheet.hpp"
#import "ui/appkit/Conversions.hpp"
#import "ui/appkit/InstallerBackground.hpp"

#import <dispatch/dispatch.h>

#include <algorithm>

namespace ui {
namespace {

/// No exception leaves: the frames of AppKit and of the dispatch library cannot be unwound.
void call(const std::function<void()>& work) noexcept {
    work();
}

SEL actionOf(Command command) {
    switch (command) {
    case Command::about:
        return @selector(about);
    case Command::install:
        return @selector(install);
    case Command::customize:
        return @selector(customize);
    case Command::uninstall:
        return @selector(uninstall);
    case Command::terminate:
        return @selector(terminate:);
    }
    return nullptr;
}

/// The Return key of the keyboard's letters or of its digits.
bool isReturn(NSEvent* event) {
    NSString* characters = event.charactersIgnoringModifiers;
    return [characters isEqualToString:@"\r"] || [characters isEqualToString:@"\003"];
}

class AppKitLabel final : public Label {
public:
    explicit AppKitLabel(NSTextField* field) : field(field) {}
    void setText(const std::string& text) override { field.stringValue = nsString(text); }

private:
    NSTextField* field;
};

class AppKitButton final : public Button {
public:
    AppKitButton(NSButton* button, const ButtonControl& control) : button(button), control(control) {
        setTitle(std::string(control.title));
    }

    /// In its own colour, because the tint reaches only buttons without a bezel.
    void setTitle(const std::string& title) override {
        NSMutableParagraphStyle* centred = [[NSMutableParagraphStyle alloc] init];
        centred.alignment = NSTextAlignmentCenter;
        NSDictionary* attributes = @{
            NSFontAttributeName : nsFont(control.font),
            NSForegroundColorAttributeName : nsColor(control.tint),
            NSParagraphStyleAttributeName : centred
        };
        button.attributedTitle = [[NSAttributedString alloc] initWithString:nsString(title)
                                                                 attributes:attributes];
    }
    void setEnabled(bool enabled) override { button.enabled = enabled; }

private:
    NSButton* button;
    const ButtonControl control;
};

class AppKitSpinner final : public Spinner {
public:
    explicit AppKitSpinner(NSProgressIndicator* indicator) : indicator(indicator) {}
    void start() override { [indicator startAnimation:nil]; }
    void stop() override { [indicator stopAnimation:nil]; }

private:
    NSProgressIndicator* indicator;
};

class AppKitImageView final : public ImageView {
public:
    AppKitImageView(NSImageView* view, std::optional<double> symbolSize)
        : view(view), symbolSize(symbolSize) {}

    void showSymbol(const std::string& name, const std::string& accessibilityDescription) override {
        NSImage* image = [NSImage imageWithSystemSymbolName:nsString(name)
                                   accessibilityDescription:nsString(accessibilityDescription)];
        if (symbolSize) {
            const NSSize size = image.size;
            const double factor = *symbolSize / std::max(size.width, size.height);
            image.size = NSMakeSize(size.width * factor, size.height * factor);
        }
        view.image = image;
    }
    void clear() override { view.image = nil; }

private:
    NSImageView* view;
    std::optional<double> symbolSize;
};

class AppKitMenuItem final : public MenuItem {
public:
    explicit AppKitMenuItem(NSMenuItem* item) : item(item) {}
    void setEnabled(bool enabled) override { item.enabled = enabled; }

private:
    NSMenuItem* item;
};

class AppKitWindow final : public Window {
public:
    explicit AppKitWindow(NSWindow* window) : window(window) {}

    void setCloseButtonEnabled(bool enabled) override {
        [window standardWindowButton:NSWindowCloseButton].enabled = enabled;
    }

    void beginSheet(const Alert& alert, std::function<void(const AlertResponse&)> completion) override {
        beginAlertSheet(window, alert, std::move(completion));
    }

    void show() override {
        [window center];
        [window makeKeyAndOrderFront:nil];
        [NSApp activateIgnoringOtherApps:YES];
    }

private:
    NSWindow* window;
};

} // namespace

AppKitToolkit::AppKitToolkit(id<NSWindowDelegate> target) : target(target) {}

template <typename Control>
Control& AppKitToolkit::keep(std::unique_ptr<Control> control) {
    Control& kept = *control;
    controls.push_back(std::move(control));
    return kept;
}

void AppKitToolkit::setCommandHandler(std::function<void(Command)> handler) {
    commandHandler = std::move(handler);
}

void AppKitToolkit::becomeRegularApplication() {
    [NSApp setActivationPolicy:NSApplicationActivationPolicyRegular];
}

void AppKitToolkit::setApplicationIcon(const std::filesystem::path& file) {
    icon = [[NSImage alloc] initWithContentsOfFile:nsString(file.native())];
    [NSApp setApplicationIconImage:icon];
}

NSMenuItem* AppKitToolkit::makeMenuItem(const MenuEntry& entry) const {
    if (entry.title.empty()) {
        return [NSMenuItem separatorItem];
    }
    NSMenuItem* item = [[NSMenuItem alloc] initWithTitle:nsString(entry.title)
                                                  action:actionOf(entry.command)
                                           keyEquivalent:nsString(entry.key)];
    if (entry.command != Command::terminate) { // which travels up the responder chain to the application
        item.target = target;
    }
    return item;
}

NSMenuItem* AppKitToolkit::makeMenu(const Menu& menu) const {
    NSMenuItem* item = [[NSMenuItem alloc] initWithTitle:nsString(menu.title) action:nil keyEquivalent:@""];
    item.submenu = [[NSMenu alloc] initWithTitle:nsString(menu.title)];
    for (const MenuEntry& entry : menu.entries) {
        [item.submenu addItem:makeMenuItem(entry)];
    }
    return item;
}

MenuItem& AppKitToolkit::installMainMenu(const std::vector<Menu>& menus) {
    NSMenu* mainMenu = [[NSMenu alloc] init];
    mainMenu.autoenablesItems = NO; // which would enable every item that has a menu
    for (const Menu& menu : menus) {
        [mainMenu addItem:makeMenu(menu)];
    }
    [NSApp setMainMenu:mainMenu];
    return keep(std::make_unique<AppKitMenuItem>(mainMenu.itemArray.lastObject));
}

Window& AppKitToolkit::makeWindow(const WindowTable& table) {
    window = [[NSWindow alloc]
        initWithContentRect:NSMakeRect(0, 0, table.width, table.height)
                  styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                            NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskFullSizeContentView
                    backing:NSBackingStoreBuffered
                      defer:NO];
    window.releasedWhenClosed = NO; // the toolkit owns it
    window.delegate = target;
    window.title = nsString(table.title);
    window.titleVisibility = NSWindowTitleHidden;
    window.titlebarAppearsTransparent = YES;
    window.appearance = [NSAppearance appearanceNamed:NSAppearanceNameDarkAqua];
    window.movableByWindowBackground = YES;
    NSView* initialContent = window.contentView;
    window.contentView = [[InstallerBackground alloc] initWithFrame:initialContent.bounds];
    return keep(std::make_unique<AppKitWindow>(window));
}

NSImageView* AppKitToolkit::addImageSubview(const ImageControl& control) {
    NSImageView* view = [[NSImageView alloc] initWithFrame:nsRect(control.frame)];
    if (control.tint) {
        view.contentTintColor = nsColor(*control.tint);
    }
    [window.contentView addSubview:view];
    return view;
}

void AppKitToolkit::addIcon(const ImageControl& control) {
    NSImageView* view = addImageSubview(control);
    view.image = icon;
    view.imageScaling = NSImageScaleProportionallyUpOrDown; // whatever size the picture says it has
    view.accessibilityElement = NO;                         // the heading beside it says the same
}

Label& AppKitToolkit::addLabel(const LabelControl& control) {
    NSTextField* label = [NSTextField wrappingLabelWithString:nsString(control.text)];
    label.frame = nsRect(control.frame);
    label.font = nsFont(control.font);
    label.textColor = nsColor(control.color);
    label.alignment = NSTextAlignmentCenter;
    if (control.accessibilityElement) {
        label.accessibilityElement = YES;
    }
    [window.contentView addSubview:label];
    return keep(std::make_unique<AppKitLabel>(label));
}

ImageView& AppKitToolkit::addImageView(const ImageControl& control) {
    return keep(std::make_unique<AppKitImageView>(addImageSubview(control), control.symbolSize));
}

Spinner& AppKitToolkit::addSpinner(const SpinnerControl& control) {
    NSProgressIndicator* indicator = [[NSProgressIndicator alloc] initWithFrame:nsRect(control.frame)];
    indicator.style = NSProgressIndicatorStyleSpinning;
    indicator.displayedWhenStopped = NO;
    [window.contentView addSubview:indicator];
    return keep(std::make_unique<AppKitSpinner>(indicator));
}

Button& AppKitToolkit::addButton(const ButtonControl& control, Command command) {
    NSButton* button = [NSButton buttonWithTitle:nsString(control.title)
                                          target:target
                                          action:actionOf(command)];
    button.frame = nsRect(control.frame);
    button.bezelStyle = NSBezelStyleRounded;
    button.controlSize = NSControlSizeLarge;
    button.font = nsFont(control.font);
    button.bezelColor = nsColor(control.bezel);
    button.contentTintColor = nsColor(control.tint);
    button.keyEquivalent = @"\r";
    [window.contentView addSubview:button];
    return keep(std::make_unique<AppKitButton>(button, control));
}

void AppKitToolkit::announce(const std::string& text) {
    NSAccessibilityPostNotificationWithUserInfo(
        NSApp, NSAccessibilityAnnouncementRequestedNotification, @{
            NSAccessibilityAnnouncementKey : nsString(text),
            NSAccessibilityPriorityKey : @(NSAccessibilityPriorityHigh)
        });
}

void AppKitToolkit::terminate() {
    [NSApp terminate:nil];
}

void AppKitToolkit::runOnWorker(std::function<void()> work) {
    dispatch_async(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0), ^{
      call(work);
    });
}

void AppKitToolkit::runOnMainQueue(std::function<void()> work) {
    dispatch_async(dispatch_get_main_queue(), ^{
      call(work);
    });
}

void AppKitToolkit::perform(Command command) const noexcept {
    commandHandler(command);
}

bool AppKitToolkit::accepts(NSEvent* event) const {
    if (event.type == NSEventTypeKeyDown && isReturn(event)) {
        return returnKey->press(event.isARepeat);
    }
    if (event.type == NSEventTypeKeyUp && isReturn(event)) {
        returnKey->release();
    }
    return true;
}

bool AppKitToolkit::validates(NSMenuItem* item) const {
    return [item.parentItem isEnabled] && window.attachedSheet == nil;
}

} // namespace ui
