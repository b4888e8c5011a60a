#include "ui/qt/SymbolView.hpp"

#include "ui/qt/CheckMark.hpp"
#include "ui/qt/TableReader.hpp"

#include <QPainter>

namespace ui::qt {
namespace {

constexpr double air = 3; ///< around the symbol, which would touch the line below it

} // namespace

SymbolView::SymbolView(const ImageControl& control, QWidget* parent)
    : QWidget(parent), tint(toColor(control.tint.value_or(Color::white(1)))) {
    setGeometry(toRect(control.frame, parent->height()));
    hide();
}

void SymbolView::showSymbol(const std::string&, const std::string& accessibilityDescription) {
    setAccessibleName(toText(accessibilityDescription));
    show();
}

void SymbolView::clear() {
    hide();
    setAccessibleName({});
}

void SymbolView::paintEvent(QPaintEvent*) {
    const QRectF circle = QRectF(rect()).adjusted(air, air, -air, -air);
    QPainterPath disc;
    disc.addEllipse(circle);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(disc.subtracted(checkMark(circle, circle.width() * 0.1)), tint);
}

} // namespace ui::qt
