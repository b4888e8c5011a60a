#pragma once

#include <QKeyEvent>

namespace ui::qt {

/// Whether the key confirms the window or the sheet. The controls leave it to them: some desktops would have
/// it press the focused control, check boxes too.
inline bool confirms(const QKeyEvent& event) {
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

} // namespace ui::qt
