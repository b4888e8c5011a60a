#include "ui/qt/FocusRing.hpp"

#include "ui/qt/Colors.hpp"
#include "ui/qt/TableReader.hpp"

#include <QPainter>
#include <QWidget>

namespace ui::qt {

void drawFocusRing(QPainter& painter, const QWidget& control, const QRectF& outline, double radius) {
    if (!control.hasFocus() || !control.window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        return;
    }
    const auto drawLine = [&](double inset, double width, const Color& color) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(toColor(color), width));
        painter.drawRoundedRect(outline.adjusted(inset, inset, -inset, -inset), radius - inset,
                                radius - inset);
    };
    drawLine(3, 2, colors::bar);
    drawLine(1, 2, colors::focus);
}

} // namespace ui::qt
