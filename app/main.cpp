#include "app/Arguments.hpp"
#include "app/CommandLine.hpp"
#include "platform/Signals.hpp"
#include "ui/Application.hpp"

int main(int argc, char** argv) {
    platform::setSignalDispositions();
    app::args.assign(argv, argv + argc);
    return app::isCommandLine() ? app::runCommandLine() : ui::runApplication(argc, argv);
}
