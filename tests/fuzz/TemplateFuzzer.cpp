#include "engine/TemplateMark.hpp"
#include "tests/fuzz/FuzzTarget.hpp"

#include <string>

/// A marked template is XML again and marking it once more changes nothing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string marked;
    if (fuzz::accepts([&] { marked = engine::deprecated(fuzz::bytes(data, size)); })) {
        fuzz::require(engine::deprecated(marked) == marked);
    }
    return 0;
}
