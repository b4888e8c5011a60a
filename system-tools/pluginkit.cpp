// A portable stand-in for the tool of macOS that makes an extension known to the system.

#include "system-tools/Bundle.hpp"
#include "system-tools/Registrations.hpp"

#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view usage = "usage: pluginkit -a EXTENSION\n"
                                   "       pluginkit -r EXTENSION\n"
                                   "       pluginkit --help\n";

constexpr std::string_view help =
    "A portable stand-in for the tool of macOS: it only notes the extension in a list in the state folder.\n";

constexpr const char* kind = "extension";

/// An extension is a bundle inside another one's "Contents/PlugIns".
bool isExtension(const fs::path& path) {
    const fs::path folder = fs::weakly_canonical(path).parent_path();
    return folder.filename() == "PlugIns" && folder.parent_path().filename() == "Contents" &&
           systemtools::Bundle::at(path).has_value();
}

int refuse(const std::string& path) {
    std::cerr << "pluginkit: " << path << ": not an extension inside an application\n";
    return 1;
}

int add(const std::string& path) {
    if (!isExtension(path)) {
        return refuse(path);
    }
    systemtools::addRegistration(kind, path);
    return 0;
}

/// To remove an extension that is not registered is no error: it is what was asked for.
int remove(const std::string& path) {
    return systemtools::removeRegistration(kind, path) || isExtension(path) ? 0 : refuse(path);
}

} // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    try {
        if (arguments == std::vector<std::string>{"--help"}) {
            std::cout << help << usage;
            return 0;
        }
        if (arguments.size() == 2 && arguments.front() == "-a") {
            return add(arguments.back());
        }
        if (arguments.size() == 2 && arguments.front() == "-r") {
            return remove(arguments.back());
        }
        std::cerr << usage;
        return 2;
    } catch (const std::exception& failure) {
        std::cerr << "pluginkit: " << failure.what() << '\n';
        return 1;
    }
}
