#include "engine/Recovery.hpp"

#include "engine/CompanionApplication.hpp"
#include "platform/Error.hpp"
#include "platform/ItemDigest.hpp"

#include <cerrno>
#include <exception>
#include <optional>

namespace fs = std::filesystem;

namespace engine {
namespace {

std::string notRestored(const fs::path& path) {
    return "« " + path.string() + " » n’a pas pu être rétabli : ";
}

class Recovery {
public:
    Recovery(const PackInstaller& owner, const PackPaths& where, const Journal& record)
        : installer(owner), fm(owner.fm), paths(where), journal(record) {}

    Undone run() {
        for (const auto& folder : journal.folders) {
            if (folder.second) {
                attempt([&] { makeEmptiedFolder(folder.first); });
            }
        }
        for (std::size_t entry = journal.entries.size(); entry-- > 0;) {
            attempt([&] { restore(entry); }, notRestored(paths.home / journal.entries[entry].path));
        }
        attempt([&] { fm.setHidden(paths.legacy, journal.legacyHidden); });
        attempt([&] { restoreRegistration(); });
        for (auto folder = journal.folders.rbegin(); folder != journal.folders.rend(); ++folder) {
            attempt([&] { restoreFolder(paths.home / folder->first, folder->second); });
        }
        const bool isRestored = undone.isRestored;
        attempt([&] { fm.removeItem(journal.staging(paths)); });
        undone.isRestored = isRestored; // what is left of the staging folder harms nobody
        attempt([&] { fm.synchronizeFileSystems(journal.changedFolders(paths)); });
        if (undone.isComplete) {
            attempt([&] { removeMarks(installer, paths, journal); });
        }
        return std::move(undone);
    }

private:
    /// Runs one step; a failure is noted, after these words, and does not stop the others.
    template <typename Step>
    void attempt(Step step, const std::string& words = {}) {
        try {
            step();
        } catch (const std::exception&) {
            note(words + localizedDescription(std::current_exception()));
            undone.isRestored = false;
            undone.isComplete = false;
        }
    }

    void note(const std::string& line) { undone.text += line + "\n"; }

    /// With all that belongs to the folder itself.
    void makeEmptiedFolder(const std::string& folder) const {
        const fs::path copy = journal.emptied(paths, folder);
        const fs::path partial = journal.temporary(paths.home / folder, journal.entries.size(), 'c');
        fm.removeItem(partial);
        if (fm.existsNoFollow(copy) && !fm.existsNoFollow(paths.home / folder)) {
            fm.moveItem(copy, paths.home / folder, partial);
        }
    }

    void restore(std::size_t entry) {
        const auto& [name, before, after] = journal.entries[entry];
        const Item item = journal.item(paths, entry);
        for (const fs::path& unfinished :
             {journal.temporary(item.path, entry, 'n'), journal.temporary(item.path, entry),
              journal.temporary(item.saved, entry)}) {
            fm.removeItem(unfinished);
        }
        settle(item.examined, after, entry); // an undo was cut short
        const std::string now = platform::itemDigest(fm, item.path);
        const std::optional<fs::path> original = findOriginal(item, before);
        if (now != before || (before == after && original && platform::itemDigest(fm, *original) == before)) {
            original ? putBack(*original, entry) : judgeWithoutOriginal(entry, now);
        }
        settle(item.aside, before, entry); // the original is at its path again, another way
    }

    /// What existed at the path: set aside beside it, or in the backup folder. Between two disks both exist
    /// until the run ends; a folder that was set aside may be half removed by then.
    std::optional<fs::path> findOriginal(const Item& item, const std::string& before) const {
        const bool isSaved = fm.existsNoFollow(item.saved);
        if (fm.existsNoFollow(item.aside) &&
            (!isSaved || !fm.isFolder(item.aside) || platform::itemDigest(fm, item.aside) == before)) {
            return item.aside;
        }
        return isSaved ? std::optional(item.saved) : std::nullopt;
    }

    /// The run has not reached the path, or what it had saved is gone.
    void judgeWithoutOriginal(std::size_t entry, const std::string& now) {
        const auto& [name, before, after] = journal.entries[entry];
        const bool isOwn = !now.empty() && now == after;
        if (isOwn) {
            clear(entry);
        }
        if (!before.empty() && (isOwn || now.empty())) {
            note(notRestored(paths.home / name) + "il n’en existe pas de copie.");
            undone.isRestored = false;
        }
    }

    /// Somebody may write to the path at any moment, so it is cleared again when it is not free.
    void putBack(const fs::path& original, std::size_t entry) {
        const fs::path path = journal.item(paths, entry).path;
        fm.makeFolder(path.parent_path());
        for (int triesLeft = 3;; --triesLeft) {
            clear(entry);
            fm.removeItem(journal.temporary(path, entry)); // of the try before
            try {
                fm.moveItem(original, path, journal.temporary(path, entry));
                return;
            } catch (const platform::Error& error) {
                if (error.number() != EEXIST || triesLeft == 0) {
                    throw;
                }
            }
        }
    }

