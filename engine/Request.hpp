#pragma once

#include "engine/PackInstaller.hpp"
#include "platform/Unicode.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>

namespace engine {

/// A title of the older pack and its transition's title in this one. The numbers moved by one between the
/// two.
struct Rename {
    std::string_view older;
    std::string_view current;
};

inline constexpr std::array renameTable{
    Rename{"10 Dye Bloom", "09 Dye Bloom"},
    Rename{"11 Box Turn", "10 Box Turn"},
    Rename{"12 Pane Burst", "11 Pane Burst"},
};

/// The files of a transition, relative to a category folder.
inline std::array<std::string, 3> templateFiles(std::string_view transition) {
    const std::string name(transition);
    return {name + "/" + name + ".motr", name + "/small.png", name + "/large.png"};
}

/// The transition that a path relative to a category folder belongs to.
inline std::string transitionOf(std::string_view path) {
    return std::string(path.substr(0, path.find('/')));
}

/// True when a folder can have this name.
inline bool isFolderName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

/// True for the path of a transition's file, relative to a category folder.
inline bool isTemplateFile(const std::string& path) {
    const std::string transition = transitionOf(path);
    return isFolderName(transition) && std::ranges::count(templateFiles(transition), path) == 1;
}

/// What a run is asked for, checked against the pack alone. Titles are compared with their accents composed:
/// disks, keyboards and packs spell them in two ways.
struct Request {
    bool uninstall = false;
    std::set<std::string> titles;    ///< every title of the catalogue, composed
    std::set<std::string> cleared;   ///< the titles whose files the run replaces or removes, composed
    std::set<std::string> selection; ///< as the catalogue spells it; never empty

    /// Whether a file, by its path relative to a category folder, belongs to the run: by its transition, by
    /// the title that the older pack gave the transition, or because its transition is no longer offered.
    bool selected(const std::string& path) const {
        return cleared.contains(platform::composed(transitionOf(path)));
    }

    /// Whether a manifest may list this path: a file of a transition of either pack.
    bool allows(const std::string& path) const {
        return isTemplateFile(path) && titles.contains(platform::composed(transitionOf(path)));
    }
};

/// Reads the catalogue and checks the selection. Throws InstallError for a selection that is empty or holds a
/// name that is not offered, platform::Error for a catalogue that cannot be read.
Request makeRequest(const PackInstaller& installer, bool uninstall,
                    const PackInstaller::Selection& selection);

} // namespace engine
