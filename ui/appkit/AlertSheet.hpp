#pragma once

#include "ui/Toolkit.hpp"

#import <AppKit/AppKit.h>

namespace ui {

/// Shows the alert as a sheet of the window; `completion` is called once the sheet is gone.
void beginAlertSheet(NSWindow* window, const Alert& alert,
                     std::function<void(const AlertResponse&)> completion);

} // namespace ui
