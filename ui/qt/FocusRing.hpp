#pragma once

#include <QRectF>

class QPainter;
class QWidget;

namespace ui::qt {

/// Draws the mark of the keyboard's focus inside the outline of a control, once the user works with the
/// keyboard.
void drawFocusRing(QPainter& painter, const QWidget& control, const QRectF& outline, double radius);

} // namespace ui::qt
