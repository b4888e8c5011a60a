#pragma once

#include "ui/ReturnKey.hpp"
#include "ui/Toolkit.hpp"

#import <AppKit/AppKit.h>

#include <memory>
#include <vector>

namespace ui {

/// The window in AppKit. Used on the main thread only, but for `runOnMainQueue`.
class AppKitToolkit final : public Toolkit {
public:
    /// The target's methods `about`, `install`, `customize` and `uninstall` are the actions of menu items and
    /// button; it is the window's delegate too. It outlives the toolkit.
    explicit AppKitToolkit(id<NSWindowDelegate> target);

    void setCommandHandler(std::function<void(Command)> handler) override;
    void setReturnKey(ReturnKey& key) override { returnKey = &key; }
    void becomeRegularApplication() override;
    void setApplicationIcon(const std::filesystem::path& file) override;
    MenuItem& installMainMenu(const std::vector<Menu>& menus) override;
    Window& makeWindow(const WindowTable& table) override;
    void addIcon(const ImageControl& control) override;
    Label& addLabel(const LabelControl& control) override;
    ImageView& addImageView(const ImageControl& control) override;
    Spinner& addSpinner(const SpinnerControl& control) override;
    Button& addButton(const ButtonControl& control, Command command) override;
    void announce(const std::string& text) override;
    void terminate() override;
    void runOnWorker(std::function<void()> work) override;
    void runOnMainQueue(std::function<void()> work) override;

    /// Carries out the command behind one of the target's actions.
    void perform(Command command) const noexcept;

    /// Whether the event may go on to the window or its sheet: not a press of Return that does not count.
    bool accepts(NSEvent* event) const;

    /// The keyboard went to another program, which a held key's release goes to as well.
    void keyboardLeft() const { returnKey->release(); }

    /// Whether an item that acts on the target can be chosen: not in a disabled menu, not under a sheet.
    bool validates(NSMenuItem* item) const;

private:
    template <typename Control>
    Control& keep(std::unique_ptr<Control> control);
    NSImageView* addImageSubview(const ImageControl& control);
    NSMenuItem* makeMenuItem(const MenuEntry& entry) const;
    NSMenuItem* makeMenu(const Menu& menu) const;

    __unsafe_unretained id<NSWindowDelegate> target;
    ReturnKey* returnKey = nullptr;
    std::function<void(Command)> commandHandler;
    std::vector<std::shared_ptr<void>> controls;
    NSImage* icon = nil;
    NSWindow* window = nil;
};

} // namespace ui
