#pragma once

#include <QPainterPath>

namespace ui::qt {

/// The outline of a check mark in the middle of a square, drawn with a pen this wide.
QPainterPath checkMark(const QRectF& square, double penWidth);

} // namespace ui::qt
