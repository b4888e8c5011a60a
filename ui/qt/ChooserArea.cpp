#include "ui/qt/ChooserArea.hpp"

#include "ui/qt/ChooserBox.hpp"
#include "ui/qt/ScrollBarStyle.hpp"

#include <QCoreApplication>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>

namespace ui::qt {
namespace {

/// The right edge of the box that reaches farthest: wider than the accessory as it was designed.
int reach(const Accessory& accessory) {
    double right = accessory.width;
    for (const CheckBox& box : accessory.boxes) {
        right = std::max(right, box.frame.x + box.frame.width);
    }
    return static_cast<int>(right);
}

} // namespace

ChooserArea::ChooserArea(const Accessory& accessory, int widest, QWidget* parent) : QScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    horizontalScrollBar()->setStyleSheet(scrollBarStyle());
    auto place = std::make_unique<QWidget>();
    place->resize(reach(accessory), static_cast<int>(accessory.height));
    for (const CheckBox& box : accessory.boxes) {
        added.push_back(std::make_unique<ChooserBox>(box, place.get()));
    }
    const bool scrolls = place->width() > widest;
    resize(std::min(place->width(), widest),
           place->height() + (scrolls ? horizontalScrollBar()->sizeHint().height() : 0));
    setWidget(place.release()); // the area owns it now
    widget()->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
}

ChooserArea::~ChooserArea() = default;

void ChooserArea::wheelEvent(QWheelEvent* event) {
    QCoreApplication::sendEvent(horizontalScrollBar(), event); // there is no other way to scroll
}

} // namespace ui::qt
