#pragma once

#include <exception>
#include <string>

namespace engine {

/// The French text that the user reads of a failure: the message of an `InstallError`, whole, whatever bytes
/// it holds; what the platform says of its own failures; a sentence of ours for everything else, the end of
/// memory included. In a handler: `localizedDescription(std::current_exception())`.
std::string localizedDescription(const std::exception_ptr& failure);

} // namespace engine
