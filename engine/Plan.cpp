#include "engine/Plan.hpp"

#include "engine/CompanionApplication.hpp"
#include "engine/TemplateMark.hpp"
#include "platform/Parallel.hpp"
#include "platform/Uuid.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace fs = std::filesystem;

namespace engine {
namespace {

using Kind = platform::ItemStatus::Kind;

constexpr std::uint64_t largestTemplate = std::uint64_t{1} << 30;

/// What is to exist at a path: nothing by default.
struct NewItem {
    std::string digest; ///< see platform::itemDigest
    std::function<void(const fs::path&)> make;
};

/// Makes the plan of one run, phase by phase.
class Planner {
public:
    Planner(const PackInstaller& owner, const PackPaths& where, const Request& asked)
        : installer(owner), fm(owner.fm), paths(where), request(asked) {}

    Plan make() {
        plan.journal.id = platform::freshUuid();
        plan.installs = !request.uninstall;
        readManifests();
        checkApplications();
        planTemplates();
        planLegacyCategory();
        planManifest(paths.installedManifest, installedStatus, installed);
        planManifest(paths.legacyManifest, legacyStatus, legacy);
        planApplication();
        recordFolders();
        plan.summary = summary();
        return std::move(plan);
    }

private:
    void readManifests() {
        installedStatus =
            fm.status(paths.installedManifest); // before it is read: another run would change it
        installed = installer.ready(paths.installedManifest);
        legacyStatus = fm.status(paths.legacyManifest);
        legacy = installer.ready(paths.legacyManifest);
        for (const Manifest* manifest : {&installed, &legacy}) {
            if (!std::ranges::all_of(manifest->files,
                                     [&](const auto& file) { return request.allows(file.first); })) {
                throw InstallError("Chemins du manifeste invalides.");
            }
        }
    }

    void checkApplications() const {
        if (plan.installs) {
            checkSignature(installer, paths.payloadApplication);
        }
        checkOwnership(installer, paths.installedApplication);
    }

    void planTemplates() {
        if (plan.installs) {
            plan.copies = payloadFiles();
        }
        FileTable files = plan.copies;
        for (const auto& [path, digest] : installed.files) {
            if (request.selected(path) && files.emplace(path, std::string()).second) {
                removed.insert(platform::composed(path));
            }
        }
        planFiles(paths.category, files, installed,
                  [this](const std::string& path, const std::string& digest) { return copy(path, digest); });
    }

