#pragma once

#include "ui/ControlTable.hpp"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the delegate needs of a toolkit. Everything is called on the main thread; texts are UTF-8. The
/// toolkit owns the controls, which live until the program ends.
namespace ui {

class Label {
public:
    virtual ~Label() = default;
    virtual void setText(const std::string& text) = 0;
};

class Button {
public:
    virtual ~Button() = default;
    virtual void setTitle(const std::string& title) = 0;
    virtual void setEnabled(bool enabled) = 0;
};

/// Visible only while it turns.
class Spinner {
public:
    virtual ~Spinner() = default;
    virtual void start() = 0;
    virtual void stop() = 0;
};

class ImageView {
public:
    virtual ~ImageView() = default;
    /// Shows a system symbol by its name, in the view's tint.
    virtual void showSymbol(const std::string& name, const std::string& accessibilityDescription) = 0;
    virtual void clear() = 0;
};

class MenuItem {
public:
    virtual ~MenuItem() = default;
    /// A disabled item does not open its menu.
    virtual void setEnabled(bool enabled) = 0;
};

struct CheckBox {
    std::string title;
    Frame frame; ///< inside the accessory view, from its bottom left
    bool on = false;
};

/// The boxes below an alert's text.
struct Accessory {
    double width = 0;
    double height = 0;
    std::vector<CheckBox> boxes;
};

/// A warning, where the toolkit tells warnings from other alerts.
struct Alert {
    std::string message;
    std::string informative;
    std::vector<std::string> buttons; ///< the first is the default; empty means the system's single "OK"
    std::optional<Accessory> accessory;
};

struct AlertResponse {
    bool first = false;      ///< the first button was chosen, not another and not a dismissal
    std::vector<bool> boxes; ///< the accessory's boxes as they were, in order
};

class Window {
public:
    virtual ~Window() = default;
    virtual void setCloseButtonEnabled(bool enabled) = 0;

    /// Shows the alert as a sheet; `completion` is called once it is gone. Until then nothing behind it
    /// answers, to assistive technology either. There is one sheet at a time.
    virtual void beginSheet(const Alert& alert, std::function<void(const AlertResponse&)> completion) = 0;

    /// Centres the window, makes it key, brings it to the front and activates the application.
    virtual void show() = 0;
};

enum class Command { about, install, customize, uninstall, terminate };

struct MenuEntry {
    std::string_view title; ///< empty for a separator
    Command command = Command::about;
    std::string_view key; ///< pressed with Command on macOS, with Ctrl elsewhere; empty for none
};

struct Menu {
    std::string_view title; ///< empty for the application's own menu
    std::vector<MenuEntry> entries;
};

class ReturnKey;

class Toolkit {
public:
    virtual ~Toolkit() = default;

    /// The function that carries out a command that a control or menu asks for, set before the first of them
    /// is made.
    virtual void setCommandHandler(std::function<void(Command)> handler) = 0;

    /// The rule that every press of Return is put to; it outlives the toolkit's controls.
    virtual void setReturnKey(ReturnKey& key) = 0;

    /// Gives the application its place in the dock or task bar.
    virtual void becomeRegularApplication() = 0;

    /// A file that is missing or cannot be read leaves the application without an icon.
    virtual void setApplicationIcon(const std::filesystem::path& file) = 0;

    /// Installs the menu bar and returns the item that opens the last of the menus.
    virtual MenuItem& installMainMenu(const std::vector<Menu>& menus) = 0;

    /// Makes the one window, not shown yet, with the drawn background as its content.
    virtual Window& makeWindow(const WindowTable& table) = 0;

    /// Each adds one control to the window. The icon's view shows the application's icon.
    virtual void addIcon(const ImageControl& control) = 0;
    virtual Label& addLabel(const LabelControl& control) = 0;
    virtual ImageView& addImageView(const ImageControl& control) = 0;
    virtual Spinner& addSpinner(const SpinnerControl& control) = 0;

    /// A push button that Return presses, wherever the keyboard's focus is.
    virtual Button& addButton(const ButtonControl& control, Command command) = 0;

    /// Has a screen reader say the text at once.
    virtual void announce(const std::string& text) = 0;

    /// Asks the application to end; the delegate is asked first.
    virtual void terminate() = 0;

    /// Runs the work on another thread.
    virtual void runOnWorker(std::function<void()> work) = 0;

    /// Runs the work on the main thread, later. May be called on any thread.
    virtual void runOnMainQueue(std::function<void()> work) = 0;
};

} // namespace ui
