#pragma once

#include <QByteArray>
#include <QIcon>

namespace ui::qt {

/// Reads the pictures of an Apple icon file, those stored as PNG; an empty icon when there are none.
QIcon readIcon(const QByteArray& icns);

} // namespace ui::qt
