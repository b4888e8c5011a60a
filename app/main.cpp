#include "app/Arguments.hpp"
#include "app/CommandLine.hpp"
#include "ui/Application.hpp"

#include <cstdio>
namespace ui {
int runApplication(int, char**) {
    std::puts("no window yet");
    return 0;
}
} // namespace ui

int main(int argc, char** argv) {
    app::args.assign(argv, argv + argc);
    return app::isCommandLine() ? app::runCommandLine() : ui::runApplication(argc, argv);
}
