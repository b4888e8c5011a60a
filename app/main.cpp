#include "app/Arguments.hpp"
#include "app/CommandLine.hpp"
#include "app/EndOfMemory.hpp"
#include "platform/Locations.hpp"
#include "platform/Ownership.hpp"
#include "platform/Signals.hpp"
#include "ui/Application.hpp"

#include <exception>

namespace {

/// Before the toolkit writes its first file into the home. Where it fails, every run of the window tries
/// again and says why.
void becomeOwnerOfHome() {
    try {
        platform::becomeOwnerOf(platform::homeFolder());
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
    }
}

} // namespace

int main(int argc, char** argv) {
    platform::setSignalDispositions();
    app::reportEndOfMemory();
    app::args.assign(argv, argv + argc);
    if (app::isCommandLine()) {
        return app::runCommandLine();
    }
    becomeOwnerOfHome();
    return ui::runApplication(argc, argv);
}
