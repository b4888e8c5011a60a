#pragma once

#include <QString>

namespace ui::qt {

/// The style of a thin scroll bar without arrows, dark like the sheets it stands in.
QString scrollBarStyle();

} // namespace ui::qt
