#include "engine/RunJournal.hpp"

#include "platform/Error.hpp"

#include <cerrno>
#include <utility>

namespace fs = std::filesystem;

namespace engine {

AnotherRun anotherRun() {
    return AnotherRun("Une autre installation est en cours, réessayez quand elle sera terminée.");
}

namespace {

/// Holds the file at the path; nothing when there is none.
std::optional<platform::FileLock> hold(const fs::path& file) {
    try {
        std::optional<platform::FileLock> lock = platform::FileLock::acquire(file);
        if (!lock) {
            throw anotherRun();
        }
        return lock;
    } catch (const platform::Error& error) {
        if (error.number() == ENOENT || error.number() == ENOTDIR) {
            return std::nullopt;
        }
        throw;
    }
}

} // namespace

RunJournal RunJournal::begin(const platform::FileManager& files, const fs::path& file, const fs::path& draft,
                             const platform::FileManager::Source& record) {
    files.writeNew(draft, record);
    try {
        return publish(files, file, draft);
    } catch (const std::exception&) {
        files.removeItem(draft);
        throw;
    }
}

/// The file gets its final name only when it is whole, held and on the disk.
RunJournal RunJournal::publish(const platform::FileManager& files, const fs::path& file,
                               const fs::path& draft) {
    std::optional<platform::FileLock> lock = hold(draft);
    if (!lock) {
        throw anotherRun();
    }
    files.synchronize({draft});
    try {
        files.moveItem(draft, file);
    } catch (const platform::Error& error) {
        if (error.number() == EEXIST) {
            throw anotherRun();
        }
        throw;
    }
    RunJournal journal(files, file, std::move(*lock));
    try {
        files.synchronize({file.parent_path()});
    } catch (const platform::Error&) {
        journal.end();
        throw;
    }
    return journal;
}

std::optional<RunJournal> RunJournal::takeOver(const platform::FileManager& files, const fs::path& file) {
    std::optional<platform::FileLock> lock = hold(file);
    if (!lock) {
        return std::nullopt;
    }
    // The run may have ended, and another begun, between the opening and the holding.
    if (!lock->holds(file)) {
        return takeOver(files, file);
    }
    return RunJournal(files, file, std::move(*lock));
}

RunRecord RunJournal::read() const {
    return decodeRunRecord(files->read(file), file);
}

void RunJournal::end() const {
    files->removeItem(file);
    files->synchronize({file.parent_path()});
}

} // namespace engine
