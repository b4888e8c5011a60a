#pragma once

#include "engine/Changes.hpp"
#include "engine/LegacyCategory.hpp"
#include "engine/PackInstaller.hpp"
#include "engine/PackPaths.hpp"
#include "engine/RunJournal.hpp"
#include "engine/RunRecord.hpp"

#include <exception>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

namespace engine {

/// One run of the installer, all or nothing. The phases are called in the order in which they stand here;
/// those before `createWorkFolders` change nothing, and a failure from there on puts the previous state back.
class Transaction {
public:
    Transaction(const PackInstaller& installer, bool uninstall, const PackInstaller::Selection& selection);

    std::string perform();

private:
    void refuseRunningEditor() const;
    void undoInterruptedRun() const;
    void readCatalog();
    void chooseSelection();
    void readManifests();
    void checkManifestPaths() const;
    void checkApplications() const;
    void planTemplates();
    void planLegacyCategory();
    void planManifests();
    void recordPlaces();

    void createWorkFolders();
    void handleTemplates();
    void handleLegacyCategory();
    void writeManifests();
    void handleApplication();
    void commit();

    std::string summary() const;
    [[noreturn]] void recover(const std::exception& failure);
    void removeStaging() const;

    bool selected(const std::string& path) const;
    bool removesApplication() const;
    void installTemplate(const std::string& path);
    void removeEmptiedFolders(const std::filesystem::path& folder, const FileTable& files) const;
    void replaceApplication();
    void addPlace(const std::filesystem::path& place, const std::string& saved);
    void recordFolders();
    std::vector<std::filesystem::path> writtenItems() const;
    void write(const Manifest& manifest, const std::filesystem::path& file, const std::string& name);

    const PackInstaller& installer;
    const bool uninstall;
    const PackInstaller::Selection& requested;
    const PackPaths paths;

    std::vector<CatalogName> catalog;
    std::set<std::string> retired;
    std::set<std::string> selection; ///< never empty once chosen
    Manifest installed;
    Manifest legacy;
    FileTable payload; ///< what an install puts in place
    FileTable touched; ///< every file of the category that is replaced or removed
    LegacyPlan legacyPlan;
    Manifest newInstalled;
    Manifest newLegacy;
    RunRecord record;

    std::filesystem::path backup;
    std::filesystem::path staging;
    Changes changes;
    std::optional<RunJournal> journal;
};

} // namespace engine
