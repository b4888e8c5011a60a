#include "platform/linux/Program.hpp"
#include "ui/Application.hpp"
#include "ui/qt/Texts.hpp"

#include <dlfcn.h>

#include <cstdlib>
#include <iostream>

namespace ui {
namespace {

using RunApplication = int(char** argv);

/// The window's code, which lies beside the program so that the command line starts without it.
RunApplication* findApplication() {
    const std::filesystem::path module = platform::programFolder() / "orvo-window.so";
    void* const library = ::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    return library == nullptr ? nullptr
                              : reinterpret_cast<RunApplication*>(::dlsym(library, "orvoRunApplication"));
}

} // namespace

int runApplication(int, char** argv) {
    RunApplication* const run = findApplication();
    if (run == nullptr) {
        std::cerr << qt::texts::noModule << ::dlerror() << "\n" << qt::texts::windowlessOptions << std::endl;
        return EXIT_FAILURE;
    }
    return run(argv);
}

} // namespace ui
