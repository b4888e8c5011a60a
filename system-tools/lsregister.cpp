// A portable stand-in for the tool of macOS that makes an application known to the system.

#include "system-tools/Bundle.hpp"
#include "system-tools/Registrations.hpp"

#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view usage = "usage: lsregister -f APPLICATION\n"
                                   "       lsregister --help\n";

constexpr std::string_view help = "A portable stand-in for the tool of macOS: it only notes the application "
                                  "in a list in the state folder.\n";

int registerApplication(const std::string& path) {
    if (!systemtools::Bundle::at(path)) {
        std::cerr << "lsregister: " << path << ": not an application bundle\n";
        return 1;
    }
    systemtools::addRegistration("application", path);
    return 0;
}

} // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    try {
        if (arguments == std::vector<std::string>{"--help"}) {
            std::cout << help << usage;
            return 0;
        }
        if (arguments.size() == 2 && arguments.front() == "-f") {
            return registerApplication(arguments.back());
        }
        std::cerr << usage;
        return 2;
    } catch (const std::exception& failure) {
        std::cerr << "lsregister: " << failure.what() << '\n';
        return 1;
    }
}
