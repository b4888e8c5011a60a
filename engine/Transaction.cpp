#include "engine/Transaction.hpp"

#include "engine/CompanionApplication.hpp"
#include "engine/PackTitles.hpp"
#include "engine/Recovery.hpp"
#include "engine/Verification.hpp"
#include "platform/Error.hpp"
#include "platform/Parallel.hpp"
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
    holdHome();
    const std::string undone = undoInterruptedRun();
    try {
        return undone + runPhases();
    } catch (const std::exception& failure) {
        if (undone.empty()) {
            throw;
        }
        throw InstallError(undone + failure.what());
    }
}

std::string Transaction::runPhases() {
    readCatalog();
    chooseSelection();
    readManifests();
    checkManifestPaths();
    checkApplications();
    planTemplates();
    planLegacyCategory();
    planManifests();
    recordFolders();
    try {
        beginJournal();
        stageApplication();
        handleTemplates();
        handleLegacyCategory();
        writeManifests();
        handleApplication();
        makeDurable();
        tellSystem();
        endJournal();
    } catch (const AnotherRun&) {
        leaveToOtherRun();
        throw;
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

/// Another run must not change what this one is reading. A home that is not there yet, and one on a disk that
/// holds no folders, cannot be held: there the journal keeps the runs apart once they change something.
void Transaction::holdHome() {
    try {
        homeLock = platform::FileLock::acquire(installer.home);
    } catch (const platform::Error&) {
        return;
    }
    if (!homeLock) {
        throw anotherRun();
    }
}

/// Returns what the user has to know of it, nothing when there was no such run.
std::string Transaction::undoInterruptedRun() const {
    const std::optional<RunJournal> interrupted = RunJournal::takeOver(installer.fm, paths.journal);
    if (!interrupted) {
        return {};
    }
    fs::path saved = paths.backups;
    std::vector<std::string> problems;
    try {
        const RunRecord found = interrupted->read();
        saved /= found.backup;
        problems = Recovery(installer, paths, found).undoInterrupted();
        if (problems.empty()) {
            interrupted->end();
        }
    } catch (const platform::Error& failure) {
        problems.emplace_back(failure.what());
    }
    if (!problems.empty()) {
        throw InstallError("Une installation précédente a été interrompue et l’état d’avant n’a pas pu être "
                           "rétabli entièrement.\n" +
                           joined(problems) + "\nSauvegarde : " + saved.string());
    }
    return "Une installation précédente avait été interrompue : l’état d’avant a d’abord été rétabli, et ce "
           "qui restait d’elle est conservé dans « " +
           saved.string() + " ».\n\n";
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
    manifestsRead = digestOfManifests();
    installed = installer.ready(paths.installedManifest);
    legacy = installer.ready(paths.legacyManifest);
}

std::string Transaction::digestOfManifests() const {
    std::string digests;
    for (const fs::path& file : {paths.installedManifest, paths.legacyManifest}) {
        digests += installer.exists(file) ? installer.hash(file) : "-";
    }
    return digests;
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
                payload.emplace(path, std::string());
            }
        }
    }
    platform::forEachInParallel(
        payload, [this](auto& file) { file.second = installer.hash(paths.payloadTemplates / file.first); });
    for (auto next = installed.files.begin(); next != installed.files.end();) {
        const auto file = next++;
        if (selected(file->first) && !payload.contains(file->first)) {
            removed.insert(removed.end(), installed.files.extract(file));
        }
    }
    verify(installer, paths.category, payload, installed.files, uninstall);
    verify(installer, paths.category, removed, removed, uninstall);
}

void Transaction::planLegacyCategory() {
    legacyPlan = planLegacy(installer, paths, legacy, uninstall,
                            [this](const std::string& path) { return selected(path); });
}

void Transaction::planManifests() {
    for (const auto& [path, digest] : payload) {
        installed.files.erase(path);
    }
    for (const auto& [path, digest] : legacyPlan.removed) {
        legacy.files.erase(path);
    }
}

void Transaction::forEachPlace(const PlaceVisitor& visit) const {
    for (const auto& [path, digest] : payload) {
        visit(paths.category / path, "Templates/" + path);
    }
    for (const auto& [path, digest] : removed) {
        visit(paths.category / path, "Templates/" + path);
    }
    for (const auto& [path, digest] : legacyPlan.removed) {
        visit(paths.legacy / path, "Legacy/" + path);
    }
    for (const auto& [path, bytes] : legacyPlan.marked) {
        visit(paths.legacy / path, "Legacy/" + path);
    }
    if (const std::optional<fs::path> list = installer.fm.hiddenList(paths.legacy);
        list && record.legacyHidden) {
        visit(*list, "hidden-list");
    }
    visit(paths.installedManifest, "manifest.json");
    visit(paths.legacyManifest, "legacy-manifest.json");
    visit(paths.installedApplication, applicationName);
}

void Transaction::recordFolders() {
    record.legacyHidden = installer.fm.isHidden(paths.legacy);
    forEachPlace([this](const fs::path& place, const std::string&) {
        const fs::path folder = place.lexically_relative(installer.home).parent_path();
        if (!record.folders.contains(folder.string())) { // many places lie in one folder
            paths.refuseLinksOut(installer, place);
            recordFolder(folder);
        }
    });
    paths.refuseLinksOut(installer, backup);
}

