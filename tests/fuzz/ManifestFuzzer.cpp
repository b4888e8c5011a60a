#include "tests/fuzz/FuzzTarget.hpp"

/// What is read from a manifest is what a reader gets from it once it is written again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    engine::Manifest manifest;
    if (fuzz::accepts([&] { manifest = engine::decodeManifest(fuzz::bytes(data, size), "manifest"); })) {
        fuzz::require(engine::decodeManifest(engine::encodeManifest(manifest), "again") == manifest);
    }
    return 0;
}
