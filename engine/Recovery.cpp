#include "engine/Recovery.hpp"

#include "engine/CompanionApplication.hpp"
#include "engine/Description.hpp"
#include "engine/ItemDigest.hpp"
#include "platform/Error.hpp"

#include <algorithm>
#include <cerrno>
#include <exception>

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
        std::size_t folders = journal.entries.size();
        for (const auto& [folder, state] : journal.folders) {
            ++folders;
            if (state) {
                attempt([&, &path = folder] { restoreEmptiedFolder(path, folders); });
            }
        }
        for (std::size_t number = journal.entries.size(); number-- > 0;) {
            attempt([&] { restore(number); }, notRestored(paths.home / journal.entries[number].path));
        }
        attempt([&] {
            if (installer.exists(paths.legacy)) {
                fm.setHidden(paths.legacy, journal.legacyHidden);
            }
        });
        attempt([&] { restoreRegistration(); });
        restoreFolders();
        removeStaging();
        attempt([&] { fm.synchronizeFileSystems(journal.changedFolders(paths)); });
        return std::move(undone);
    }

private:
    /// Runs one step; a failure is noted, after these words, and does not stop the others.
    template <typename Step>
    void attempt(Step step, const std::string& words = {}) {
        try {
            step();
        } catch (const std::exception&) {
            undone.failures.push_back(words + localizedDescription(std::current_exception()));
        }
    }

    void restoreEmptiedFolder(const std::string& folder, std::size_t number) {
        const fs::path emptied = journal.emptied(paths, folder);
        const fs::path path = paths.home / folder;
        const fs::path aside = journal.temporary(path, number, 'o');
        fm.removeItem(journal.temporary(emptied, number, 'n'));
        fm.removeItem(journal.temporary(path, number, 'n'));
        for (const fs::path& source : {aside, emptied}) {
            if (fm.existsNoFollow(source) && !fm.existsNoFollow(path)) {
                move(source, path, number);
            }
        }
        fm.removeEmptyFolder(aside); // its owner has made it again
        if (fm.existsNoFollow(aside)) {
            keep(aside, path, number);
        }
    }

    void restore(std::size_t number) {
        const JournalEntry& entry = journal.entries[number];
        const fs::path path = paths.home / entry.path;
        removeUnfinished(path, number);
        const std::string now = itemDigest(installer, path);
        const std::optional<fs::path> original = findOriginal(number);
        const bool isAsBefore = now == entry.before && (entry.before != entry.after || !original ||
                                                        itemDigest(installer, *original) != entry.before);
        if (!isAsBefore && original) {
            putBack(*original, path, number);
        } else if (!isAsBefore) {
            judgeWithoutOriginal(path, number, now);
        }
        discardAside(path, number);
    }

    /// Items that were being made, and one that an undo was looking at when it was cut short.
    void removeUnfinished(const fs::path& path, std::size_t number) {
        fm.removeItem(journal.temporary(path, number, 'n'));
        fm.removeItem(journal.temporary(savedPath(number), number, 'n'));
        if (const fs::path item = journal.temporary(path, number, 'u'); fm.existsNoFollow(item)) {
            settle(item, path, number);
        }
    }

    /// What existed at the path: set aside beside it, or in the backup folder. Between two disks both exist
    /// until the run ends; a folder that was set aside may be half removed by then.
    std::optional<fs::path> findOriginal(std::size_t number) const {
        const JournalEntry& entry = journal.entries[number];
        const fs::path aside = journal.temporary(paths.home / entry.path, number, 'o');
        const fs::path saved = savedPath(number);
        const bool isSaved = fm.existsNoFollow(saved);
        if (fm.existsNoFollow(aside) &&
            (!isSaved || !fm.isFolder(aside) || itemDigest(installer, aside) == entry.before)) {
            return aside;
        }
        return isSaved ? std::optional(saved) : std::nullopt;
    }

    /// The run has not reached the path, or what it had saved is gone.
    void judgeWithoutOriginal(const fs::path& path, std::size_t number, const std::string& now) {
        const JournalEntry& entry = journal.entries[number];
        const bool isOwn = !now.empty() && now == entry.after;
        if (isOwn) {
            clear(path, number);
        }
        if (!entry.before.empty() && (isOwn || now.empty())) {
            undone.missing.push_back(notRestored(path) + "il n’en existe pas de copie.");
        }
    }

    /// Somebody may write to the path at any moment, so it is cleared again when it is not free.
    void putBack(const fs::path& original, const fs::path& path, std::size_t number) {
        fm.makeFolder(path.parent_path());
        for (int triesLeft = 3;; --triesLeft) {
            clear(path, number);
            try {
                move(original, path, number);
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
    void clear(const fs::path& path, std::size_t number) {
        const fs::path item = journal.temporary(path, number, 'u');
        try {
            fm.renameItem(path, item);
        } catch (const platform::Error& error) {
            if (error.number() == ENOENT) {
                return;
            }
            if (error.number() != EXDEV) {
                throw;
            }
            settle(path, path, number);
            return;
        }
        settle(item, path, number);
    }

    void settle(const fs::path& item, const fs::path& path, std::size_t number) {
        const std::string& own = journal.entries[number].after;
        if (!own.empty() && itemDigest(installer, item) == own) {
            fm.removeItem(item);
        } else {
            keep(item, path, number);
        }
    }

    /// Moves an item of the user's that was found at the path into the backup folder.
    void keep(const fs::path& item, const fs::path& path, std::size_t number) {
        const fs::path backup = journal.backup(paths);
        fs::path target = backup / "Kept" / paths.inHome(path);
        for (int next = 2; fm.existsNoFollow(target); ++next) {
            target = backup / ("Kept-" + std::to_string(next)) / paths.inHome(path);
        }
        try {
            fm.makeFolder(target.parent_path(), 0700);
            move(item, target, number);
        } catch (const std::exception&) {
            if (item != path && !fm.existsNoFollow(path)) {
                fm.renameItem(item, path);
            }
            throw;
        }
        undone.kept.push_back("« " + path.string() +
                              " » avait changé entre-temps, et c’est conservé dans « " + target.string() +
                              " ».");
    }

    /// What was set aside and is needed no more.
    void discardAside(const fs::path& path, std::size_t number) {
        const fs::path aside = journal.temporary(path, number, 'o');
        if (!fm.existsNoFollow(aside)) {
            return;
        }
        if (itemDigest(installer, aside) == journal.entries[number].before) {
            fm.removeItem(aside);
        } else {
            keep(aside, path, number);
        }
    }

    void move(const fs::path& from, const fs::path& to, std::size_t number) {
        const fs::path partial = journal.temporary(to, number, 'n');
        fm.removeItem(partial);
        fm.moveItem(from, to, partial);
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
            undone.registration =
                "L’extension de « " + application.string() +
                " » n’est plus enregistrée : " + localizedDescription(std::current_exception());
        }
    }

    void restoreFolders() {
        for (auto folder = journal.folders.rbegin(); folder != journal.folders.rend(); ++folder) {
            attempt([&] {
                const fs::path path = paths.home / folder->first;
                if (!folder->second) {
                    fm.removeEmptyFolder(path);
                } else if (const auto status = fm.status(path);
                           status && status->kind == platform::ItemStatus::Kind::folder) {
                    fm.setPermissions(path, folder->second->permissions);
                    fm.setModified(path, folder->second->modified);
                }
            });
        }
    }

    void removeStaging() {
        try {
            fm.removeItem(journal.staging(paths));
        } catch (const std::exception&) {
            undone.leftover = localizedDescription(std::current_exception());
        }
    }

    fs::path savedPath(std::size_t number) const { return journal.saved(paths, journal.entries[number]); }

    const PackInstaller& installer;
    const platform::FileManager& fm;
    const PackPaths& paths;
    const Journal& journal;
    Undone undone;
};

} // namespace

