#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace systemtools {

/// Where the parts of a bundle stand. There are three shapes: with a "Contents" folder (applications and
/// extensions), with "Versions" (frameworks), and flat.
struct Bundle {
    std::filesystem::path path;     ///< the bundle, as it was named
    std::filesystem::path contents; ///< the folder that the seal covers; names in the seal are relative to it
    std::string infoList;           ///< Info.plist, relative to `contents`
    std::string executable;         ///< the main program, relative to `contents`; it need not exist
    std::string identifier;
    bool hasResourcesFolder = false; ///< true but for a flat bundle, whose resources lie beside its program

    /// Nothing when the folder is not a bundle: it has no readable Info.plist with an identifier.
    static std::optional<Bundle> at(const std::filesystem::path& path);

    std::filesystem::path seal() const { return contents / "_CodeSignature" / "CodeResources"; }
};

} // namespace systemtools
