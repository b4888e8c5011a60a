#include "ui/qt/WholePixels.hpp"

#include <QPainter>
#include <cmath>

namespace ui::qt {

QRectF onWholePixels(const QPainter& painter, const QRectF& rect) {
    constexpr double rounding = 0.01; // a scale such as 1.1 does not divide to the last digit
    const QTransform scaling = painter.deviceTransform();
    const QRectF pixels = scaling.mapRect(rect);
    const QPointF topLeft(std::ceil(pixels.left() - rounding), std::ceil(pixels.top() - rounding));
    const QPointF bottomRight(std::floor(pixels.right() + rounding), std::floor(pixels.bottom() + rounding));
    return scaling.inverted().mapRect(QRectF(topLeft, bottomRight));
}

} // namespace ui::qt
