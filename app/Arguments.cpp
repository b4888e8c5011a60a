#include "app/Arguments.hpp"

#include <algorithm>

namespace app {

std::vector<std::string> args; // NOLINT: the one global of the program

bool contains(std::string_view option) {
    return std::ranges::find(args, option) != args.end();
}

std::optional<std::string> argument(std::string_view option) {
    const auto found = std::ranges::find(args, option);
    if (found == args.end() || std::next(found) == args.end()) {
        return std::nullopt;
    }
    return *std::next(found);
}

} // namespace app
