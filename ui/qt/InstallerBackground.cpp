#include "ui/qt/InstallerBackground.hpp"

#include "ui/qt/TableReader.hpp"

#include <QPainter>
#include <QRadialGradient>
#include <cmath>

namespace ui::qt {
namespace {

/// The glow ends at the corner that is farthest from its centre.
QRadialGradient glowIn(const QRectF& bounds) {
    const double halfWidth = bounds.width() / 2;
    const double halfHeight = bounds.height() / 2;
    const QPointF centre =
        bounds.center() + QPointF(backgroundTable.centreX * halfWidth, -backgroundTable.centreY * halfHeight);
    const double radius = std::hypot(halfWidth * (1 + std::abs(backgroundTable.centreX)),
                                     halfHeight * (1 + std::abs(backgroundTable.centreY)));
    QRadialGradient glow(centre, radius);
    glow.setColorAt(0, toColor(backgroundTable.glow));
    glow.setColorAt(1, toColor(backgroundTable.base));
    return glow;
}

} // namespace

void InstallerBackground::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), toColor(backgroundTable.base));
    painter.fillRect(rect(), glowIn(QRectF(rect())));
}

} // namespace ui::qt
