#include "platform/Uuid.hpp"

#include <uuid/uuid.h>

#include <array>

namespace platform {

std::string freshUuid() {
    uuid_t bytes{};
    uuid_generate_random(bytes);
    std::array<char, 37> text{};
    uuid_unparse_upper(bytes, text.data());
    return text.data();
}

} // namespace platform
