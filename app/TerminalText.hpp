#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace app {

/// Passes on the text (UTF-8) as a terminal may get it: a control character, which a file name may hold and
/// which would command the terminal, becomes visible, "\x1B" for instance. Line breaks stay. Needs no memory
/// of its own.
void showControls(std::string_view text, const std::function<void(std::string_view)>& sink);

/// Writes the text and a line break: as it is into a file or a pipe, with visible control characters to a
/// terminal. What cannot be written is lost, because nobody reads it. Needs no memory of its own.
void printLine(int descriptor, const std::string& text);

} // namespace app
