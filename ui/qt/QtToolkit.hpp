#pragma once

#include "ui/Toolkit.hpp"
#include "ui/qt/InstallerWindow.hpp"

#include <memory>
#include <vector>

namespace ui::qt {

/// The window in Qt Widgets.
class QtToolkit final : public Toolkit {
public:
    /// The application must exist by now.
    QtToolkit();

    /// Who is asked before the program ends.
    void setTerminationTest(std::function<bool()> test) { applicationShouldTerminate = std::move(test); }

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

    InstallerWindow& mainWindow() { return *window; }

private:
    template <typename Control>
    Control& keep(std::unique_ptr<Control> control);
    template <typename View, typename Control>
    View& add(const Control& control);
    void addEntries(QMenu& menu, const std::vector<MenuEntry>& entries);
    bool endApplication();

    std::function<void(Command)> perform;
    std::function<bool()> applicationShouldTerminate;
    ReturnKey* returnKey = nullptr;
    std::unique_ptr<QMenuBar> menuBar; ///< until the window takes it
    std::unique_ptr<InstallerWindow> window;
    std::vector<std::shared_ptr<void>> controls;
};

} // namespace ui::qt
