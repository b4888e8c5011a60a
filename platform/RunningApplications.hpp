#pragma once

#include <string>
#include <vector>

namespace platform {

/// The bundle identifiers of the applications that are running; those without one are left out.
/// Throws platform::Error when the system does not list them.
std::vector<std::string> runningApplications();

} // namespace platform
