#include "tests/fuzz/FuzzTarget.hpp"

/// A catalogue is read or refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::accepts([&] { engine::decodeCatalog(fuzz::bytes(data, size), "catalog"); });
    return 0;
}
