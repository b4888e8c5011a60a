#include "platform/Digest.hpp"

#include <CommonCrypto/CommonDigest.h>

#include <algorithm>
#include <limits>

namespace platform {

struct Sha256::State {
    CC_SHA256_CTX context{};
};

Sha256::Sha256() : state(std::make_unique<State>()) {
    CC_SHA256_Init(&state->context);
}

Sha256::~Sha256() = default;

void Sha256::update(std::string_view bytes) {
    while (!bytes.empty()) { // one call takes no more than a 32-bit length
        const auto piece =
            static_cast<CC_LONG>(std::min<std::size_t>(bytes.size(), std::numeric_limits<CC_LONG>::max()));
        CC_SHA256_Update(&state->context, bytes.data(), piece);
        bytes.remove_prefix(piece);
    }
}

std::string Sha256::finish() {
    std::string digest(CC_SHA256_DIGEST_LENGTH, '\0');
    CC_SHA256_Final(reinterpret_cast<unsigned char*>(digest.data()), &state->context);
    return digest;
}

} // namespace platform
