#pragma once

namespace ui {

/// Opens the window and returns the program's exit status once the user has quit. Each toolkit implements it.
int runApplication(int argc, char** argv);

} // namespace ui
