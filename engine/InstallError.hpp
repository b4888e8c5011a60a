#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace engine {

/// A failure of the installer's own. `what()`, its localised description, is exactly `message`.
struct InstallError : std::runtime_error {
    explicit InstallError(const std::string& text) : std::runtime_error(text), message(text) {}
    std::string message;
};

/// The French text that the user reads of a failure: the message of an `InstallError`, whole, whatever bytes
/// it holds; platform::describe of everything else. In a handler:
/// `localizedDescription(std::current_exception())`.
std::string localizedDescription(const std::exception_ptr& failure);

} // namespace engine
