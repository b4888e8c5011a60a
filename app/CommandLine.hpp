#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace app {

/// True when the arguments ask for a run without a window.
bool isCommandLine();

/// The names in a list separated by commas, as they are written; empty ones are dropped.
std::set<std::string> namesIn(std::string_view list);

/// Carries out the run that the arguments ask for, prints its outcome and returns the exit status.
int runCommandLine();

} // namespace app
