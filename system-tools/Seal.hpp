#pragma once

#include "system-tools/Bundle.hpp"

#include <optional>
#include <stdexcept>
#include <string>

namespace systemtools {

/// Why a bundle cannot be sealed or does not verify, in the words of macOS: a reason, then a line per detail.
struct SealFailure : std::runtime_error {
    using std::runtime_error::runtime_error;

    /// The same failure as one of the bundle around it.
    SealFailure inSubcomponent(const std::filesystem::path& nested) const;
};

/// Writes the resource seal of a bundle, after those of the bundles nested in it.
///
/// "_CodeSignature/CodeResources" is what macOS writes. There the signature inside the main program covers
/// this file, Info.plist and the program itself, and the hash of that signature identifies nested code. A
/// portable seal keeps both properties: "_CodeSignature/PortableSeal" holds the hashes of these three files,
/// and the "cdhash" of a nested bundle is the SHA-256 of its PortableSeal, that of a nested program the
/// SHA-256 of the program, each cut to 20 bytes as macOS does.
///
/// Throws `SealFailure`, and `platform::Error` for what cannot be read or written.
void seal(const Bundle& bundle);

/// Checks the seal of a bundle and of everything nested in it. A bundle without a PortableSeal was signed on
/// macOS; its programs then only have to be there. Throws as `seal` does.
void verify(const Bundle& bundle);

/// True when the bundle has a seal, be it valid or not.
bool isSealed(const Bundle& bundle);

} // namespace systemtools