    /// Frees the path. The item gets another name before it is looked at, so that nobody changes it in
    /// between.
    void clear(std::size_t entry) {
        const Item item = journal.item(paths, entry);
        if (fm.moveExisting(item.path, item.examined, journal.temporary(item.path, entry))) {
            settle(item.examined, journal.entries[entry].after, entry);
        }
    }

    /// Removes an item that was at the path, if there is one, when it has this digest, and keeps it
    /// otherwise.
    void settle(const fs::path& found, const std::string& own, std::size_t entry) {
        if (!fm.existsNoFollow(found)) {
            return;
        }
        if (!own.empty() && platform::itemDigest(fm, found) == own) {
            fm.removeItem(found);
        } else {
            keep(found, entry);
        }
    }

    /// Moves an item of the user's into the backup folder.
    void keep(const fs::path& found, std::size_t entry) {
        const std::string& name = journal.entries[entry].path;
        const fs::path backup = journal.backup(paths);
        fs::path target = backup / "Kept" / name;
        for (int next = 2; fm.existsNoFollow(target); ++next) {
            target = backup / ("Kept-" + std::to_string(next)) / name;
        }
        try {
            fm.makeFolder(target.parent_path(), 0700);
            fm.removeItem(journal.temporary(target, entry)); // a disk may have failed while it was copied
            fm.moveItem(found, target, journal.temporary(target, entry));
        } catch (const std::exception&) {
            if (!fm.existsNoFollow(paths.home / name)) {
                fm.renameItem(found, paths.home / name);
            }
            throw;
        }
        note("« " + (paths.home / name).string() + " » avait changé entre-temps, et c’est conservé dans « " +
             target.string() + " ».");
    }

    /// A registration that cannot be given back stops nobody.
    void restoreRegistration() {
        const fs::path& application = paths.installedApplication;
        if (!journal.unregistered || !hasExtension(installer, application)) {
            return;
        }
        try {
            if (!installer.register_) {
                throw InstallError("--no-register");
            }
            registerExtension(installer, application);
        } catch (const std::exception&) {
            note("L’extension de « " + application.string() +
                 " » n’est plus enregistrée : " + localizedDescription(std::current_exception()));
            undone.isRegistered = false;
        }
    }

    void restoreFolder(const fs::path& path, const std::optional<FolderState>& state) const {
        if (!state) {
            fm.removeEmptyFolder(path);
        } else if (const auto now = fm.status(path); now && now->kind == platform::ItemStatus::Kind::folder) {
            fm.setPermissions(path, state->permissions);
            fm.setModified(path, state->modified);
        }
    }

    const PackInstaller& installer;
    const platform::FileManager& fm;
    const PackPaths& paths;
    const Journal& journal;
    Undone undone;
};

} // namespace

Undone undo(const PackInstaller& installer, const PackPaths& paths, const Journal& journal) {
    return Recovery(installer, paths, journal).run();
}

void removeMarks(const PackInstaller& installer, const PackPaths& paths, const Journal& journal) {
    if (journal.unregistered) {
        installer.fm.removeItem(journal.unregisteredMark(paths));
    }
    for (const auto& [folder, state] : journal.folders) {
        installer.fm.removeEmptyFolder(journal.emptied(paths, folder));
    }
}

void endUndone(JournalFile& file, Undone& undone) {
    if (!undone.isComplete) {
        return;
    }
    try {
        static_cast<void>(file.end()); // undoing once more does no harm
    } catch (const std::exception&) {
        undone.text += localizedDescription(std::current_exception()) + "\n";
        undone.isRestored = false;
        undone.isComplete = false;
    }
}

std::string undoInterruptedRun(const PackInstaller& installer, const PackPaths& paths) {
    std::optional<JournalFile> file = JournalFile::takeOver(installer, paths);
    if (!file) {
        return {};
    }
    const Journal journal = file->read();
    Undone undone = undo(installer, paths, journal);
    endUndone(*file, undone);
    const std::string saved = journal.backup(paths).string();
    if (!undone.isRestored || !undone.isComplete) {
        throw InstallError("Une installation précédente a été interrompue et l’état d’avant n’a pas pu être "
                           "rétabli entièrement.\n" +
                           undone.text + "Sauvegarde : " + saved);
    }
    return "Une installation précédente avait été interrompue : l’état d’avant a d’abord été rétabli. "
           "Sauvegarde : « " +
           saved + " ».\n" + undone.text + "\n";
}

} // namespace engine
