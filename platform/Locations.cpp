#include "platform/Locations.hpp"

#include <cstdlib>

namespace platform {

std::filesystem::path payloadFolder() {
    const std::optional<std::filesystem::path> resources = resourceFolder();
    if (!resources) {
        std::abort();
    }
    return *resources / "Payload";
}

} // namespace platform
