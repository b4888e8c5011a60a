#include "ui/qt/CheckMark.hpp"

namespace ui::qt {

QPainterPath checkMark(const QRectF& square, double penWidth) {
    const auto at = [&](double x, double y) {
        return square.topLeft() + QPointF(square.width() * x, square.height() * y);
    };
    QPainterPath line(at(0.28, 0.53));
    line.lineTo(at(0.44, 0.69));
    line.lineTo(at(0.72, 0.33));
    QPainterPathStroker pen;
    pen.setWidth(penWidth);
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    return pen.createStroke(line);
}

} // namespace ui::qt
