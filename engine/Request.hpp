#pragma once

#include "engine/PackInstaller.hpp"

#include <set>
#include <string>
#include <vector>

namespace engine {

/// What a run is asked for, checked against the pack alone. Titles are compared with their accents composed:
/// disks, keyboards and packs spell them in two ways.
struct Request {
    bool uninstall = false;
    std::set<std::string> titles;    ///< every title of the catalogue, composed
    std::set<std::string> cleared;   ///< the titles whose files the run replaces or removes, composed
    std::set<std::string> selection; ///< as the catalogue spells it; never empty

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
