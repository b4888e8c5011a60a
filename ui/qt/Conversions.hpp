#pragma once

#include "ui/ControlTable.hpp"

#include <QColor>
#include <QFont>
#include <QRect>
#include <QString>
#include <filesystem>
#include <string_view>

/// Turns the figures of the table into Qt's types.
namespace ui::qt {

/// A frame counted from the bottom left as a rectangle counted from the top left of a parent this high.
QRect toRect(const Frame& frame, double parentHeight);

QColor toColor(const Color& color);

/// Makes the fonts in this folder, the program's own, known to this program.
void loadFonts(const std::filesystem::path& folder);

/// A point is a device-independent pixel.
QFont toFont(const Font& font);

QString toText(std::string_view text);

/// The text for a control that would take "&" for the mark of a shortcut.
QString withoutMnemonics(std::string_view text);

} // namespace ui::qt
