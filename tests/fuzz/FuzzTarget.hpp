#pragma once

#include "engine/PackRecords.hpp"
#include "platform/Error.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// What the fuzz targets share: each is one source with a `LLVMFuzzerTestOneInput`.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline std::string_view bytes(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Stops the program, which the fuzzer reports as a finding.
inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Runs a reader of foreign bytes; returns false when it refuses them in one of the two ways it may. Anything
/// else that it throws ends the program.
template <typename Reader>
bool accepts(Reader reader) {
    try {
        reader();
        return true;
    } catch (const platform::Error&) {
        return false;
    } catch (const engine::InstallError&) {
        return false;
    }
}

} // namespace fuzz
