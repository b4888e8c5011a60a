#include "engine/Transaction.hpp"

#include "engine/CompanionApplication.hpp"
#include "engine/PackTitles.hpp"
#include "engine/Recovery.hpp"
#include "engine/Verification.hpp"
#include "platform/Uuid.hpp"

#include <algorithm>
#include <utility>

namespace fs = std::filesystem;

namespace engine {
namespace {

bool isFolderName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

} // namespace

Transaction::Transaction(const PackInstaller& owner, bool uninstalls, const PackInstaller::Selection& chosen)
    : installer(owner), uninstall(uninstalls), requested(chosen),
      paths(owner), record{platform::freshUuid(), "Staging-" + platform::freshUuid(), false, {}, {}},
      backup(paths.backups / record.backup), staging(paths.support / record.staging), changes(owner, backup) {
}

std::string Transaction::perform() {
    refuseRunningEditor();
    undoInterruptedRun();
    readCatalog();
    chooseSelection();
    readManifests();
    checkManifestPaths();
    checkApplications();
    planTemplates();
    planLegacyCategory();
    planManifests();
    recordPlaces();
    try {
        createWorkFolders();
        handleTemplates();
        handleLegacyCategory();
        writeManifests();
        handleApplication();
        commit();
    } catch (const std::exception& failure) {
        recover(failure);
    }
    return summary();
}

void Transaction::refuseRunningEditor() const {
    if (!installer.register_) {
        return;
    }
    const std::vector<std::string> identifiers = installer.system.runningApplications();
    if (std::ranges::any_of(identifiers, [](const std::string& identifier) {
            return identifier.starts_with("com.apple.FinalCut") || identifier == "com.apple.motionapp";
        })) {
        throw InstallError("Fermez Final Cut Pro et Motion, puis réessayez.");
    }
}

void Transaction::undoInterruptedRun() const {
    const std::optional<RunJournal> interrupted = RunJournal::takeOver(installer.fm, paths.journal);
    if (!interrupted) {
        return;
    }
    const RunRecord found = interrupted->read();
    const std::vector<std::string> problems = Recovery(installer, paths, found).undoInterrupted();
    if (!problems.empty()) {
        throw InstallError("Une installation précédente a été interrompue et l’état d’avant n’a pas pu être "
                           "rétabli entièrement.\n" +
                           joined(problems) + "\nSauvegarde : " + (paths.backups / found.backup).string());
    }
    interrupted->end();
}

void Transaction::readCatalog() {
    catalog = installer.catalog();
    for (const CatalogName& entry : catalog) {
        if (!isFolderName(entry.name)) {
            throw InstallError("Le catalogue contient un nom de transition invalide : « " + entry.name +
                               " »");
        }
        if (entry.retired.value_or(false)) {
            retired.insert(entry.name);
        }
    }
}

void Transaction::chooseSelection() {
    std::set<std::string> current;
    for (const CatalogName& entry : catalog) {
        if (!entry.retired.value_or(false)) {
            current.insert(entry.name);
        }
    }
    selection = requested ? *requested : current;
    if (selection.empty() || !std::ranges::includes(current, selection)) {
        throw InstallError("Sélection de transitions invalide.");
    }
}

void Transaction::readManifests() {
    installed = installer.ready(paths.installedManifest);
    legacy = installer.ready(paths.legacyManifest);
}

void Transaction::checkManifestPaths() const {
    std::set<std::string> titles;
    for (const CatalogName& entry : catalog) {
        titles.insert(entry.name);
    }
    for (const Rename& rename : renameTable) {
        titles.emplace(rename.older);
    }
    const auto isAllowed = [&](const auto& file) {
        const std::string transition = transitionOf(file.first);
        return titles.contains(transition) && std::ranges::count(templateFiles(transition), file.first) == 1;
    };
    if (!std::ranges::all_of(installed.files, isAllowed) || !std::ranges::all_of(legacy.files, isAllowed)) {
        throw InstallError("Chemins du manifeste invalides.");
    }
}

void Transaction::checkApplications() const {
    if (!uninstall) {
        checkSignature(installer, paths.payloadApplication);
    }
    checkOwnership(installer, paths.installedApplication);
}

void Transaction::planTemplates() {
    if (!uninstall) {
        for (const std::string& transition : selection) {
            for (const std::string& path : templateFiles(transition)) {
                payload.emplace(path, installer.hash(paths.payloadTemplates / path));
            }
        }
    }
    touched = payload;
    for (const auto& [path, digest] : installed.files) {
        if (selected(path)) {
            touched.emplace(path, digest); // where both know a file, the payload's entry stays
        }
    }
    verify(installer, paths.category, touched, installed.files, uninstall);
}

void Transaction::planLegacyCategory() {
    legacyPlan = planLegacy(installer, paths, legacy, uninstall,
                            [this](const std::string& path) { return selected(path); });
}

void Transaction::planManifests() {
    newInstalled = installed;
    for (const auto& [path, digest] : touched) {
        newInstalled.files.erase(path);
    }
    newInstalled.files.insert(payload.begin(), payload.end());
    newLegacy = legacy;
    for (const auto& [path, digest] : legacyPlan.removed) {
        newLegacy.files.erase(path);
    }
}

/// The order of the places is the order of the phases below.
void Transaction::recordPlaces() {
    record.legacyHidden = installer.fm.isHidden(paths.legacy);
    for (const auto& [path, digest] : touched) {
        addPlace(paths.category / path, "Templates/" + path);
    }
    for (const auto& [path, digest] : legacyPlan.removed) {
        addPlace(paths.legacy / path, "Legacy/" + path);
    }
    for (const auto& [path, bytes] : legacyPlan.marked) {
        addPlace(paths.legacy / path, "Legacy/" + path);
    }
    if (const std::optional<fs::path> list = installer.fm.hiddenList(paths.legacy);
        list && record.legacyHidden) {
        addPlace(*list, "hidden-list");
    }
    addPlace(paths.installedManifest, "manifest.json");
    addPlace(paths.legacyManifest, "legacy-manifest.json");
    addPlace(paths.installedApplication, applicationName);
    recordFolders();
    paths.refuseLinksOut(installer, backup);
}

void Transaction::addPlace(const fs::path& place, const std::string& saved) {
    record.places.push_back(
        {place.lexically_relative(installer.home).string(), saved, installer.fm.occupied(place)});
}

void Transaction::recordFolders() {
    std::set<std::string> folders;
    for (const Place& place : record.places) {
        for (fs::path folder = fs::path(place.path).parent_path(); !folder.empty();
             folder = folder.parent_path()) {
            if (!folders.insert(folder.string()).second) {
                break; // those above it are known with it
            }
        }
    }
    for (const std::string& folder : folders) { // in this order the upper ones come first
        paths.refuseLinksOut(installer, installer.home / folder / "any");
        record.folders.push_back({folder, installer.fm.folderPermissions(installer.home / folder)});
    }
}

void Transaction::createWorkFolders() {
    installer.mkdir(backup);
    journal = RunJournal::begin(installer.fm, paths.journal, backup / "journal.jsonl", record);
    if (installer.ready(paths.installedManifest) != installed ||
        installer.ready(paths.legacyManifest) != legacy) {
        throw InstallError("Une autre installation vient de se terminer, réessayez.");
    }
    if (!uninstall) {
        installer.mkdir(staging);
        installer.fm.copyItem(paths.payloadApplication, staging / applicationName);
    }
}

void Transaction::handleTemplates() {
    for (const auto& [path, digest] : touched) {
        changes.preserve(paths.category / path, "Templates/" + path);
        if (payload.contains(path)) {
            installTemplate(path);
        }
    }
    removeEmptiedFolders(paths.category, touched);
}

void Transaction::installTemplate(const std::string& path) {
    const fs::path file = paths.category / path;
    installer.mkdir(file.parent_path());
    changes.create(file, [&] { installer.fm.copyItem(paths.payloadTemplates / path, file); });
    if (file.extension() == ".motr") {
        installer.fm.touch(file); // the editor takes it for a new template
    }
}

void Transaction::removeEmptiedFolders(const fs::path& folder, const FileTable& files) const {
    std::set<std::string> transitions;
    for (const auto& [path, digest] : files) {
        transitions.insert(transitionOf(path));
    }
    for (const std::string& transition : transitions) {
        installer.fm.removeEmptyFolder(folder / transition);
    }
}

void Transaction::handleLegacyCategory() {
    for (const auto& [path, digest] : legacyPlan.removed) {
        changes.preserve(paths.legacy / path, "Legacy/" + path);
    }
    for (const auto& [path, bytes] : legacyPlan.marked) {
        const fs::path file = paths.legacy / path;
        changes.preserve(file, "Legacy/" + path);
        changes.create(file, [&, &contents = bytes] { installer.fm.writeAtomically(file, contents); });
        newLegacy.files[path] = installer.hash(file);
    }
    removeEmptiedFolders(paths.legacy, legacyPlan.removed);
    if (installer.fm.isHidden(paths.legacy)) {
        if (const std::optional<fs::path> list = installer.fm.hiddenList(paths.legacy)) {
            changes.preserveCopy(*list, "hidden-list");
        }
        installer.fm.setHidden(paths.legacy, false);
    }
}

void Transaction::writeManifests() {
    write(newInstalled, paths.installedManifest, "manifest.json");
    write(newLegacy, paths.legacyManifest, "legacy-manifest.json");
}

void Transaction::write(const Manifest& manifest, const fs::path& file, const std::string& name) {
    changes.preserve(file, name);
    if (manifest.files.empty()) {
        return; // a manifest that lists nothing is no file
    }
    installer.mkdir(file.parent_path());
    changes.create(file, [&] { installer.fm.writeAtomically(file, encodeManifest(manifest)); });
}

void Transaction::handleApplication() {
    if (!uninstall) {
        replaceApplication();
    } else if (removesApplication() && installer.fm.occupied(paths.installedApplication)) {
        if (installer.register_) {
            unregisterExtension(installer, paths.installedApplication);
        }
        changes.preserve(paths.installedApplication, applicationName);
    }
}

/// True when nothing that needs the application is left: no file of either pack and no foreign template.
bool Transaction::removesApplication() const {
    bool isNeeded = !newInstalled.files.empty() || !newLegacy.files.empty();
    installer.fm.enumerate(paths.category, [&](const fs::path& item, bool isFolder) {
        isNeeded = isNeeded || (!isFolder && item.extension() == ".motr" &&
                                !touched.contains(item.lexically_relative(paths.category).string()));
    });
    return !isNeeded;
}

/// The old application's extension stays registered: the new one takes its place.
void Transaction::replaceApplication() {
    changes.preserve(paths.installedApplication, applicationName);
    installer.mkdir(paths.installedApplication.parent_path());
    changes.create(paths.installedApplication,
                   [&] { installer.fm.moveItem(staging / applicationName, paths.installedApplication); });
    verifyCopies(installer, paths.category, payload);
    checkSignature(installer, paths.installedApplication);
    if (installer.register_) {
        registerApplication(installer, paths.installedApplication);
    }
}

void Transaction::commit() {
    installer.fm.synchronize(writtenItems());
    removeStaging();
    journal->end();
}

/// The files that the run put in place and every folder whose entries it changed.
std::vector<fs::path> Transaction::writtenItems() const {
    std::set<fs::path> items;
    for (const Change& change : changes.list()) {
        if (change.saved.empty()) {
            items.insert(change.place);
            installer.fm.enumerate(change.place, [&](const fs::path& item, bool) { items.insert(item); });
        }
    }
    for (const Folder& folder : record.folders) {
        if (const fs::path path = installer.home / folder.path; installer.exists(path)) {
            items.insert(path);
        }
    }
    return {items.begin(), items.end()};
}

std::string Transaction::summary() const {
    const std::string outcome =
        uninstall
            ? "Sélection désinstallée. Le composant commun est conservé si d’autres transitions Orvo en "
              "dépendent."
            : std::to_string(selection.size()) +
                  " transitions installées. Relancez Final Cut Pro > Transitions > Orvo Transitions.";
    return outcome + "\n\nSauvegarde : " + backup.string();
}

void Transaction::recover(const std::exception& failure) {
    const Recovery recovery(installer, paths, record);
    std::vector<std::string> problems =
        recovery.undo(changes.list(), [this](const fs::path& place) { installer.fm.removeItem(place); });
    removeStaging();
    if (journal) {
        try {
            journal->end();
        } catch (const std::exception& problem) {
            problems.emplace_back(problem.what());
        }
    }
    throw InstallError(std::string(failure.what()) + "\nSauvegarde : " + backup.string() + "\n" +
                       (problems.empty() ? "État précédent restauré." : joined(problems)));
}

/// A staging folder that cannot be removed harms nobody.
void Transaction::removeStaging() const {
    try {
        installer.fm.removeItem(staging);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
    }
}

/// A file counts by its transition, by the title that the older pack gave the transition, or because its
/// transition is no longer offered.
bool Transaction::selected(const std::string& path) const {
    const std::string transition = transitionOf(path);
    if (selection.contains(transition) || retired.contains(transition)) {
        return true;
    }
    return std::ranges::any_of(renameTable, [&](const Rename& rename) {
        return rename.older == transition && selection.contains(std::string(rename.current));
    });
}

} // namespace engine
