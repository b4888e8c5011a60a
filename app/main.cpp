#include "app/Arguments.hpp"
#include "app/CommandLine.hpp"
#include "ui/Application.hpp"

int main(int argc, char** argv) {
    app::args.assign(argv, argv + argc);
    return app::isCommandLine() ? app::runCommandLine() : ui::runApplication(argc, argv);
}
