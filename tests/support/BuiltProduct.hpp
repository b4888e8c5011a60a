#pragma once

#include <cstdlib>
#include <filesystem>

namespace tests {

/// The product that the tests of the whole program run: the one of their own build, or where the environment
/// has ORVO_PRODUCT, the one in that folder, for a build with sanitizers or with another C++ library.
inline std::filesystem::path builtProduct() {
    const char* other = std::getenv("ORVO_PRODUCT");
    return other != nullptr ? other : ORVO_PRODUCT;
}

} // namespace tests
