#pragma once

#include "ui/Toolkit.hpp"
#include "ui/qt/InstallerBackground.hpp"
#include "ui/qt/InstallerMenuBar.hpp"
#include "ui/qt/Sheet.hpp"

#include <QPushButton>
#include <QWidget>
#include <deque>
#include <memory>

namespace ui::qt {

/// The one window: the menu bar, and under it the content of a fixed size.
class InstallerWindow final : public QWidget, public Window {
public:
    /// `terminate` is what closing the window asks for; it returns whether the program ends.
    InstallerWindow(const WindowTable& table, std::unique_ptr<InstallerMenuBar> menus,
                    std::function<bool()> terminate);

    void setCloseButtonEnabled(bool enabled) override;
    void beginSheet(const Alert& alert, std::function<void(const AlertResponse&)> completion) override;
    void show() override;

    /// Return presses this button unless a sheet is up.
    void setDefaultButton(QPushButton& button) { defaultButton = &button; }

    QWidget& content() { return background; }

protected:
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    struct PendingSheet {
        Alert alert;
        std::function<void(const AlertResponse&)> completion;
    };
    struct DeleteLater {
        void operator()(QObject* object) const { object->deleteLater(); }
    };

    void showNextSheet();

    std::function<bool()> terminate;
    std::unique_ptr<InstallerMenuBar> menuBar;
    InstallerBackground background;
    QPushButton* defaultButton = nullptr;
    std::unique_ptr<Sheet, DeleteLater> sheet;
    std::deque<PendingSheet> pending; ///< sheets asked for while another was up
};

} // namespace ui::qt
