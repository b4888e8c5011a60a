#include "ui/qt/LabelView.hpp"

#include "ui/qt/TableReader.hpp"

#include <QAccessible>

namespace ui::qt {

LabelView::LabelView(const LabelControl& control, QWidget* parent)
    : QLabel(parent), announces(control.accessibilityElement) {
    setGeometry(toRect(control.frame, parent->height()));
    setFont(toFont(control.font));
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    setWordWrap(true);
    QPalette colors = palette();
    colors.setColor(QPalette::WindowText, toColor(control.color));
    setPalette(colors);
    QLabel::setText(toText(control.text));
}

void LabelView::setText(const std::string& text) {
    QLabel::setText(toText(text));
    if (announces && !text.empty()) {
        // A notification that comes into view is what screen readers speak without being asked.
        QAccessibleEvent announcement(this, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&announcement);
    }
}

} // namespace ui::qt
