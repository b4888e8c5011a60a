#pragma once

#include "engine/PackInstaller.hpp"

#include <set>
#include <string>
#include <vector>

namespace engine {

/// What a run is asked for, checked against the pack alone.
struct Request {
    bool uninstall = false;
    std::set<std::string> titles; ///< every title of the catalogue
    std::set<std::string> retired;
    std::set<std::string> selection; ///< never empty

    /// Whether a file, by its path relative to a category folder, belongs to the run: by its transition, by
    /// the title that the older pack gave the transition, or because its transition is no longer offered.
    bool selected(const std::string& path) const;

    /// Whether a manifest may list this path: a file of a transition of either pack.
    bool allows(const std::string& path) const;
};

/// Reads the catalogue and checks the selection. Throws InstallError for a selection that is empty or holds a
/// name that is not offered, platform::Error for a catalogue that cannot be read.
Request makeRequest(const PackInstaller& installer, bool uninstall,
                    const PackInstaller::Selection& selection);

} // namespace engine
