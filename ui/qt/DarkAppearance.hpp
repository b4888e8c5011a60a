#pragma once

namespace ui::qt {

/// Makes every control dark, whatever the desktop's theme.
void applyDarkAppearance();

} // namespace ui::qt
