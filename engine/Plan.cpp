#include "engine/Plan.hpp"

#include "engine/CompanionApplication.hpp"
#include "engine/ItemDigest.hpp"
#include "engine/LegacyCategory.hpp"
#include "engine/PackTitles.hpp"
#include "platform/Digest.hpp"
#include "platform/Parallel.hpp"
#include "platform/Unicode.hpp"
#include "platform/Uuid.hpp"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

namespace fs = std::filesystem;

namespace engine {
namespace {

using Kind = platform::ItemStatus::Kind;
using Source = platform::FileManager::Source;

/// Makes the plan of one run, phase by phase.
class Planner {
public:
    Planner(const PackInstaller& owner, const PackPaths& where, const Request& asked)
        : installer(owner), paths(where), request(asked) {}

    Plan make() {
        plan.journal.id = platform::freshUuid();
        plan.installs = !request.uninstall;
        readManifests();
        checkApplications();
        planTemplates();
        planLegacyCategory();
        planManifest(installed, paths.installedManifest);
        planManifest(legacy, paths.legacyManifest);
        planApplication();
        recordFolders();
        plan.summary = summary();
        return std::move(plan);
    }

private:
    void readManifests() {
        plan.manifestsRead = manifestStatus(installer, paths);
        installed = installer.ready(paths.installedManifest);
        legacy = installer.ready(paths.legacyManifest);
        for (const Manifest* manifest : {&installed, &legacy}) {
            if (!std::ranges::all_of(manifest->files,
                                     [&](const auto& file) { return request.allows(file.first); })) {
                throw InstallError("Chemins du manifeste invalides.");
            }
        }
    }

    void checkApplications() const {
        if (!request.uninstall) {
            checkSignature(installer, paths.payloadApplication);
        }
        checkOwnership(installer, paths.installedApplication);
    }

    FileTable payloadFiles() const {
        FileTable files;
        for (const std::string& transition : request.selection) {
            for (const std::string& path : templateFiles(transition)) {
                files.emplace(path, std::string());
            }
        }
        platform::forEachInParallel(
            files, [this](auto& file) { file.second = installer.hash(paths.payloadTemplates / file.first); });
        return files;
    }

    FileTable staleFiles() const {
        FileTable files;
        for (const auto& [path, digest] : installed.files) {
            if (request.selected(path) && !plan.copies.contains(path)) {
                files.emplace_hint(files.end(), path, digest);
            }
        }
        return files;
    }

    void planTemplates() {
        if (!request.uninstall) {
            plan.copies = payloadFiles();
        }
        stale = staleFiles();
        FileTable touched = plan.copies;
        touched.insert(stale.begin(), stale.end());
        for (const auto& [path, found] :
             verify(installer, paths.category, touched, installed.files, request.uninstall)) {
            if (stale.contains(path)) {
                add(paths.category / path, found, {}, Action::remove);
                installed.files.erase(path);
                continue;
            }
            const fs::path source = paths.payloadTemplates / path;
            const std::string& digest = plan.copies.at(path);
            const bool isLink =
                installer.fm.status(source).value_or(platform::ItemStatus{}).kind == Kind::link;
            add(paths.category / path, found, isLink ? itemDigest(installer, source) : digest, Action::copy)
                ->source = source;
            installed.files[path] = digest;
        }
    }

    void planLegacyCategory() {
        const LegacyPlan migration = planLegacy(installer, paths, legacy, request);
        for (const auto& [path, digest] : migration.removed) {
            add(paths.legacy / path, migration.found.at(path), {}, Action::remove);
            legacy.files.erase(path);
        }
        for (const auto& [path, digest] : migration.marked) {
            const fs::path file = paths.legacy / path;
            write(file, migration.found.at(path), digest,
                  [&from = installer, file](const auto& sink) { sink(markedTemplate(from, file)); });
            legacy.files[path] = digest;
        }
        showLegacyCategory();
    }

    void showLegacyCategory() {
        plan.journal.legacyHidden = installer.fm.isHidden(paths.legacy);
        if (!plan.journal.legacyHidden || !paths.hiddenList) {
            return;
        }
        const FoundItem found = findItem(installer, *paths.hiddenList);
        const std::string list = installer.fm.hiddenListWithout(paths.legacy);
        if (list.empty()) {
            add(*paths.hiddenList, found, {}, Action::remove);
        } else {
            write(*paths.hiddenList, found, textDigest(list), [list](const auto& sink) { sink(list); });
        }
    }

