#include "ui/qt/Sheet.hpp"

#include "ui/qt/Colors.hpp"
#include "ui/qt/ConfirmingKey.hpp"
#include "ui/qt/PushButton.hpp"
#include "ui/qt/TableReader.hpp"

#include <QPainter>
#include <algorithm>

namespace ui::qt {
namespace {

constexpr int dropMilliseconds = 180;

} // namespace

Sheet::Sheet(const Alert& alert, std::function<void(const AlertResponse&)> finishSheet, QWidget* content)
    : QWidget(content), message(toText(alert.message)), informative(toText(alert.informative)),
      finish(std::move(finishSheet)) {
    resize(content->size());
    panel = std::make_unique<SheetPanel>(
        alert, [this](bool first) { respond(first); }, this);
    setAccessibleName(message);
    setAccessibleDescription(informative);
    descent.setStartValue(0.0);
    descent.setEndValue(1.0);
    descent.setDuration(dropMilliseconds);
    descent.setEasingCurve(QEasingCurve::OutCubic);
    connect(&descent, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { place(value.toDouble()); });
}

void Sheet::drop() {
    place(0);
    show();
    raise();
    panel->defaultButton().setFocus(Qt::OtherFocusReason);
    descent.start();
}

void Sheet::place(double progress) {
    dimming = progress;
    panel->move(panel->x(), static_cast<int>((progress - 1) * panel->height()));
    update();
}

void Sheet::moveFocus(bool forward) {
    std::vector<QWidget*> order = panel->focusOrder();
    if (!forward) {
        std::reverse(order.begin(), order.end());
    }
    const auto current = std::find(order.begin(), order.end(), window()->focusWidget());
    const bool wraps = current == order.end() || current + 1 == order.end();
    QWidget* next = wraps ? order.front() : *(current + 1);
    next->setFocus(forward ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    panel->reveal(*next);
}

void Sheet::handleKey(QKeyEvent* event) {
    if (confirms(*event) && !event->isAutoRepeat()) {
        auto* focused = dynamic_cast<PushButton*>(window()->focusWidget());
        (focused != nullptr && isAncestorOf(focused) ? *focused : panel->defaultButton()).click();
    } else if (event->key() == Qt::Key_Escape) {
        respond(false);
    }
    event->accept();
}

void Sheet::mousePressEvent(QMouseEvent* event) {
    event->accept();
}

void Sheet::respond(bool first) {
    if (!answered) {
        answered = true;
        finish({first, panel->boxStates()});
    }
}

void Sheet::paintEvent(QPaintEvent*) {
    Color dim = colors::dim;
    dim.alpha *= dimming;
    QPainter(this).fillRect(rect(), toColor(dim));
}

} // namespace ui::qt