std::string Undone::text() const {
    std::string text;
    const auto add = [&](const std::string& line) { text += line + "\n"; };
    std::ranges::for_each(kept, add);
    std::ranges::for_each(missing, add);
    std::ranges::for_each(failures, add);
    if (!registration.empty()) {
        add(registration);
    }
    return text;
}

Undone undo(const PackInstaller& installer, const PackPaths& paths, const Journal& journal) {
    return Recovery(installer, paths, journal).run();
}

void endUndone(JournalFile& file, Undone& undone) {
    if (!undone.isComplete()) {
        return;
    }
    try {
        file.end();
    } catch (const UnconfirmedError&) { // NOLINT(bugprone-empty-catch): undoing once more does no harm
    } catch (const std::exception&) {
        undone.failures.push_back(localizedDescription(std::current_exception()));
    }
}

std::string undoInterruptedRun(const PackInstaller& installer, const PackPaths& paths) {
    std::optional<JournalFile> file = JournalFile::takeOver(installer, paths);
    if (!file) {
        return {};
    }
    const Journal journal = file->read();
    Undone undone = undo(installer, paths, journal);
    if (!undone.leftover.empty()) {
        undone.failures.push_back(undone.leftover);
    }
    endUndone(*file, undone);
    const std::string saved = journal.backup(paths).string();
    if (!undone.missing.empty() || !undone.failures.empty()) {
        throw InstallError("Une installation précédente a été interrompue et l’état d’avant n’a pas pu être "
                           "rétabli entièrement.\n" +
                           undone.text() + "Sauvegarde : " + saved);
    }
    return "Une installation précédente avait été interrompue : l’état d’avant a d’abord été rétabli. "
           "Sauvegarde : « " +
           saved + " ».\n" + undone.text() + "\n";
}

} // namespace engine
