#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace platform {

/// SHA-256 (FIPS 180-4) of bytes given in any number of pieces.
class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void update(std::string_view bytes);

    /// The 32 bytes of the digest; the object is not used afterwards.
    std::string finish();

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Two lowercase hexadecimal characters a byte.
std::string hexadecimal(std::string_view bytes);

} // namespace platform
