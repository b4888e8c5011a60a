#pragma once

#include "ui/ControlTable.hpp"

/// The colours of what the table leaves to the toolkit: menus and sheets, dark like the window.
namespace ui::qt::colors {

inline constexpr Color bar = backgroundTable.base;
inline constexpr Color panel{0.135, 0.152, 0.188, 1.0};
inline constexpr Color edge{1.0, 1.0, 1.0, 0.12};
inline constexpr Color dim{0.02, 0.025, 0.035, 0.62};
inline constexpr Color text = Color::white(0.92);
inline constexpr Color secondaryText = Color::white(0.72);
inline constexpr Color disabledText = Color::white(0.36);
inline constexpr Color secondaryBezel{0.245, 0.268, 0.318, 1.0};
inline constexpr Color boxEdge = Color::white(0.46);
inline constexpr Color accent = controlTable.primary.bezel;
inline constexpr Color onAccent = controlTable.primary.tint;
inline constexpr Color focus = Color::white(1.0);

} // namespace ui::qt::colors
