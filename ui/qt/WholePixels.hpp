#pragma once

#include <QRectF>

class QPainter;

namespace ui::qt {

/// The largest rectangle inside this one whose edges lie between the screen's pixels, and so are sharp at
/// every scale.
QRectF onWholePixels(const QPainter& painter, const QRectF& rect);

} // namespace ui::qt
