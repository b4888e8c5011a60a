#pragma once

namespace app {

/// The text for a user when not even the memory for an error is left.
inline constexpr const char* endOfMemoryText = "La mémoire manque.\n";

/// From here on the program says this text and ends with status 1 where memory ends in a function that lets
/// no exception out, in a destructor of a library for instance. The next run then puts the previous state
/// back.
void reportEndOfMemory();

} // namespace app
