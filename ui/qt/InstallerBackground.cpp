#include "ui/qt/InstallerBackground.hpp"

#include "ui/qt/Conversions.hpp"

#include <QPainter>
#include <QRadialGradient>

namespace ui::qt {
void InstallerBackground::paintEvent(QPaintEvent*) {
    const Glow glow = glowIn(width(), height());
    QRadialGradient gradient(glow.x, height() - glow.y, glow.radius);
    gradient.setColorAt(0, toColor(backgroundTable.glow));
    gradient.setColorAt(1, toColor(backgroundTable.base));
    QPainter painter(this);
    painter.fillRect(rect(), toColor(backgroundTable.base));
    painter.fillRect(rect(), gradient);
}

} // namespace ui::qt
