#include "platform/PropertyList.hpp"
#include "tests/fuzz/FuzzTarget.hpp"

/// A property list is read or refused; one that is no dictionary has no strings.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::accepts([&] { platform::parsePropertyList(fuzz::bytes(data, size), "list"); });
    return 0;
}
