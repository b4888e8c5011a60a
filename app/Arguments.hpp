#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace app {

/// The process's arguments, the executable's path first; set once, when the program starts.
extern std::vector<std::string> args;

/// Whether this option is among the arguments.
bool contains(std::string_view option);

/// What follows the first occurrence of an option, whatever it is; nothing when nothing does.
std::optional<std::string> argument(std::string_view option);

} // namespace app