    NewItem copy(const std::string& path, const std::string& digest) const {
        const fs::path source = paths.payloadTemplates / path;
        const auto status = fm.status(source);
        const bool isLink = status && status->kind == Kind::link;
        return {isLink ? platform::itemDigest(fm, source) : digest,
                [&from = fm, name = source.string()](const fs::path& to) {
                    from.copyItem(name, to);
                    if (name.ends_with(".motr")) {
                        from.touch(to); // the editor takes it for a new template
                    }
                }};
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

    void planLegacyCategory() {
        FileTable files;
        std::set<std::string> known;
        for (const auto& [path, digest] : legacy.files) {
            known.insert(platform::composed(path));
            if (const std::optional<std::string> after = legacyDigest(path)) {
                files.emplace(path, *after);
            }
        }
        planFiles(paths.legacy, files, legacy, [this](const std::string& path, const std::string& digest) {
            return NewItem{digest, [&from = fm, name = (paths.legacy / path).string()](const fs::path& to) {
                               const std::string marked = deprecated(from.read(name, largestTemplate), name);
                               from.writeNew(to, [&](const auto& sink) { sink(marked); });
                           }};
        });
        refuseUnknownTemplates(known);
        showLegacyCategory();
    }

    /// What a file of the older pack is going to be, if it changes: of a template that gets the mark the
    /// digest alone is kept, for templates can be large.
    std::optional<std::string> legacyDigest(const std::string& path) const {
        const fs::path file = paths.legacy / path;
        if (request.uninstall) {
            return request.selected(path) ? std::optional(std::string()) : std::nullopt;
        }
        if (!path.ends_with(".motr") || !installer.exists(file)) {
            return std::nullopt;
        }
        const std::string bytes = fm.read(file, largestTemplate);
        const std::string marked = deprecated(bytes, file);
        return marked != bytes ? std::optional(platform::textDigest(marked)) : std::nullopt;
    }

    void refuseUnknownTemplates(const std::set<std::string>& known) const {
        fm.enumerate(paths.legacy, [&](const fs::path& item, const platform::ItemStatus& status) {
            if (status.kind != Kind::folder && item.extension() == ".motr" &&
                !known.contains(platform::composed(installer.relative(item, paths.legacy)))) {
                throw InstallError("La catégorie historique contient une transition inconnue : " +
                                   item.string() + ". Migration interrompue pour la préserver.");
            }
        });
    }

    void showLegacyCategory() {
        plan.journal.legacyHidden = fm.isHidden(paths.legacy);
        if (plan.journal.legacyHidden && paths.hiddenList) {
            const std::string list = fm.hiddenListWithout(paths.legacy);
            add(*paths.hiddenList, platform::findItem(fm, *paths.hiddenList),
                list.empty() ? NewItem() : written(list));
        }
    }

    /// Plans the files of a category: those with a digest are made anew, the others go.
    void planFiles(const fs::path& folder, const FileTable& files, Manifest& manifest,
                   const std::function<NewItem(const std::string&, const std::string&)>& newItem) {
        for (const auto& [path, found] :
             verify(installer, folder, files, manifest.files, request.uninstall)) {
            const std::string& digest = files.at(path);
            if (digest.empty()) {
                add(folder / path, found, {});
                manifest.files.erase(path);
            } else {
                add(folder / path, found, newItem(path, digest));
                manifest.files[path] = digest;
            }
        }
    }

    /// A manifest that lists nothing is no file.
    void planManifest(const fs::path& file, const std::optional<platform::ItemStatus>& status,
                      const Manifest& manifest) {
        const NewItem item = manifest.files.empty() ? NewItem() : written(encodeManifest(manifest));
        add(file, {status, platform::itemDigest(fm, file)}, item);
    }

    void planApplication() {
        const fs::path& application = paths.installedApplication;
        if (plan.installs) {
            add(application, platform::findItem(fm, application),
                {platform::itemDigest(fm, paths.payloadApplication),
                 [&from = fm, source = paths.payloadApplication](const fs::path& to) {
                     from.copyItem(source, to);
                 }});
        } else if (!isApplicationNeeded() && fm.existsNoFollow(application)) {
            add(application, platform::findItem(fm, application), {});
            plan.unregisters = installer.register_;
        }
    }

    /// By a file of either pack, or by a foreign template.
    bool isApplicationNeeded() const {
        bool isNeeded = !installed.files.empty() || !legacy.files.empty();
        fm.enumerate(paths.category, [&](const fs::path& item, const platform::ItemStatus& status) {
            const std::string path = item.lexically_relative(paths.category).string();
            isNeeded = isNeeded || (status.kind != Kind::folder && item.extension() == ".motr" &&
                                    !removed.contains(platform::composed(path)));
        });
        return isNeeded;
    }

    void recordFolders() {
        for (const JournalEntry& entry : plan.journal.entries) {
            const fs::path folder = fs::path(entry.path).parent_path();
            recordFolder(folder);
            const std::optional<platform::ItemStatus> status = fm.status(paths.home / folder);
            if (paths.isTemplate(entry.path) && status && status->kind == Kind::folder) {
                plan.journal.folders.emplace(folder.string(),
                                             FolderState{status->permissions, status->modified});
            }
        }
    }

    /// The folders that the run is going to make.
    void recordFolder(const fs::path& path) {
        if (!path.empty() && !fm.isFolder(paths.home / path) &&
            plan.journal.folders.emplace(path.string(), std::nullopt).second) {
            recordFolder(path.parent_path());
        }
    }

    NewItem written(const std::string& text) const {
        return {platform::textDigest(text), [&to = fm, text](const fs::path& file) {
                    to.writeNew(file, [&](const auto& sink) { sink(text); });
                }};
    }

    void add(const fs::path& path, const platform::FoundItem& found, NewItem item) {
        if (found.status || item.make) {
            plan.journal.entries.push_back({paths.inHome(path), found.digest, item.digest});
            plan.changes.push_back({found.status, std::move(item.make)});
        }
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
    const platform::FileManager& fm;
    const PackPaths& paths;
    const Request& request;
    std::optional<platform::ItemStatus> installedStatus;
    std::optional<platform::ItemStatus> legacyStatus;
    Manifest installed;            ///< as it was read, and from `planTemplates` on as it will be written
    Manifest legacy;               ///< the same
    std::set<std::string> removed; ///< files of the category that go for good, composed
    Plan plan;
};

} // namespace

InstallError changedFile(const fs::path& path) {
    return InstallError("Fichier modifié ou non reconnu, conservé : " + path.string());
}

FoundItems verify(const PackInstaller& installer, const fs::path& folder, const FileTable& files,
                  const FileTable& known, bool uninstall) {
    FoundItems items;
    for (const auto& [path, expected] : files) {
        items.emplace_hint(items.end(), path, platform::FoundItem());
    }
    platform::forEachInParallel(items, [&](auto& item) {
        auto& [path, found] = item;
        const fs::path file = folder / path;
        found = platform::findItem(installer.fm, file);
        if (!found.status) {
            return;
        }
        if (found.status->kind == Kind::link && !installer.exists(file)) {
            throw changedFile(file); // a link to nothing is somebody's own
        }
        const std::string digest = found.status->kind == Kind::file ? found.digest : installer.hash(file);
        const auto recorded = known.find(path);
        const bool isRecorded = recorded != known.end() && recorded->second == digest;
        if (!isRecorded && (uninstall || digest != files.at(path))) {
            throw changedFile(file);
        }
    });
    return items;
}

Plan makePlan(const PackInstaller& installer, const PackPaths& paths, const Request& request) {
    return Planner(installer, paths, request).make();
}

} // namespace engine
