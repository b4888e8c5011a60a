#include "app/CommandLine.hpp"

#include "app/Arguments.hpp"
#include "app/EndOfMemory.hpp"
#include "app/TerminalText.hpp"
#include "engine/PackInstaller.hpp"
#include "platform/Locations.hpp"
#include "platform/Ownership.hpp"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <new>

namespace app {
namespace {

std::filesystem::path home() {
    const std::optional<std::string> root = argument("--root");
    return root ? std::filesystem::path(*root) : platform::homeFolder();
}

std::optional<std::set<std::string>> selection() {
    const std::optional<std::string> only = argument("--only");
    return only ? std::optional(namesIn(*only)) : std::nullopt;
}

/// Where not even the memory for the text is left, it is printed from where it lies in the program.
void printFailure(const std::exception_ptr& failure) {
    try {
        printLine(STDERR_FILENO, engine::localizedDescription(failure));
    } catch (const std::bad_alloc&) {
        std::fputs(endOfMemoryText, stderr);
    }
}

} // namespace

bool isCommandLine() {
    return contains("--install") || contains("--uninstall");
}

std::set<std::string> namesIn(std::string_view list) {
    std::set<std::string> names;
    while (!list.empty()) {
        const std::string_view name = list.substr(0, list.find(','));
        if (!name.empty()) {
            names.emplace(name);
        }
        list.remove_prefix(std::min(list.size(), name.size() + 1));
    }
    return names;
}

int runCommandLine() {
    const std::filesystem::path payload = platform::payloadFolder();
    try {
        const std::filesystem::path folder = platform::becomeOwnerOf(home());
        const engine::PackInstaller installer(folder, payload, !contains("--no-register"));
        printLine(STDOUT_FILENO, installer.perform(contains("--uninstall"), selection()));
        return EXIT_SUCCESS;
    } catch (...) {
        printFailure(std::current_exception());
        return EXIT_FAILURE;
    }
}

} // namespace app
