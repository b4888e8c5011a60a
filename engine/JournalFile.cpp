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

/// The same text for everything that is no journal of ours, so that nobody is left with a home that takes no
/// run.
InstallError foreignJournal(const PackPaths& paths, const std::exception& failure) {
    return InstallError(std::string(failure.what()) + "\nDéplacez « " + paths.journal.string() +
                        " » ailleurs, puis réessayez. Les sauvegardes sont dans « " + paths.backups.string() +
                        " ».");
}

bool isNoFile(const platform::Error& error) {
    constexpr std::array kinds{ELOOP, EISDIR, ENXIO, EFBIG};
    return std::ranges::find(kinds, error.number()) != kinds.end();
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
    try {
        std::optional<platform::FileLock> lock = lockFile(paths.journal);
        if (!lock) {
            return std::nullopt;
        }
        // The run may have ended, and another begun, between the opening and the locking.
        if (!lock->locks(paths.journal)) {
            return takeOver(installer, paths);
        }
        return JournalFile(installer, paths, std::move(*lock));
    } catch (const platform::Error& error) {
        if (isNoFile(error)) {
            throw foreignJournal(paths, error);
        }
        throw;
    }
}

Journal JournalFile::read() const {
    const platform::FileManager& fm = installer->fm;
    try {
        Journal journal = decodeJournal(fm.read(paths->journal, largestRecord), *paths, paths->journal);
        for (const fs::path& item : {paths->journal, journal.backup(*paths)}) {
            if (fm.existsNoFollow(item) && !fm.belongsToUser(item)) {
                throw InstallError("« " + item.string() + " » appartient à un autre utilisateur.");
            }
        }
        return journal;
    } catch (const InstallError& refusal) {
        throw foreignJournal(*paths, refusal);
    } catch (const platform::Error& error) {
        if (isNoFile(error)) {
            throw foreignJournal(*paths, error);
        }
        throw;
    }
}

void JournalFile::recordUnregistered() const {
    installer->fm.appendDurably(paths->journal, unregisteredLine);
}

void JournalFile::end() {
    std::string doubt;
    try {
        installer->fm.removeItem(paths->journal);
    } catch (const platform::Error& error) {
        if (installer->fm.existsNoFollow(paths->journal)) {
            throw;
        }
        doubt = error.what();
    }
    ended = true;
    try {
        installer->fm.synchronize({paths->support});
    } catch (const platform::Error& error) {
        doubt = error.what();
    }
    if (!doubt.empty()) {
        throw UnconfirmedError(doubt);
    }
}

} // namespace engine
