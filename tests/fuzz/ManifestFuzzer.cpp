#include "tests/fuzz/FuzzTarget.hpp"

#include <string>

/// What is read from a manifest is what a reader gets from it once it is written again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    engine::Manifest manifest;
    if (fuzz::accepts([&] { manifest = engine::decodeManifest(fuzz::bytes(data, size), "manifest"); })) {
        std::string written;
        engine::encodeManifest(manifest, [&](std::string_view piece) { written += piece; });
        fuzz::require(engine::decodeManifest(written, "again") == manifest);
    }
    return 0;
}
