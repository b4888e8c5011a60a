#include "ui/qt/Style.hpp"

#include "ui/qt/Conversions.hpp"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QStyleOptionButton>
#include <algorithm>
#include <cmath>

namespace ui::qt {
namespace {

constexpr double largestRadius = 12;
constexpr double disabledOpacity = 0.4;
constexpr double squareSide = 18;
constexpr double squareRadius = 5;
constexpr double boxRadius = 6;
constexpr int boxInset = 5;
constexpr int boxTextInset = 31;

QPalette darkPalette() {
    QPalette palette(toColor(colors::secondaryBezel), toColor(colors::bar));
    const auto set = [&](QPalette::ColorRole role, const Color& color) {
        palette.setColor(role, toColor(color));
    };
    set(QPalette::Base, colors::panel);
    set(QPalette::WindowText, colors::text);
    set(QPalette::Text, colors::text);
    set(QPalette::ButtonText, colors::text);
    set(QPalette::ToolTipBase, colors::panel);
    set(QPalette::ToolTipText, colors::text);
    set(QPalette::Highlight, colors::accent);
    set(QPalette::HighlightedText, colors::onAccent);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, toColor(colors::disabledText));
    }
    return palette;
}

/// The largest rectangle inside this one whose edges lie between the screen's pixels.
QRectF onWholePixels(const QPainter& painter, const QRectF& rect) {
    constexpr double rounding = 0.01; // a scale such as 1.1 does not divide to the last digit
    const QTransform scaling = painter.deviceTransform();
    const QRectF pixels = scaling.mapRect(rect);
    const QPointF topLeft(std::ceil(pixels.left() - rounding), std::ceil(pixels.top() - rounding));
    const QPointF bottomRight(std::floor(pixels.right() + rounding), std::floor(pixels.bottom() + rounding));
    return scaling.inverted().mapRect(QRectF(topLeft, bottomRight));
}

/// Draws the mark of the keyboard's focus inside an outline, once the user works with the keyboard.
void drawFocusRing(QPainter& painter, QStyle::State state, const QRectF& outline, double radius) {
    if (!(state & QStyle::State_HasFocus) || !(state & QStyle::State_KeyboardFocusChange)) {
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

void fillRounded(QPainter& painter, const QRectF& rect, double radius, const QColor& color) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(rect, radius, radius);
}

void drawPushButton(QPainter& painter, const QStyleOptionButton& option) {
    const QRectF outline = onWholePixels(painter, option.rect);
    const double radius = std::min(largestRadius, outline.height() / 4);
    const bool enabled = option.state & QStyle::State_Enabled;
    QColor fill = option.palette.color(QPalette::Active, QPalette::Button);
    if (enabled && (option.state & QStyle::State_Sunken)) {
        fill = fill.darker(125);
    } else if (enabled && (option.state & QStyle::State_MouseOver)) {
        fill = fill.lighter(110);
    }
    painter.setOpacity(enabled ? 1 : disabledOpacity);
    fillRounded(painter, outline, radius, fill);
    painter.setOpacity(1);
    drawFocusRing(painter, option.state, outline, radius);
    painter.setPen(option.palette.color(QPalette::Active, QPalette::ButtonText));
    painter.drawText(option.rect, Qt::AlignCenter | Qt::TextHideMnemonic, option.text);
}

void drawCheckBox(QPainter& painter, const QStyleOptionButton& option) {
    const QRectF frame = option.rect;
    const QRectF square =
        onWholePixels(painter, {frame.x() + boxInset, frame.y() + (frame.height() - squareSide) / 2,
                                squareSide, squareSide});
    if (option.state & QStyle::State_MouseOver) {
        const double strength = option.state & QStyle::State_Sunken ? 0.10 : 0.05;
        fillRounded(painter, frame, boxRadius, toColor({1, 1, 1, strength}));
    }
    if (option.state & QStyle::State_On) {
        fillRounded(painter, square, squareRadius, toColor(colors::accent));
        painter.fillPath(checkMark(square, 2.2), toColor(colors::onAccent));
    } else {
        painter.setPen(QPen(toColor(colors::boxEdge), 1.5));
        painter.setBrush(toColor(colors::bar));
        painter.drawRoundedRect(square.adjusted(0.75, 0.75, -0.75, -0.75), squareRadius, squareRadius);
    }
    drawFocusRing(painter, option.state, frame, boxRadius);
    const QRectF textRect = frame.adjusted(boxTextInset, 0, 0, 0);
    const QString title = QString(option.text).replace("&&", "&");
    painter.setPen(toColor(colors::text));
    painter.drawText(
        textRect, Qt::AlignLeft | Qt::AlignVCenter,
        option.fontMetrics.elidedText(title, Qt::ElideRight, static_cast<int>(textRect.width())));
}

} // namespace

void InstallerStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                                 const QWidget* widget) const {
    const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
    if (button == nullptr || (element != CE_PushButton && element != CE_CheckBox)) {
        return QProxyStyle::drawControl(element, option, painter, widget);
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    (element == CE_PushButton ? drawPushButton : drawCheckBox)(*painter, *button);
    painter->restore();
}

QRect InstallerStyle::subElementRect(SubElement element, const QStyleOption* option,
                                     const QWidget* widget) const {
    return element == SE_CheckBoxClickRect ? option->rect
                                           : QProxyStyle::subElementRect(element, option, widget);
}

void applyDarkAppearance() {
    QApplication::setStyle(std::make_unique<InstallerStyle>().release()); // the application owns it
    QApplication::setPalette(darkPalette());
    QApplication::setFont(toFont({13}));
}

QString darkStyleSheet() {
    return QString("QMenuBar { background: %1; color: %2; padding: 2px 6px; border: none; }"
                   "QMenuBar::item { padding: 5px 9px; border-radius: 5px; background: transparent; }"
                   "QMenuBar::item:selected { background: %3; }"
                   "QMenuBar::item:disabled { color: %4; background: transparent; }"
                   "QMenu { background: %5; color: %2; border: 1px solid %3; padding: 5px; }"
                   "QMenu::item { padding: 6px 22px 6px 12px; border-radius: 5px; }"
                   "QMenu::item:selected { background: %6; color: %7; }"
                   "QMenu::item:disabled { color: %4; background: transparent; }"
                   "QMenu::separator { height: 1px; background: %3; margin: 5px 8px; }"
                   "QScrollBar { background: transparent; border: none; }"
                   "QScrollBar:vertical { width: 12px; }"
                   "QScrollBar:horizontal { height: 12px; }"
                   "QScrollBar::handle { background: %8; border-radius: 3px; }"
                   "QScrollBar::handle:hover, QScrollBar::handle:pressed { background: %9; }"
                   "QScrollBar::handle:vertical { min-height: 30px; margin: 0px 0px 0px 6px; }"
                   "QScrollBar::handle:horizontal { min-width: 30px; margin: 6px 0px 0px 0px; }"
                   "QScrollBar::add-line, QScrollBar::sub-line { width: 0px; height: 0px; }"
                   "QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }")
        .arg(toColor(colors::bar).name(), toColor(colors::text).name(),
             toColor(colors::secondaryBezel).name(), toColor(colors::disabledText).name(),
             toColor(colors::panel).name(), toColor(colors::accent).name(), toColor(colors::onAccent).name(),
             toColor(colors::boxEdge).name(), toColor(colors::secondaryText).name());
}

void setColors(QPushButton& button, const Color& bezel, const Color& tint) {
    QPalette tones = button.palette();
    tones.setColor(QPalette::Button, toColor(bezel));
    tones.setColor(QPalette::ButtonText, toColor(tint));
    button.setPalette(tones);
}

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
