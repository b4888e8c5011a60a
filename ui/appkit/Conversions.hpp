#pragma once

#include "ui/ControlTable.hpp"

#import <AppKit/AppKit.h>

#include <string_view>

namespace ui {

/// The text of UTF-8 bytes; never nil.
NSString* nsString(std::string_view text);

NSRect nsRect(const Frame& frame);
NSColor* nsColor(const Color& color);
NSFont* nsFont(const Font& font);

} // namespace ui
