#include "ui/qt/InstallerWindow.hpp"

#include "ui/qt/Conversions.hpp"

#include <QAccessible>
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

bool isReturn(const QKeyEvent& event) {
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

} // namespace

InstallerWindow::InstallerWindow(const WindowTable& table, std::unique_ptr<QMenuBar> menus, ReturnKey& key,
                                 std::function<bool()> requestTermination)
    : QWidget(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                           Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint),
      terminate(std::move(requestTermination)), returnKey(key), menuBar(std::move(menus)) {
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

void InstallerWindow::setDefaultButton(QPushButton& button) {
    defaultButton = &button;
    button.setDefault(true);
}

void InstallerWindow::show() {
    adjustSize();
    move(screen()->availableGeometry().center() - rect().center());
    QWidget::show();
    windowHandle()->installEventFilter(this);
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
    sheet.reset(new AlertSheet(
        alert,
        [this, completion = std::move(completion)](const AlertResponse& response) {
            endSheet();
            completion(response);
        },
        background.geometry(), this));
    sheetChanged();
    sheet->drop();
}

void InstallerWindow::endSheet() {
    sheet->hide();
    sheet.reset();
    sheetChanged();
    defaultButton->setFocus(Qt::OtherFocusReason);
}

void InstallerWindow::sheetChanged() {
    closeMenus();
    menuBar->setEnabled(!sheet);
    setAttribute(Qt::WA_KeyboardFocusChange, false); // no focus ring until Tab asks for it
    QAccessibleEvent reordered(this, QAccessible::ObjectReorder);
    QAccessible::updateAccessibility(&reordered);
}

QList<QWidget*> InstallerWindow::reachableParts() const {
    return sheet ? QList<QWidget*>{sheet.get()}
                 : QList<QWidget*>{menuBar.get(), const_cast<InstallerBackground*>(&background)};
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

/// Return is the window's and its sheet's alone: some desktops would have it press the focused control, check
/// boxes too. A menu that is open takes the presses that count.
bool InstallerWindow::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::FocusOut) {
        returnKey.release();
    }
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
        const auto& key = static_cast<const QKeyEvent&>(*event);
        if (isReturn(key)) {
            return confirm(key);
        }
    }
    return QWidget::eventFilter(object, event);
}

bool InstallerWindow::confirm(const QKeyEvent& event) {
    if (event.type() == QEvent::KeyRelease) {
        if (!event.isAutoRepeat()) {
            returnKey.release();
        }
        return false;
    }
    if (!returnKey.press(event.isAutoRepeat())) {
        return true;
    }
    if (QApplication::activePopupWidget() != nullptr) {
        return false;
    }
    if (sheet) {
        sheet->confirm();
    } else {
        defaultButton->click();
    }
    return true;
}

void InstallerWindow::keyPressEvent(QKeyEvent* event) {
    if (sheet && event->key() == Qt::Key_Escape) {
        sheet->dismiss();
    } else if (!sheet && event->key() == Qt::Key_F10) {
        menuBar->setActiveAction(menuBar->actions().front());
    } else {
        QWidget::keyPressEvent(event);
    }
}

void InstallerWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        grip = event->globalPosition().toPoint() - pos();
    }
}

void InstallerWindow::mouseMoveEvent(QMouseEvent* event) {
    if (!grip) {
        return;
    }
    const QPoint target = event->globalPosition().toPoint() - *grip;
    if (!moving && (target - pos()).manhattanLength() >= QApplication::startDragDistance()) {
        moving = !windowHandle()->startSystemMove();
        if (!moving) {
            grip.reset(); // the system has taken over
            return;
        }
    }
    if (moving) {
        move(target);
    }
}

void InstallerWindow::mouseReleaseEvent(QMouseEvent*) {
    grip.reset();
    moving = false;
}

void InstallerWindow::closeEvent(QCloseEvent* event) {
    event->setAccepted(terminate());
}

} // namespace ui::qt
