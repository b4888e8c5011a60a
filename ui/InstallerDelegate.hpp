#pragma once

#include "ui/ReturnKey.hpp"
#include "ui/Toolkit.hpp"

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace ui {

/// Everything that the window knows and decides, without a toolkit: the menus and controls, one run at a
/// time, the result screen, the chooser and the confirmation. While a sheet is up every command but quitting
/// is refused, whoever gives it. All of it runs on the main thread but the engine's work.
class InstallerDelegate {
public:
    using Selection = std::optional<std::set<std::string>>;

    /// Carries out one run and returns its summary; called on the worker.
    using Perform =
        std::function<std::string(const std::filesystem::path& payload, bool uninstall, const Selection&)>;

    /// Without a resource folder the program stops abnormally. `perform` is the engine unless a test says
    /// otherwise.
    explicit InstallerDelegate(Toolkit& toolkit, Perform perform = performWithEngine);

    /// Builds the menus, the window and its controls, and shows the window.
    void applicationDidFinishLaunching();

    void about();

    /// The primary button: quits after a success, installs otherwise.
    void install();

    /// Lets the user choose transitions.
    void customize();

    /// Asks for confirmation, then uninstalls the selection.
    void uninstall();

    /// Starts a run unless one is in progress.
    void run(bool uninstall);

    /// Whether the program may end now; the only way out of it.
    bool applicationShouldTerminate() const { return !busy; }
    bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }

    Window* window = nullptr;
    Label* heading = nullptr;
    Label* subtitle = nullptr;
    Label* status = nullptr;
    Button* primary = nullptr;
    Spinner* spinner = nullptr;
    ImageView* symbol = nullptr;
    Selection selection; ///< nothing means every transition of the pack
    bool completed = false;
    bool busy = false;
    MenuItem* optionsItem = nullptr;
    const std::filesystem::path payload;

private:
    /// The three lines that tell the window's state.
    struct Screen {
        std::string heading;
        std::string subtitle;
        std::string status;
    };

    static std::string performWithEngine(const std::filesystem::path& payload, bool uninstall,
                                         const Selection& selection);

    void perform(Command command);
    void setControlsEnabled(bool enabled);
    void show(const Screen& screen);
    void announce(const Screen& screen);
    void beginSheet(const Alert& alert, const std::function<void(const AlertResponse&)>& completion);
    void choose(std::set<std::string> names);
    void showSuccess(bool uninstall);
    void showFailure(const std::string& description);
    void showFailureSheet(const std::string& description);

    Toolkit& toolkit;
    Perform performRun;
    ReturnKey returnKey;
    bool sheetIsUp = false;
    std::function<void()> afterSheet; ///< shows the failure of a run that ended under a sheet
};

} // namespace ui
