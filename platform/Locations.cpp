#include "platform/Locations.hpp"

#include <cstdlib>
#include <iostream>

namespace platform {

std::filesystem::path payloadFolder() {
    const std::optional<std::filesystem::path> resources = resourceFolder();
    if (!resources) {
        std::cerr << "Le dossier de ressources du programme est introuvable." << std::endl;
        std::abort();
    }
    return *resources / "Payload";
}

} // namespace platform
