#include "app/EndOfMemory.hpp"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

namespace app {
namespace {

[[noreturn]] void end() {
    try {
        if (const std::exception_ptr failure = std::current_exception()) {
            std::rethrow_exception(failure);
        }
    } catch (const std::bad_alloc&) {
        static_cast<void>(::write(STDERR_FILENO, endOfMemoryText, std::strlen(endOfMemoryText)) == 0);
        ::_exit(EXIT_FAILURE);
    } catch (...) { // a fault of the program's own
    }
    std::abort();
}

} // namespace

void reportEndOfMemory() {
    std::set_terminate(end);
}

} // namespace app
