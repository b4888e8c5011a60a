#pragma once

#include "engine/Journal.hpp"
#include "engine/Plan.hpp"

#include <exception>
#include <filesystem>
#include <optional>

namespace engine {

/// Carries a plan out, all or nothing.
///
/// No cut loses a file, and no order in which a disk keeps names that were not synced: new files are made
/// under names that nobody knows, the originals go to the backup folder by renames, which a disk keeps wholly
/// or not at all, and nothing new gets its path before all of that is on the disk. Between two disks an
/// original stays in its folder, under a name of this run's, until everything else is done.
class Transaction {
public:
    Transaction(const PackInstaller& installer, const PackPaths& paths, Plan& plan);

    /// Writes the journal. Throws ConcurrentRunError when another run came first; nothing has changed then.
    void begin();

    /// Does everything that the plan lists, and checks it. After a throw the run has to be rolled back.
    void apply();

    /// Ends the journal: from here on the run is committed. Throws platform::Error when it is not,
    /// InstallError when it is and the disk has not confirmed it.
    void commit();

    /// True from the moment at which the journal is gone.
    bool isCommitted() const { return file && file->isEnded(); }

    /// Puts the previous state back and returns the error for the user, with the outcome.
    InstallError rollBack(const std::exception_ptr& failure);

private:
    void refuseOvertakenRun();
    void prepare(std::size_t entry);
    void preserve(std::size_t entry);
    void put(std::size_t entry);
    void removeAside(std::size_t entry);
    void refuseChanged(const std::filesystem::path& item, std::size_t entry) const;
    void verify() const;
    void removeEmptiedFolders() const;
    void unregister();

    Item itemOf(std::size_t entry) const { return journal.item(paths, entry); }

    const PackInstaller& installer;
    const platform::FileManager& fm;
    const PackPaths& paths;
    const Plan& plan;
    Journal& journal; ///< the plan's
    const std::filesystem::path backup;
    std::optional<JournalFile> file;
};

} // namespace engine
