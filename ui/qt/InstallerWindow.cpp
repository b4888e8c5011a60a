#include "ui/qt/InstallerWindow.hpp"

#include "ui/qt/ConfirmingKey.hpp"
#include "ui/qt/TableReader.hpp"

#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QVBoxLayout>
#include <QWindow>

namespace ui::qt {
namespace {

/// A menu that stayed open while its bar is disabled would answer no more, and keep the keyboard.
void closeMenus() {
    while (QWidget* popup = QApplication::activePopupWidget()) {
        popup->close();
    }
}

} // namespace

InstallerWindow::InstallerWindow(const WindowTable& table, std::unique_ptr<InstallerMenuBar> menus,
                                 std::function<bool()> requestTermination)
    : QWidget(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                           Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint),
      terminate(std::move(requestTermination)), menuBar(std::move(menus)) {
    setWindowTitle(toText(table.title));
    background.setFixedSize(static_cast<int>(table.width), static_cast<int>(table.height));
    auto rows = std::make_unique<QVBoxLayout>();
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(0);
    rows->setSizeConstraint(QLayout::SetFixedSize);
    rows->setMenuBar(menuBar.get());
    rows->addWidget(&background);
    setLayout(rows.release()); // the window owns it now
    for (QAction* menu : menuBar->actions()) {
        addActions(menu->menu()->actions()); // so that shortcuts outlive a disabled menu bar
    }
}

void InstallerWindow::show() {
    adjustSize();
    move(screen()->availableGeometry().center() - rect().center());
    QWidget::show();
    raise();
    activateWindow();
    defaultButton->setFocus(Qt::OtherFocusReason);
}

void InstallerWindow::setCloseButtonEnabled(bool enabled) {
    // Changed on the window proper: the widget would hide and show itself to do it.
    if (windowHandle() != nullptr) {
        windowHandle()->setFlag(Qt::WindowCloseButtonHint, enabled);
    }
}

void InstallerWindow::beginSheet(const Alert& alert, std::function<void(const AlertResponse&)> completion) {
    pending.push_back({alert, std::move(completion)});
    if (!sheet) {
        showNextSheet();
    }
}

void InstallerWindow::showNextSheet() {
    closeMenus();
    menuBar->setEnabled(pending.empty());
    setAttribute(Qt::WA_KeyboardFocusChange, false); // no focus ring until Tab asks for it
    if (pending.empty()) {
        defaultButton->setFocus(Qt::OtherFocusReason);
        return;
    }
    const PendingSheet next = std::move(pending.front());
    pending.pop_front();
    sheet.reset(new Sheet(
        next.alert,
        [this, completion = next.completion](const AlertResponse& response) {
            sheet->hide();
            sheet.reset();
            showNextSheet();
            completion(response);
        },
        &background));
    sheet->drop();
}

bool InstallerWindow::focusNextPrevChild(bool next) {
    setAttribute(Qt::WA_KeyboardFocusChange);
    if (sheet) {
        sheet->moveFocus(next);
        return true;
    }
    if (focusWidget() != nullptr) {
        focusWidget()->update();
    }
    return QWidget::focusNextPrevChild(next);
}

void InstallerWindow::keyPressEvent(QKeyEvent* event) {
    if (sheet) {
        sheet->handleKey(event);
    } else if (confirms(*event) && !event->isAutoRepeat()) {
        defaultButton->click();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void InstallerWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        windowHandle()->startSystemMove();
    }
}

void InstallerWindow::closeEvent(QCloseEvent* event) {
    event->setAccepted(terminate());
}

} // namespace ui::qt
