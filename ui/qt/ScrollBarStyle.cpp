#include "ui/qt/ScrollBarStyle.hpp"

#include "ui/qt/Colors.hpp"
#include "ui/qt/TableReader.hpp"

namespace ui::qt {

QString scrollBarStyle() {
    return QString("QScrollBar { background: transparent; border: none; }"
                   "QScrollBar:vertical { width: 12px; }"
                   "QScrollBar:horizontal { height: 12px; }"
                   "QScrollBar::handle { background: %1; border-radius: 3px; }"
                   "QScrollBar::handle:hover, QScrollBar::handle:pressed { background: %2; }"
                   "QScrollBar::handle:vertical { min-height: 30px; margin: 0px 0px 0px 6px; }"
                   "QScrollBar::handle:horizontal { min-width: 30px; margin: 6px 0px 0px 0px; }"
                   "QScrollBar::add-line, QScrollBar::sub-line { width: 0px; height: 0px; }"
                   "QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }")
        .arg(toColor(colors::boxEdge).name(), toColor(colors::secondaryText).name());
}

} // namespace ui::qt
