#import "ui/appkit/AppKitToolkit.hpp"

#import "ui/appkit/AlertSheet.hpp"
#import "ui/appkit/Conversions.hpp"
#import "ui/appkit/InstallerBackground.hpp"

#import <dispatch/dispatch.h>

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

void announce(NSString* text) {
    NSAccessibilityPostNotificationWithUserInfo(
        NSApp, NSAccessibilityAnnouncementRequestedNotification, @{
            NSAccessibilityAnnouncementKey : text,
            NSAccessibilityPriorityKey : @(NSAccessibilityPriorityMedium)
        });
}

class AppKitLabel final : public Label {
public:
    AppKitLabel(NSTextField* field, bool announced) : field(field), announced(announced) {}

    void setText(const std::string& text) override {
        field.stringValue = nsString(text);
        if (announced && !text.empty()) {
            announce(field.stringValue);
        }
    }

private:
    NSTextField* field;
    bool announced;
};

class AppKitButton final : public Button {
public:
    explicit AppKitButton(NSButton* button) : button(button) {}
    void setTitle(const std::string& title) override { button.title = nsString(title); }
    void setEnabled(bool enabled) override { button.enabled = enabled; }

private:
    NSButton* button;
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
    explicit AppKitImageView(NSImageView* view) : view(view) {}

    void showSymbol(const std::string& name, const std::string& accessibilityDescription) override {
        view.image = [NSImage imageWithSystemSymbolName:nsString(name)
                               accessibilityDescription:nsString(accessibilityDescription)];
    }
    void clear() override { view.image = nil; }

private:
    NSImageView* view;
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

AppKitToolkit::AppKitToolkit(id target) : target(target) {}

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
    view.imageScaling = NSImageScaleProportionallyUpOrDown; // whatever size the picture says it has
    if (control.tint) {
        view.contentTintColor = nsColor(*control.tint);
    }
    [window.contentView addSubview:view];
    return view;
}

void AppKitToolkit::addIcon(const ImageControl& control) {
    NSImageView* view = addImageSubview(control);
    view.image = icon;
    view.accessibilityElement = NO; // the heading beside it says the same
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
    return keep(std::make_unique<AppKitLabel>(label, control.accessibilityElement));
}

ImageView& AppKitToolkit::addImageView(const ImageControl& control) {
    return keep(std::make_unique<AppKitImageView>(addImageSubview(control)));
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
    return keep(std::make_unique<AppKitButton>(button));
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

bool AppKitToolkit::validates(NSMenuItem* item) const {
    return [item.parentItem isEnabled] && window.attachedSheet == nil;
}

} // namespace ui
