#include "ui/qt/IconView.hpp"

#include "ui/qt/TableReader.hpp"
#include "ui/qt/Texts.hpp"

#include <QApplication>
#include <QIcon>
#include <QPainter>

namespace ui::qt {

IconView::IconView(const QRect& frame, QWidget* parent) : QWidget(parent) {
    setGeometry(frame);
    setAccessibleName(toText(texts::iconDescription));
}

void IconView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    QApplication::windowIcon().paint(&painter, rect());
}

} // namespace ui::qt
