#include "ui/qt/DarkAppearance.hpp"

#include "ui/qt/Colors.hpp"
#include "ui/qt/TableReader.hpp"

#include <QApplication>
#include <QPalette>

namespace ui::qt {
namespace {

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

} // namespace

void applyDarkAppearance() {
    QApplication::setStyle("Fusion");
    QApplication::setPalette(darkPalette());
    QApplication::setFont(toFont({13}));
}

} // namespace ui::qt
