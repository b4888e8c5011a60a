#include "platform/Signals.hpp"

#include <csignal>

namespace platform {

void setSignalDispositions() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
}

} // namespace platform
