#include "platform/PropertyList.hpp"
#include "tests/fuzz/FuzzTarget.hpp"

/// A property list is read or refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::accepts([&] { platform::parsePropertyList(fuzz::bytes(data, size), "list"); });
    return 0;
}
