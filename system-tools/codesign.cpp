// A portable stand-in for the signing tool of macOS: it writes and checks the resource seal of a bundle.

#include "system-tools/Seal.hpp"

#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view usage = "usage: codesign [--force] --sign - BUNDLE...\n"
                                   "       codesign --verify [--deep] [--strict] BUNDLE...\n"
                                   "       codesign --help\n";

constexpr std::string_view help = "A portable stand-in for the tool of macOS: it seals and checks the files "
                                  "of a bundle and of the bundles\n"
                                  "nested in it, always in depth, and does not evaluate certificates.\n";

struct Request {
    bool help = false;
    bool verify = false;
    bool force = false;
    std::optional<std::string> identity;
    std::vector<fs::path> bundles;

    bool isValid() const { return help || (verify != identity.has_value() && !bundles.empty()); }
};

/// Nothing when the arguments make no sense.
std::optional<Request> parse(const std::vector<std::string>& arguments) {
    Request request;
    for (auto position = arguments.begin(); position != arguments.end(); ++position) {
        const std::string& argument = *position;
        if (argument == "--help") {
            request.help = true;
        } else if (argument == "--verify" || argument == "-v") {
            request.verify = true;
        } else if (argument == "--force" || argument == "-f") {
            request.force = true;
        } else if ((argument == "--sign" || argument == "-s") && position + 1 != arguments.end()) {
            request.identity = *++position;
        } else if (argument.empty() || argument.front() != '-') {
            request.bundles.emplace_back(argument);
        } else if (argument != "--deep" && argument != "--strict") {
            return std::nullopt;
        }
    }
    return request.isValid() ? std::optional(request) : std::nullopt;
}

void process(const Request& request, const fs::path& path) {
    if (!fs::exists(path)) {
        throw systemtools::SealFailure("No such file or directory");
    }
    const std::optional<systemtools::Bundle> bundle = systemtools::Bundle::at(path);
    if (!bundle) {
        throw systemtools::SealFailure(fs::is_directory(path)
                                           ? "bundle format unrecognized, invalid, or unsuitable"
                                           : "code object is not signed at all");
    }
    if (request.verify) {
        systemtools::verify(*bundle);
        return;
    }
    if (!request.force && systemtools::isSealed(*bundle)) {
        throw systemtools::SealFailure("is already signed");
    }
    systemtools::seal(*bundle);
}

int run(const Request& request) {
    if (request.identity.value_or("-") != "-") {
        std::cerr << *request.identity << ": no identity found\n";
        return 1;
    }
    int status = 0;
    for (const fs::path& path : request.bundles) {
        try {
            process(request, path);
        } catch (const std::exception& failure) {
            std::cerr << path.native() << ": " << failure.what() << '\n';
            status = 1;
        }
    }
    return status;
}

} // namespace

int main(int count, char** values) {
    const std::optional<Request> request = parse({values + 1, values + count});
    if (!request) {
        std::cerr << usage;
        return 2;
    }
    if (request->help) {
        std::cout << help << usage;
        return 0;
    }
    return run(*request);
}
