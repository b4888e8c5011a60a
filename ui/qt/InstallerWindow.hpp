#pragma once

#include "ui/ReturnKey.hpp"
#include "ui/qt/AlertSheet.hpp"
#include "ui/qt/InstallerBackground.hpp"

#include <QMenuBar>
#include <QPushButton>
#include <QWidget>
#include <memory>
#include <optional>

namespace ui::qt {

/// The one window: the menu bar, and under it the content of a fixed size.
class InstallerWindow final : public QWidget, public Window {
public:
    /// `terminate` is what closing the window asks for; it returns whether the program ends.
    InstallerWindow(const WindowTable& table, std::unique_ptr<QMenuBar> menus, ReturnKey& key,
                    std::function<bool()> terminate);

    void setCloseButtonEnabled(bool enabled) override;
    void beginSheet(const Alert& alert, std::function<void(const AlertResponse&)> completion) override;
    void show() override;

    /// Return presses this button unless a sheet is up.
    void setDefaultButton(QPushButton& button);

    /// What assistive technology finds in the window: the sheet alone while one is up.
    QList<QWidget*> reachableParts() const;

    QWidget& content() { return background; }

    bool eventFilter(QObject* object, QEvent* event) override;

protected:
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    struct DeleteLater {
        void operator()(QObject* object) const { object->deleteLater(); }
    };

    void endSheet();
    void sheetChanged();
    bool confirm(const QKeyEvent& event);

    std::function<bool()> terminate;
    ReturnKey& returnKey;
    std::unique_ptr<QMenuBar> menuBar;
    InstallerBackground background;
    QPushButton* defaultButton = nullptr;
    std::unique_ptr<AlertSheet, DeleteLater> sheet;
    std::optional<QPoint> grip; ///< where in the window the mouse took hold of its background
    bool moving = false;        ///< the window follows the mouse by itself
};

} // namespace ui::qt
