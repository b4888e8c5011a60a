#pragma once

#include <string>
#include <string_view>

namespace app {

/// The text (UTF-8) as a terminal may get it: a control character, which a file name may hold and which would
/// command the terminal, becomes visible, "\x1B" for instance. Line breaks stay.
std::string withVisibleControls(std::string_view text);

/// Writes the text and a line break: as it is into a file or a pipe, with visible control characters to a
/// terminal. What cannot be written is lost, because nobody reads it.
void printLine(int descriptor, const std::string& text);

} // namespace app