    /// A manifest that lists nothing is no file.
    void planManifest(const Manifest& manifest, const fs::path& file) {
        const FoundItem found = findItem(installer, file);
        if (manifest.files.empty()) {
            add(file, found, {}, Action::remove);
            return;
        }
        platform::Sha256 digest;
        encodeManifest(manifest, [&](std::string_view piece) { digest.update(piece); });
        write(file, found, platform::hexadecimal(digest.finish()),
              [kept = std::make_shared<const Manifest>(manifest)](const auto& sink) {
                  encodeManifest(*kept, sink);
              });
    }

    void planApplication() {
        const fs::path& application = paths.installedApplication;
        if (!request.uninstall) {
            add(application, findItem(installer, application),
                itemDigest(installer, paths.payloadApplication), Action::move)
                ->source = plan.journal.staging(paths) / applicationName;
        } else if (removesApplication() && installer.fm.existsNoFollow(application)) {
            add(application, findItem(installer, application), {}, Action::remove);
            plan.unregisters = installer.register_;
        }
    }

    /// True when nothing that needs the application is left: no file of either pack and no foreign template.
    bool removesApplication() const {
        bool isNeeded = !installed.files.empty() || !legacy.files.empty();
        std::set<std::string> removed;
        for (const auto& [path, digest] : stale) {
            removed.insert(platform::composed(path));
        }
        installer.fm.enumerate(paths.category, [&](const fs::path& item, const platform::ItemStatus& status) {
            isNeeded =
                isNeeded ||
                (status.kind != Kind::folder && item.extension() == ".motr" &&
                 !removed.contains(platform::composed(item.lexically_relative(paths.category).string())));
        });
        return !isNeeded;
    }

    void recordFolders() {
        for (const JournalEntry& entry : plan.journal.entries) {
            const fs::path folder = fs::path(entry.path).parent_path();
            const bool isTransition = paths.backupPath(entry.path)->find('/') != std::string::npos;
            if (plan.journal.folders.contains(folder.string())) {
                continue;
            }
            recordFolder(folder);
            const std::optional<platform::ItemStatus> status = installer.fm.status(paths.home / folder);
            if (isTransition && status && status->kind == Kind::folder) {
                plan.journal.folders[folder.string()] = FolderState{status->permissions, status->modified};
            }
        }
    }

    /// The folders that the run is going to make.
    void recordFolder(const fs::path& path) {
        if (!path.empty() && !installer.fm.isFolder(paths.home / path) &&
            plan.journal.folders.emplace(path.string(), std::nullopt).second) {
            recordFolder(path.parent_path());
        }
    }

    Change* add(const fs::path& path, const FoundItem& found, const std::string& after, Action action) {
        if (!found.status && action == Action::remove) {
            return nullptr;
        }
        plan.journal.entries.push_back({paths.inHome(path), found.digest, after});
        plan.changes.push_back({action, found.status, {}, {}});
        return &plan.changes.back();
    }

    void write(const fs::path& path, const FoundItem& found, const std::string& digest, Source contents) {
        add(path, found, digest, Action::write)->contents = std::move(contents);
    }

    std::string summary() const {
        const std::string outcome =
            request.uninstall
                ? "Sélection désinstallée. Le composant commun est conservé si d’autres transitions Orvo en "
                  "dépendent."
                : std::to_string(request.selection.size()) +
                      " transitions installées. Relancez Final Cut Pro > Transitions > Orvo Transitions.";
        return outcome + "\n\nSauvegarde : " + plan.journal.backup(paths).string();
    }

    const PackInstaller& installer;
    const PackPaths& paths;
    const Request& request;
    Manifest installed; ///< as it was read, and from `planTemplates` on as it will be written
    Manifest legacy;    ///< the same
    FileTable stale;    ///< files of the category that go for good
    Plan plan;
};

} // namespace

Plan makePlan(const PackInstaller& installer, const PackPaths& paths, const Request& request) {
    return Planner(installer, paths, request).make();
}

std::vector<std::optional<platform::ItemStatus>> manifestStatus(const PackInstaller& installer,
                                                                const PackPaths& paths) {
    return {installer.fm.status(paths.installedManifest), installer.fm.status(paths.legacyManifest)};
}

} // namespace engine
