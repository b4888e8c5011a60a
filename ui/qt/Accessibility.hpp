#pragma once

#include <string>

namespace ui::qt {

class InstallerWindow;

/// The object name of a label that is the window's status line for screen readers.
inline constexpr auto statusName = "status";

/// Tells screen readers what Qt cannot know of the program's own widgets: the window's parts, a sheet that is
/// modal, and what is drawn.
void describeControlsToScreenReaders();

/// Has a screen reader say the text at once.
void announce(InstallerWindow& window, const std::string& text);

} // namespace ui::qt
