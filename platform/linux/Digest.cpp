#include "platform/Digest.hpp"

#include "platform/Error.hpp"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <new>

namespace platform {
namespace {

constexpr std::size_t digestSize = 32;

void require(int success) {
    if (success != 1) {
        throw Error("Impossible de calculer une empreinte SHA-256.");
    }
}

/// The algorithm from a context of our own, fetched once: the library's global context cannot be used any
/// more where memory ended while it was made.
const EVP_MD* sha256() {
    static const EVP_MD* const algorithm = [] {
        OSSL_LIB_CTX* context = OSSL_LIB_CTX_new();
        const EVP_MD* fetched = context != nullptr ? EVP_MD_fetch(context, "SHA2-256", nullptr) : nullptr;
        if (fetched == nullptr) {
            OSSL_LIB_CTX_free(context);
            throw std::bad_alloc();
        }
        return fetched;
    }();
    return algorithm;
}

} // namespace

struct Sha256::State {
    struct Free {
        void operator()(EVP_MD_CTX* digest) const { EVP_MD_CTX_free(digest); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context{EVP_MD_CTX_new()};
};

Sha256::Sha256() : state(std::make_unique<State>()) {
    if (!state->context) {
        throw std::bad_alloc();
    }
    require(EVP_DigestInit_ex(state->context.get(), sha256(), nullptr));
}

Sha256::~Sha256() = default;

void Sha256::update(std::string_view bytes) {
    require(EVP_DigestUpdate(state->context.get(), bytes.data(), bytes.size()));
}

std::string Sha256::finish() {
    std::string digest(digestSize, '\0');
    require(
        EVP_DigestFinal_ex(state->context.get(), reinterpret_cast<unsigned char*>(digest.data()), nullptr));
    return digest;
}

} // namespace platform