void Transaction::recordFolder(const fs::path& path) {
    if (!path.empty() && !record.folders.contains(path.string())) {
        recordFolder(path.parent_path());
        record.folders.emplace(path.string(), installer.fm.folderPermissions(installer.home / path));
    }
}

void Transaction::beginJournal() {
    record.unregisters = uninstall && installer.register_; // what it may do, for the run that finds it
    installer.fm.makeFolderDurably(backup);
    journal = RunJournal::begin(installer.fm, paths.journal, backup / "journal.jsonl",
                                [this](const auto& sink) { writeRecord(sink); });
    record.unregisters = false; // from here on what it has done
    if (digestOfManifests() != manifestsRead) {
        throw AnotherRun("Une autre installation vient de se terminer, réessayez.");
    }
    isChanging = true;
}

void Transaction::leaveToOtherRun() const {
    if (journal) {
        journal->end();
    }
    installer.fm.removeEmptyFolder(backup);
}

void Transaction::stageApplication() {
    if (!uninstall) {
        installer.mkdir(staging);
        installer.fm.copyItem(paths.payloadApplication, staging / applicationName);
    }
}

void Transaction::writeRecord(const platform::FileManager::Sink& sink) const {
    sink(encodeRunRecord(record));
    forEachPlace([&](const fs::path& place, const std::string& saved) {
        sink(encodePlace(
            {place.lexically_relative(installer.home).string(), saved, installer.fm.occupied(place)}));
    });
}

void Transaction::handleTemplates() {
    for (const auto& [path, digest] : payload) {
        changes.preserve(paths.category / path, "Templates/" + path);
        installTemplate(path);
    }
    for (const auto& [path, digest] : removed) {
        changes.preserve(paths.category / path, "Templates/" + path);
    }
    removeEmptiedFolders(paths.category, removed);
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
    std::string last;
    for (const auto& [path, digest] : files) { // those of one transition follow one another
        if (const std::string transition = transitionOf(path); transition != last) {
            installer.fm.removeEmptyFolder(folder / transition);
            last = transition;
        }
    }
}

void Transaction::handleLegacyCategory() {
    for (const auto& [path, digest] : legacyPlan.removed) {
        changes.preserve(paths.legacy / path, "Legacy/" + path);
    }
    for (const auto& [path, bytes] : legacyPlan.marked) {
        const fs::path file = paths.legacy / path;
        changes.write(file, "Legacy/" + path, [&contents = bytes](const auto& sink) { sink(contents); });
        legacy.files[path] = installer.hash(file);
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
    installed.files.merge(payload);
    write(installed, paths.installedManifest, "manifest.json");
    write(legacy, paths.legacyManifest, "legacy-manifest.json");
}

void Transaction::write(const Manifest& manifest, const fs::path& file, const std::string& name) {
    if (manifest.files.empty()) {
        changes.preserve(file, name); // a manifest that lists nothing is no file
    } else {
        changes.write(file, name, [&](const auto& sink) { encodeManifest(manifest, sink); });
    }
}

void Transaction::handleApplication() {
    if (!uninstall) {
        replaceApplication();
    } else if (removesApplication() && installer.fm.occupied(paths.installedApplication)) {
        if (installer.register_) {
            unregisterExtension(installer, paths.installedApplication);
            record.unregisters = true;
        }
        changes.preserve(paths.installedApplication, applicationName);
    }
}

/// True when nothing that needs the application is left: no file of either pack and no foreign template.
bool Transaction::removesApplication() const {
    bool isNeeded = !installed.files.empty() || !legacy.files.empty();
    installer.fm.enumerate(paths.category, [&](const fs::path& item, bool isFolder) {
        isNeeded = isNeeded || (!isFolder && item.extension() == ".motr" &&
                                !removed.contains(item.lexically_relative(paths.category).string()));
    });
    return !isNeeded;
}

/// The old application's extension stays registered: the new one takes its place.
void Transaction::replaceApplication() {
    changes.preserve(paths.installedApplication, applicationName);
    installer.mkdir(paths.installedApplication.parent_path());
    changes.create(paths.installedApplication,
                   [&] { installer.fm.moveItem(staging / applicationName, paths.installedApplication); });
    verifyCopies(installer, paths.category, installed.files,
                 [this](const std::string& path) { return selection.contains(transitionOf(path)); });
    checkSignature(installer, paths.installedApplication);
}

void Transaction::makeDurable() {
    installer.fm.synchronizeFileSystems(paths.roots);
}

/// Last, because what the system learns is not unlearnt.
void Transaction::tellSystem() const {
    if (!uninstall && installer.register_) {
        registerApplication(installer, paths.installedApplication);
    }
}

void Transaction::endJournal() {
    removeStaging();
    journal->end();
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
    std::vector<std::string> problems;
    if (isChanging) {
        problems = Recovery(installer, paths, record).undo(changes.list(), [this](const fs::path& place) {
            installer.fm.removeItem(place);
        });
    }
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
