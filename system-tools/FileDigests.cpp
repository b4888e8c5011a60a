#include "system-tools/FileDigests.hpp"

#include "platform/FileManager.hpp"

#include <openssl/evp.h>

#include <memory>
#include <stdexcept>

namespace systemtools {
namespace {

struct FreeContext {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

void require(int success) {
    if (success != 1) {
        throw std::runtime_error("the digest cannot be computed");
    }
}

std::string digest(const std::filesystem::path& file, const EVP_MD* algorithm) {
    const std::unique_ptr<EVP_MD_CTX, FreeContext> context(EVP_MD_CTX_new());
    require(EVP_DigestInit_ex(context.get(), algorithm, nullptr));
    platform::FileManager::defaultManager().read(file, [&](std::string_view piece) {
        require(EVP_DigestUpdate(context.get(), piece.data(), piece.size()));
    });
    std::string bytes(static_cast<std::size_t>(EVP_MD_get_size(algorithm)), '\0');
    require(EVP_DigestFinal_ex(context.get(), reinterpret_cast<unsigned char*>(bytes.data()), nullptr));
    return bytes;
}

} // namespace

std::string sha1(const std::filesystem::path& file) {
    return digest(file, EVP_sha1());
}

std::string sha256(const std::filesystem::path& file) {
    return digest(file, EVP_sha256());
}

} // namespace systemtools
