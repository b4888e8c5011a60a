#include "engine/InstallError.hpp"

#include "platform/Error.hpp"

namespace engine {

std::string localizedDescription(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const InstallError& error) {
        return error.message; // what() ends at a zero byte
    } catch (...) {
        return platform::describe(failure);
    }
}

} // namespace engine
