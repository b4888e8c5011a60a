#pragma once

#include "engine/PackRecords.hpp"
#include "platform/ItemDigest.hpp"
#include "platform/System.hpp"

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace engine {

/// Installs and uninstalls the pack in one home folder. An object serves one operation, on one thread.
class PackInstaller final {
public:
    using Selection = std::optional<std::set<std::string>>;

    /// `home` is the folder to install under, the current user's when absent; `payload` holds the pack. Links
    /// in both are resolved; neither has to exist. Without `register_` the companion application is not made
    /// known to the system. Throws platform::Error when one of the folders cannot be looked at.
    PackInstaller(const std::optional<std::filesystem::path>& home, const std::filesystem::path& payload,
                  bool register_ = true, platform::System system = {});

    /// Installs or uninstalls the selected transitions, all of them when there is no selection, and returns
    /// the text for the user. Throws InstallError or platform::Error; the home folder is then as it was
    /// before, or the text says what could not be put back.
    std::string perform(bool uninstall, const Selection& selection) const;

    /// The whole catalogue, in the order of the file. Throws platform::Error.
    std::vector<CatalogName> catalog() const;

    /// The names of the transitions on offer, in the order of the file. Throws platform::Error.
    std::vector<std::string> names() const;

    /// The manifest in this file; an empty one when there is no file. Throws platform::Error, and
    /// InstallError when it is another owner's.
    Manifest ready(const std::filesystem::path& file) const;

    /// True when an item of any kind exists at the path. Throws platform::Error when the system does not
    /// tell.
    bool exists(const std::filesystem::path& path) const { return fm.exists(path); }

    /// Creates the folder with all above it. Throws platform::Error.
    void mkdir(const std::filesystem::path& folder) const { fm.makeFolder(folder); }

    /// The path below the base, links resolved in both; "<outside>" when it is not below it. A link
    /// that leads nowhere stays as it is.
    std::string relative(const std::filesystem::path& path, const std::filesystem::path& base) const;

    /// The SHA-256 of a file as 64 lowercase hexadecimal characters. Throws platform::Error.
    std::string hash(const std::filesystem::path& file) const { return platform::fileDigest(fm, file); }

    /// Runs a tool to its end. Throws platform::Error when it cannot be started, and InstallError with all
    /// that it printed when it fails.
    void process(const std::filesystem::path& tool, const std::vector<std::string>& arguments) const;

    const platform::System system;
    const platform::FileManager& fm;
    const std::string owner = "orvo.lumopack01";
    const std::string category = "Orvo Transitions";
    const std::string legacyCategory = "Orvo Transitions — Lumo Pack 01";
    const std::filesystem::path home;
    const std::filesystem::path payload;
    const bool register_;
};

} // namespace engine
