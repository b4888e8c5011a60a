#pragma once

#include "engine/Changes.hpp"
#include "engine/LegacyCategory.hpp"
#include "engine/PackInstaller.hpp"
#include "engine/PackPaths.hpp"
#include "engine/RunJournal.hpp"
#include "engine/RunRecord.hpp"
#include "platform/FileLock.hpp"

#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace engine {

/// One run of the installer, all or nothing. The phases are called in the order in which they stand here;
/// those before `beginJournal` change nothing, and a failure from there on puts the previous state back.
class Transaction {
public:
    Transaction(const PackInstaller& installer, bool uninstall, const PackInstaller::Selection& selection);

    std::string perform();

private:
    void refuseRunningEditor() const;
    void holdHome();
    std::string undoInterruptedRun() const;
    std::string runPhases();

    void readCatalog();
    void chooseSelection();
    void readManifests();
    void checkManifestPaths() const;
    void checkApplications() const;
    void planTemplates();
    void planLegacyCategory();
    void planManifests();
    void recordFolders();

    void beginJournal();
    void stageApplication();
    void handleTemplates();
    void handleLegacyCategory();
    void writeManifests();
    void handleApplication();
    void makeDurable();
    void tellSystem() const;
    void endJournal();

    std::string summary() const;
    void leaveToOtherRun() const;
    [[noreturn]] void recover(const std::exception& failure);
    void removeStaging() const;

    bool selected(const std::string& path) const;
    bool removesApplication() const;
    void installTemplate(const std::string& path);
    void removeEmptiedFolders(const std::filesystem::path& folder, const FileTable& files) const;
    void replaceApplication();
    /// Visits every place that the run is going to change, in the order of the phases, with the relative path
    /// of its saved copy.
    using PlaceVisitor = std::function<void(const std::filesystem::path& place, const std::string& saved)>;
    void forEachPlace(const PlaceVisitor& visit) const;
    void writeRecord(const platform::FileManager::Sink& sink) const;
    void recordFolder(const std::filesystem::path& path);
    std::string digestOfManifests() const;
    void write(const Manifest& manifest, const std::filesystem::path& file, const std::string& name);

    const PackInstaller& installer;
    const bool uninstall;
    const PackInstaller::Selection& requested;
    const PackPaths paths;

    std::optional<platform::FileLock> homeLock;
    std::vector<CatalogName> catalog;
    std::set<std::string> retired;
    std::set<std::string> selection; ///< never empty once chosen
    Manifest installed; ///< as it was read, from `planManifests` on what stays, and at last as it is written
    Manifest legacy;    ///< as it was read, and from `planManifests` on as it will be written
    FileTable payload;  ///< what an install puts in place, until `writeManifests` adds it to `installed`
    FileTable removed;  ///< the files of the category that go for good, no longer in `installed`
    LegacyPlan legacyPlan;
    std::string manifestsRead; ///< the digests of both files as they were read
    RunRecord record;          ///< without the places

    std::filesystem::path backup;
    std::filesystem::path staging;
    Changes changes;
    std::optional<RunJournal> journal;
    bool isChanging = false; ///< from here on a failure has something to put back
};

} // namespace engine
