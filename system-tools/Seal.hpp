#pragma once

#include <filesystem>
#include <stdexcept>

namespace systemtools {

/// Why a bundle cannot be sealed or does not verify, in the words of macOS: a reason, then a line per detail.
struct SealFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Writes the resource seal of a bundle, after those of the bundles nested in it.
///
/// "_CodeSignature/CodeResources" is what macOS writes, in version 2 and with the standard rules. There the
/// signature inside the main program covers this file, Info.plist and the program. A portable seal keeps the
/// digests of these three in "_CodeSignature/PortableSeal" instead. CodeResources then says that it is
/// "portable", and holds the digest of the PortableSeal of every nested bundle.
///
/// Throws `SealFailure`, and `platform::Error` for what cannot be read or written.
void seal(const std::filesystem::path& bundle);

/// Checks the seal of a bundle and of everything nested in it. What was signed on macOS has no PortableSeal;
/// its programs, which carry their own signature, then only have to exist. Throws as `seal` does.
void verify(const std::filesystem::path& bundle);

} // namespace systemtools
