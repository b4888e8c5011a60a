#include "engine/Transaction.hpp"

#include "engine/CompanionApplication.hpp"
#include "engine/Recovery.hpp"
#include "platform/Error.hpp"
#include "platform/ItemDigest.hpp"
#include "platform/Parallel.hpp"

#include <cerrno>

namespace fs = std::filesystem;

namespace engine {

Transaction::Transaction(const PackInstaller& owner, const PackPaths& where, Plan& made)
    : installer(owner), fm(owner.fm), paths(where), plan(made), journal(made.journal),
      backup(journal.backup(where)) {}

/// All that saving and undoing need is there, and on the disk with the journal, before the first change. What
/// lay in a private folder stays private.
void Transaction::begin() {
    constexpr unsigned ownersOnly = 0700;
    fm.makeFolder(paths.support.parent_path());
    fm.makeFolder(backup, ownersOnly);
    for (std::size_t entry = 0; entry < plan.changes.size(); ++entry) {
        if (plan.changes[entry].found) {
            fm.makeFolder(itemOf(entry).saved.parent_path());
        }
    }
    try {
        file = JournalFile::begin(installer, paths, journal);
        refuseOvertakenRun();
    } catch (const ConcurrentRunError&) {
        fm.removeItem(backup);
        throw;
    }
}

/// Where the home could not be locked, another run may have come and gone since the manifests were read.
void Transaction::refuseOvertakenRun() {
    for (std::size_t entry = 0; entry < plan.changes.size(); ++entry) {
        const fs::path path = itemOf(entry).path;
        if ((path == paths.installedManifest || path == paths.legacyManifest) &&
            fm.status(path) != plan.changes[entry].found) {
            Undone nothing;
            endUndone(*file, nothing);
            throw ConcurrentRunError("Une autre installation vient de se terminer, réessayez.");
        }
    }
}

void Transaction::apply() {
    const auto forEachChange = [this](void (Transaction::*step)(std::size_t)) {
        for (std::size_t entry = 0; entry < plan.changes.size(); ++entry) {
            (this->*step)(entry);
        }
    };
    forEachChange(&Transaction::prepare);
    forEachChange(&Transaction::preserve);
    fm.synchronizeFileSystems(journal.changedFolders(paths));
    forEachChange(&Transaction::put);
    fm.setHidden(paths.legacy, false);
    verify();
    forEachChange(&Transaction::removeAside);
    removeEmptiedFolders();
    fm.synchronizeFileSystems(journal.changedFolders(paths));
    if (plan.installs && installer.register_) { // last, because registration cannot be undone
        registerApplication(installer, paths.installedApplication);
    }
}

void Transaction::prepare(std::size_t entry) {
    if (plan.changes[entry].make) {
        const fs::path prepared = itemOf(entry).prepared;
        fm.makeFolder(prepared.parent_path());
        plan.changes[entry].make(prepared);
    }
}

/// The item gets another name beside its path before it is looked at, so that nobody changes it in between,
/// and from there its path in the backup folder.
void Transaction::preserve(std::size_t entry) {
    if (!plan.changes[entry].found) {
        return;
    }
    const Item item = itemOf(entry);
    if (plan.unregisters && item.path == paths.installedApplication) {
        unregister();
    }
    if (!fm.moveExisting(item.path, item.aside, journal.temporary(item.path, entry))) {
        return; // its owner has removed it meanwhile
    }
    refuseChanged(item.aside, entry);
    try {
        fm.renameItem(item.aside, item.saved);
    } catch (const platform::Error& error) {
        if (error.number() != EXDEV) {
            throw;
        }
        const fs::path copy = journal.temporary(item.saved, entry);
        fm.copyItem(item.aside, copy);
        refuseChanged(item.aside, entry);
        if (platform::itemDigest(fm, copy) != journal.entries[entry].before) {
            throw platform::fileError("copier", item.path, "la copie diffère de l’original");
        }
        fm.renameItem(copy, item.saved);
    }
}

/// The new item appears whole and where nothing exists, or not at all.
void Transaction::put(std::size_t entry) {
    if (!plan.changes[entry].make) {
        return;
    }
    const Item item = itemOf(entry);
    fm.makeFolder(item.path.parent_path());
    try {
        fm.moveItem(item.prepared, item.path, journal.temporary(item.path, entry));
    } catch (const platform::Error& error) {
        throw error.number() != 0 ? platform::fileError("écrire", item.path, error.number()) : error;
    }
}

/// An original that the backup folder holds as a copy.
void Transaction::removeAside(std::size_t entry) {
    const fs::path aside = itemOf(entry).aside;
    if (fm.existsNoFollow(aside)) {
        refuseChanged(aside, entry);
        fm.removeItem(aside);
    }
}

/// Whatever name the item has by now; a program may have had it open.
void Transaction::refuseChanged(const fs::path& item, std::size_t entry) const {
    if (!platform::isStill(fm, item, plan.changes[entry].found, journal.entries[entry].before)) {
        throw changedFile(itemOf(entry).path);
    }
}

/// What belongs to a folder itself is copied, for a run that has to be rolled back. Somebody may put a file
/// into one at any moment; then it stays.
void Transaction::removeEmptiedFolders() const {
    for (const auto& [folder, state] : journal.folders) {
        const fs::path path = paths.home / folder;
        if (state && fm.isFolder(path) && fm.list(path).empty()) {
            fm.copyItem(path, journal.emptied(paths, folder));
            fm.removeEmptyFolder(path);
        }
    }
}

void Transaction::verify() const {
    if (!plan.installs) {
        return;
    }
    platform::forEachInParallel(plan.copies, [this](const auto& copy) {
        if (installer.hash(paths.category / copy.first) != copy.second) {
            throw InstallError("Vérification du template échouée : " + copy.first);
        }
    });
    if (platform::itemDigest(fm, paths.installedApplication) != journal.entries.back().after) {
        throw InstallError("Vérification de l’application échouée : " + paths.installedApplication.string());
    }
    checkSignature(installer, paths.installedApplication);
}

void Transaction::unregister() {
    unregisterExtension(installer, paths.installedApplication);
    journal.unregistered = true;
    const fs::path mark = journal.unregisteredMark(paths);
    fm.writeNew(mark, [](const auto&) {});
    fm.synchronize({mark, backup});
}

void Transaction::commit() {
    const auto removeQuietly = [](const auto& remove) {
        try {
            remove();
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): it is in nobody's way
        }
    };
    removeQuietly([this] { fm.removeItem(journal.staging(paths)); }); // empty by now
    if (const std::optional<std::string> doubt = file->end()) {
        throw InstallError(
            "Tout est fait, mais le disque ne l’a pas confirmé : après une coupure, l’état d’avant "
            "peut revenir.\n" +
            *doubt + "\nSauvegarde : " + backup.string());
    }
    removeQuietly([this] { removeMarks(installer, paths, journal); });
}

InstallError Transaction::rollBack(const std::exception_ptr& failure) {
    Undone undone;
    if (file) {
        undone = undo(installer, paths, journal);
        endUndone(*file, undone);
    }
    std::string text = journal.withKnownNames(localizedDescription(failure)) +
                       "\nSauvegarde : " + backup.string() + "\n" + undone.text;
    if (undone.isRestored && undone.isRegistered) {
        text += "État précédent restauré.";
    } else {
        text.pop_back(); // the last line's end
    }
    return InstallError(text);
}

} // namespace engine
