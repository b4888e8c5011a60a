#pragma once

#include <string>

namespace platform {

/// A fresh random UUID (RFC 9562, version 4), in capitals.
std::string freshUuid();

} // namespace platform
