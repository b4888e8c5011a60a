#include "ui/qt/ChooserBox.hpp"

#include "ui/qt/CheckMark.hpp"
#include "ui/qt/Colors.hpp"
#include "ui/qt/ConfirmingKey.hpp"
#include "ui/qt/FocusRing.hpp"
#include "ui/qt/TableReader.hpp"
#include "ui/qt/WholePixels.hpp"

#include <QPainter>

namespace ui::qt {
namespace {

constexpr double squareSide = 18;
constexpr double squareRadius = 5;
constexpr int inset = 5;
constexpr int textInset = 31;

} // namespace

ChooserBox::ChooserBox(const CheckBox& box, QWidget* parent) : QCheckBox(parent), title(toText(box.title)) {
    setGeometry(toRect(box.frame, parent->height()));
    setFont(toFont({13}));
    setText(withoutMnemonics(box.title));
    setAccessibleName(title);
    setChecked(box.on);
    setAttribute(Qt::WA_Hover);
    if (fontMetrics().horizontalAdvance(title) > width() - textInset) {
        setToolTip("<qt>" + title.toHtmlEscaped() + "</qt>"); // else a tip guesses whether it is markup
    }
}

void ChooserBox::keyPressEvent(QKeyEvent* event) {
    if (confirms(*event)) {
        event->ignore();
    } else {
        QCheckBox::keyPressEvent(event);
    }
}

void ChooserBox::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF square =
        onWholePixels(painter, {inset, (height() - squareSide) / 2, squareSide, squareSide});
    painter.setRenderHint(QPainter::Antialiasing);
    if (underMouse()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(toColor({1, 1, 1, isDown() ? 0.10 : 0.05}));
        painter.drawRoundedRect(rect(), 6, 6);
    }
    if (isChecked()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(toColor(colors::accent));
        painter.drawRoundedRect(square, squareRadius, squareRadius);
        painter.fillPath(checkMark(square, 2.2), toColor(colors::onAccent));
    } else {
        painter.setPen(QPen(toColor(colors::boxEdge), 1.5));
        painter.setBrush(toColor(colors::bar));
        painter.drawRoundedRect(square.adjusted(0.75, 0.75, -0.75, -0.75), squareRadius, squareRadius);
    }
    drawFocusRing(painter, *this, rect(), 6);
    const QRect textPlace = rect().adjusted(textInset, 0, 0, 0);
    painter.setPen(toColor(colors::text));
    painter.drawText(textPlace, Qt::AlignLeft | Qt::AlignVCenter,
                     fontMetrics().elidedText(title, Qt::ElideRight, textPlace.width()));
}

} // namespace ui::qt
