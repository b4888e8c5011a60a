#include "engine/JournalFile.hpp"

#include "platform/Error.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace fs = std::filesystem;

namespace engine {
namespace {

/// Locks the file at the path; nothing when there is none.
std::optional<platform::FileLock> lockFile(const fs::path& file) {
    try {
        std::optional<platform::FileLock> lock = platform::FileLock::tryLock(file);
        if (!lock) {
            throw concurrentRun();
        }
        return lock;
    } catch (const platform::Error& error) {
        if (error.number() == ENOENT || error.number() == ENOTDIR) {
            return std::nullopt;
        }
        throw;
    }
}

/// Calls `look`; the same text for everything that is no journal of ours, so that nobody is left with a home
/// that takes no run.
template <typename Look>
auto refusingForeign(const PackPaths& paths, Look look) {
    const auto foreign = [&](const std::exception& failure) {
        return InstallError(std::string(failure.what()) + "\nDéplacez « " + paths.journal.string() +
                            " » ailleurs, puis réessayez. Les sauvegardes sont dans « " +
                            paths.backups.string() + " ».");
    };
    try {
        return look();
    } catch (const ConcurrentRunError&) {
        throw;
    } catch (const InstallError& refusal) {
        throw foreign(refusal);
    } catch (const platform::Error& error) {
        constexpr std::array noFile{ELOOP, EISDIR, ENXIO, EFBIG};
        if (std::ranges::find(noFile, error.number()) != noFile.end()) {
            throw foreign(error);
        }
        throw;
    }
}

} // namespace

ConcurrentRunError concurrentRun() {
    return ConcurrentRunError("Une autre installation est en cours, réessayez quand elle sera terminée.");
}

JournalFile JournalFile::begin(const PackInstaller& installer, const PackPaths& paths,
                               const Journal& journal) {
    const fs::path draft = journal.backup(paths) / "journal.jsonl";
    installer.fm.writeNew(draft, [&](const auto& sink) { encodeJournal(journal, sink); });
    try {
        std::optional<platform::FileLock> lock = lockFile(draft);
        if (!lock) {
            throw concurrentRun();
        }
        installer.fm.synchronizeFileSystems({draft});
        installer.fm.renameItem(draft, paths.journal);
        JournalFile file(installer, paths, std::move(*lock));
        try {
            installer.fm.synchronize({paths.support});
        } catch (const std::exception&) {
            installer.fm.removeItem(paths.journal);
            throw;
        }
        return file;
    } catch (const platform::Error& error) {
        installer.fm.removeItem(draft);
        if (error.number() == EEXIST) {
            throw concurrentRun();
        }
        throw;
    }
}

std::optional<JournalFile> JournalFile::takeOver(const PackInstaller& installer, const PackPaths& paths) {
    return refusingForeign(paths, [&]() -> std::optional<JournalFile> {
        while (std::optional<platform::FileLock> lock = lockFile(paths.journal)) {
            // The run may have ended, and another begun, between the opening and the locking.
            if (lock->locks(paths.journal)) {
                return JournalFile(installer, paths, std::move(*lock));
            }
        }
        return std::nullopt;
    });
}

Journal JournalFile::read() const {
    const platform::FileManager& fm = installer->fm;
    return refusingForeign(*paths, [&] {
        Journal journal = decodeJournal(fm.read(paths->journal, largestRecord), *paths, paths->journal);
        for (const fs::path& item : {paths->journal, journal.backup(*paths)}) {
            if (fm.existsNoFollow(item) && !fm.belongsToUser(item)) {
                throw InstallError("« " + item.string() + " » appartient à un autre utilisateur.");
            }
        }
        journal.unregistered = fm.existsNoFollow(journal.unregisteredMark(*paths));
        return journal;
    });
}

void JournalFile::end() {
    try {
        installer->fm.removeItem(paths->journal);
    } catch (const platform::Error& error) {
        if (installer->fm.existsNoFollow(paths->journal)) {
            throw;
        }
        ended = true;
        throw UnconfirmedError(error.what());
    }
    ended = true;
    try {
        installer->fm.synchronize({paths->support});
    } catch (const platform::Error& error) {
        throw UnconfirmedError(error.what());
    }
}

} // namespace engine
