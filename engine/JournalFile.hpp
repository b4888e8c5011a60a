#pragma once

#include "engine/Journal.hpp"
#include "platform/FileLock.hpp"

#include <filesystem>
#include <optional>

namespace engine {

/// Another run is at work, or has just been; this one has changed nothing.
class ConcurrentRunError : public InstallError {
public:
    using InstallError::InstallError;
};

/// What a run says that finds another one at work.
ConcurrentRunError concurrentRun();

/// The journal is gone, but the disk has not confirmed it.
class UnconfirmedError : public InstallError {
public:
    using InstallError::InstallError;
};

/// The journal in the support folder, from before the first change of a run until it is committed or wholly
/// undone. The run locks the file as long as it lives.
class JournalFile {
public:
    /// Writes the journal: it appears whole, locked and on the disk, with everything written before to its
    /// file system, or not at all. Throws ConcurrentRunError when another run has begun.
    static JournalFile begin(const PackInstaller& installer, const PackPaths& paths, const Journal& journal);

    /// The journal of a run that was cut short; nothing when there is none. Throws ConcurrentRunError when
    /// that run is alive, InstallError when the file is none of ours, with what to do then.
    static std::optional<JournalFile> takeOver(const PackInstaller& installer, const PackPaths& paths);

    /// What the file says. Throws InstallError as above.
    Journal read() const;

    /// Removes the file, durably. After platform::Error it still exists; after UnconfirmedError it is gone,
    /// and may be there again after a power failure.
    void end();

    /// Whether the file has been removed.
    bool isEnded() const { return ended; }

private:
    JournalFile(const PackInstaller& owner, const PackPaths& where, platform::FileLock locked)
        : installer(&owner), paths(&where), lock(std::move(locked)) {}

    const PackInstaller* installer;
    const PackPaths* paths;
    platform::FileLock lock;
    bool ended = false;
};

} // namespace engine
