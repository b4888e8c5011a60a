#include "engine/Transaction.hpp"

#include "engine/CompanionApplication.hpp"
#include "engine/Description.hpp"
#include "engine/ItemDigest.hpp"
#include "engine/Recovery.hpp"
#include "platform/Error.hpp"

#include <algorithm>
#include <cerrno>

namespace fs = std::filesystem;

namespace engine {

Transaction::Transaction(const PackInstaller& owner, const PackPaths& where, Plan& made)
    : installer(owner), paths(where), plan(made), backup(made.journal.backup(where)),
      staging(made.journal.staging(where)) {}

void Transaction::begin() {
    makeBackupFolders();
    try {
        journal = JournalFile::begin(installer, paths, plan.journal);
        refuseOvertakenRun();
    } catch (const ConcurrentRunError&) {
        installer.fm.removeItem(backup);
        throw;
    }
}

/// Where the home could not be locked, another run may have come and gone since the manifests were read.
void Transaction::refuseOvertakenRun() {
    if (manifestStatus(installer, paths) == plan.manifestsRead) {
        return;
    }
    Undone nothing;
    endUndone(*journal, nothing);
    throw ConcurrentRunError("Une autre installation vient de se terminer, réessayez.");
}

/// All that saving and undoing need is there, and on the disk with the journal, before the first change. What
/// lay in a private folder stays private.
void Transaction::makeBackupFolders() const {
    constexpr unsigned ownersOnly = 0700;
    installer.mkdir(paths.support.parent_path());
    installer.fm.makeFolder(backup, ownersOnly);
    fs::path last = backup;
    for (std::size_t entry = 0; entry < plan.changes.size(); ++entry) {
        const fs::path folder = savedPathOf(entry).parent_path();
        if (plan.changes[entry].found && folder != last) {
            installer.mkdir(folder);
            last = folder;
        }
    }
}

void Transaction::apply() {
    stageApplication();
    forEachChange(&Transaction::prepare);
    forEachChange(&Transaction::preserve);
    synchronize();
    std::ranges::for_each(copied, [this](std::size_t entry) { setAside(entry); });
    forEachChange(&Transaction::put);
    if (installer.exists(paths.legacy)) {
        installer.fm.setHidden(paths.legacy, false);
    }
    verify();
    for (const std::size_t entry : copied) {
        installer.fm.removeItem(plan.journal.temporary(pathOf(entry), entry, 'o'));
    }
    moveEmptiedFolders();
    synchronize();
    if (plan.installs && installer.register_) { // last, because registration cannot be undone
        registerApplication(installer, paths.installedApplication);
    }
}

void Transaction::stageApplication() const {
    if (plan.installs) {
        installer.mkdir(staging);
        installer.fm.copyItem(paths.payloadApplication, staging / applicationName);
    }
}

void Transaction::forEachChange(void (Transaction::*step)(std::size_t)) {
    for (std::size_t entry = 0; entry < plan.changes.size(); ++entry) {
        (this->*step)(entry);
    }
}

/// Makes the new file beside its path, under a name that nobody knows.
void Transaction::prepare(std::size_t entry) {
    const Change& change = plan.changes[entry];
    const fs::path path = pathOf(entry);
    const fs::path partial = plan.journal.temporary(path, entry, 'n');
    if (change.action != Action::copy && change.action != Action::write) {
        return;
    }
    installer.mkdir(path.parent_path());
    try {
        if (change.action == Action::write) {
            installer.fm.writeNew(partial, change.contents);
            return;
        }
        installer.fm.copyItem(change.source, partial);
        if (path.extension() == ".motr") {
            installer.fm.touch(partial); // the editor takes it for a new template
        }
    } catch (const platform::Error& error) {
        throw ofPath(error, entry);
    }
}

/// The same error with the path that the user knows, instead of the unfinished item's.
platform::Error Transaction::ofPath(const platform::Error& error, std::size_t entry) const {
    const Change& change = plan.changes[entry];
    if (error.number() == 0) {
        return error;
    }
    return change.action == Action::write
               ? platform::fileError("écrire", pathOf(entry), error.number())
               : platform::fileError("copier", change.source, pathOf(entry), error.number());
}

void Transaction::preserve(std::size_t entry) {
    if (!plan.changes[entry].found) {
        return;
    }
    const fs::path path = pathOf(entry);
    const fs::path saved = savedPathOf(entry);
    if (plan.unregisters && path == paths.installedApplication) {
        unregister();
    }
    try {
        installer.fm.renameItem(path, saved);
    } catch (const platform::Error& error) {
        if (error.number() == ENOENT && !installer.fm.existsNoFollow(path)) {
            return; // its owner has removed it meanwhile
        }
        if (error.number() != EXDEV) {
            throw;
        }
        const fs::path partial = plan.journal.temporary(saved, entry, 'n');
        installer.fm.copyItem(path, partial);
        installer.fm.renameItem(partial, saved);
        copied.push_back(entry);
    }
    if (!isStill(installer, saved, plan.changes[entry].found, plan.journal.entries[entry].before)) {
        throw changedFile(path);
    }
}

/// What was copied may have changed since, so the original gets another name before it is compared. A folder
/// that the file system cannot rename, of an overlay's lower layer for instance, goes at once.
void Transaction::setAside(std::size_t entry) {
    const fs::path path = pathOf(entry);
    fs::path aside = plan.journal.temporary(path, entry, 'o');
    try {
        installer.fm.renameItem(path, aside);
    } catch (const platform::Error& error) {
        if (error.number() != EXDEV) {
            throw;
        }
        aside = path;
    }
    if (!isStill(installer, aside, plan.changes[entry].found, plan.journal.entries[entry].before)) {
        throw changedFile(path);
    }
    if (aside == path) {
        installer.fm.removeItem(path);
    }
}

/// The new item appears whole and where nothing exists, or not at all.
void Transaction::put(std::size_t entry) {
    const Change& change = plan.changes[entry];
    const fs::path path = pathOf(entry);
    const fs::path partial = plan.journal.temporary(path, entry, 'n');
    if (change.action == Action::move) {
        installer.mkdir(path.parent_path());
        installer.fm.moveItem(change.source, path, partial);
    } else if (change.action != Action::remove) {
        try {
            installer.fm.renameItem(partial, path);
        } catch (const platform::Error& error) {
            throw ofPath(error, entry);
        }
    }
}

/// They are kept until the commit, with all that belongs to them, for a run that has to be rolled back.
/// Somebody may put a file into one at any moment, so each is looked at again under a name that nobody knows.
void Transaction::moveEmptiedFolders() const {
    std::size_t number = plan.changes.size();
    for (const auto& [folder, state] : plan.journal.folders) {
        const fs::path path = paths.home / folder;
        const fs::path aside = plan.journal.temporary(path, ++number, 'o');
        if (!state || !installer.fm.isFolder(path) || !installer.fm.list(path).empty()) {
            continue;
        }
        try {
            installer.fm.renameItem(path, aside);
        } catch (const platform::Error& error) {
            if (error.number() != EXDEV) {
                throw;
            }
            installer.fm.removeEmptyFolder(path);
            continue;
        }
        if (installer.fm.list(aside).empty()) {
            const fs::path emptied = plan.journal.emptied(paths, folder);
            installer.mkdir(emptied.parent_path());
            installer.fm.moveItem(aside, emptied, plan.journal.temporary(emptied, number, 'n'));
        } else {
            installer.fm.renameItem(aside, path);
        }
    }
}

void Transaction::verify() const {
    if (!plan.installs) {
        return;
    }
    verifyCopies(installer, paths.category, plan.copies);
    if (itemDigest(installer, paths.installedApplication) != plan.journal.entries.back().after) {
        throw InstallError("Vérification de l’application échouée : " + paths.installedApplication.string());
    }
    checkSignature(installer, paths.installedApplication);
}

void Transaction::unregister() {
    unregisterExtension(installer, paths.installedApplication);
    plan.journal.unregistered = true;
    journal->recordUnregistered();
}

void Transaction::synchronize() const {
    installer.fm.synchronizeFileSystems(plan.journal.changedFolders(paths));
}

void Transaction::commit() {
    try {
        installer.fm.removeItem(staging);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): it is empty, and in nobody's way
    }
    try {
        journal->end();
    } catch (const UnconfirmedError& doubt) {
        throw UnconfirmedError(
            "Tout est fait, mais le disque ne l’a pas confirmé : après une coupure, l’état "
            "d’avant peut revenir.\n" +
            doubt.message + "\nSauvegarde : " + backup.string());
    }
}

InstallError Transaction::rollBack(const std::exception_ptr& failure) {
    Undone undone;
    if (journal) {
        undone = undo(installer, paths, plan.journal);
        endUndone(*journal, undone);
    }
    std::string text =
        localizedDescription(failure) + "\nSauvegarde : " + backup.string() + "\n" + undone.text();
    if (undone.isRestored()) {
        text += "État précédent restauré.";
    } else {
        text.pop_back(); // the last line's end
    }
    return InstallError(text);
}

void Transaction::removeEmptiedFolders() const noexcept {
    try {
        for (const auto& [folder, state] : plan.journal.folders) {
            if (state) {
                installer.fm.removeEmptyFolder(plan.journal.emptied(paths, folder));
            }
        }
        for (const char* folder : {"Emptied/Templates", "Emptied/Legacy", "Emptied"}) {
            installer.fm.removeEmptyFolder(backup / folder);
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): they are empty, in a backup folder
    }
}

fs::path Transaction::pathOf(std::size_t entry) const {
    return paths.home / plan.journal.entries[entry].path;
}

fs::path Transaction::savedPathOf(std::size_t entry) const {
    return plan.journal.saved(paths, plan.journal.entries[entry]);
}

} // namespace engine
