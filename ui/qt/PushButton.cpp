#include "ui/qt/PushButton.hpp"

#include "ui/qt/ConfirmingKey.hpp"
#include "ui/qt/FocusRing.hpp"
#include "ui/qt/TableReader.hpp"
#include "ui/qt/WholePixels.hpp"

#include <QPainter>
#include <algorithm>

namespace ui::qt {
namespace {

constexpr double largestRadius = 12;
constexpr double disabledOpacity = 0.4;

} // namespace

PushButton::PushButton(const ButtonControl& control, QWidget* parent)
    : QPushButton(parent), bezel(toColor(control.bezel)), tint(toColor(control.tint)) {
    setGeometry(toRect(control.frame, parent->height()));
    setFont(toFont(control.font));
    setAttribute(Qt::WA_Hover);
    setTitle(std::string(control.title));
}

void PushButton::setTitle(const std::string& title) {
    setText(withoutMnemonics(title));
}

void PushButton::setEnabled(bool enabled) {
    if (!enabled) {
        clearFocus();
    }
    QPushButton::setEnabled(enabled);
    if (enabled && window()->focusWidget() == nullptr) {
        setFocus(Qt::OtherFocusReason);
    }
}

void PushButton::keyPressEvent(QKeyEvent* event) {
    if (confirms(*event)) {
        event->ignore();
    } else {
        QPushButton::keyPressEvent(event);
    }
}

void PushButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF outline = onWholePixels(painter, rect());
    const double radius = std::min(largestRadius, outline.height() / 4);
    QColor fill = bezel;
    if (isEnabled() && isDown()) {
        fill = bezel.darker(125);
    } else if (isEnabled() && underMouse()) {
        fill = bezel.lighter(110);
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.setOpacity(isEnabled() ? 1 : disabledOpacity);
    painter.drawRoundedRect(outline, radius, radius);
    painter.setOpacity(1);
    drawFocusRing(painter, *this, outline, radius);
    painter.setPen(tint);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextHideMnemonic, text());
}

} // namespace ui::qt
