#include "ui/qt/Views.hpp"

#include "ui/qt/Conversions.hpp"
#include "ui/qt/Style.hpp"
#include "ui/qt/Texts.hpp"

#include <QPainter>
#include <QPainterPath>

namespace ui::qt {
namespace {

constexpr int spokes = 8;
constexpr int stepMilliseconds = 100;

} // namespace

SpinnerView::SpinnerView(const SpinnerControl& control, QWidget* parent) : QWidget(parent) {
    setGeometry(toRect(control.frame, parent->height()));
    setAccessibleName(toText(texts::spinnerDescription));
    hide();
}

void SpinnerView::start() {
    step = 0;
    timer.start(stepMilliseconds, this);
    show();
}

void SpinnerView::stop() {
    timer.stop();
    hide();
}

void SpinnerView::timerEvent(QTimerEvent*) {
    step = (step + 1) % spokes;
    update();
}

void SpinnerView::paintEvent(QPaintEvent*) {
    const double radius = width() / 2.0;
    const QRectF spoke(-radius * 0.11, -radius * 0.96, radius * 0.22, radius * 0.5);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.translate(radius, radius);
    for (int index = 0; index < spokes; ++index) {
        const int age = (step - index + spokes) % spokes;
        painter.setBrush(toColor({1, 1, 1, 0.9 - 0.1 * age}));
        painter.drawRoundedRect(spoke, spoke.width() / 2, spoke.width() / 2);
        painter.rotate(360.0 / spokes);
    }
}

SymbolView::SymbolView(const ImageControl& imageControl, QWidget* parent)
    : QWidget(parent), control(imageControl) {
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
    const double side = control.symbolSize.value_or(width());
    QRectF circle(0, 0, side, side);
    circle.moveCenter(QRectF(rect()).center());
    QPainterPath disc;
    disc.addEllipse(circle);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(disc.subtracted(checkMark(circle, side * 0.1)),
                     toColor(control.tint.value_or(Color::white(1))));
}

} // namespace ui::qt
