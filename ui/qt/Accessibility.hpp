#pragma once

namespace ui::qt {

/// Tells screen readers what the drawn controls are. Called once the application exists.
void describeControlsToScreenReaders();

} // namespace ui::qt
