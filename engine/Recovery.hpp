#pragma once

#include "engine/JournalFile.hpp"

#include <string>
#include <vector>

namespace engine {

/// The outcome of an undo, in French sentences.
struct Undone {
    std::vector<std::string> kept;     ///< the user's own items that were in the way, and where they are now
    std::vector<std::string> missing;  ///< what cannot be given back any more
    std::vector<std::string> failures; ///< what another try may still restore
    std::string registration;          ///< why the extension is no longer registered, if it is not
    std::string leftover;              ///< why the staging folder is still there, if it is

    bool isRestored() const { return missing.empty() && failures.empty() && registration.empty(); }

    /// Whether nothing is left to do for another run.
    bool isComplete() const { return failures.empty() && leftover.empty(); }

    /// What the user has to know, a line each.
    std::string text() const;
};

/// Puts back what a run found, after a failure or a cut, from the journal, the backup folder and what exists
/// at its paths. Only what is the run's own by its digest is removed; everything else there is the user's and
/// moves into the backup folder when something has to go back to its path. What the run never reached stays
/// as it is. Never throws for a failure of the file system: it does all that it can, and may be called again
/// for the rest.
Undone undo(const PackInstaller& installer, const PackPaths& paths, const Journal& journal);

/// Ends the journal of a run that was wholly undone; another one stays. What fails is added to the outcome.
void endUndone(JournalFile& file, Undone& undone);

/// Undoes the run that was cut short in this home, if there is one, and returns what the user has to know of
/// it. Throws InstallError when something could not be put back, ConcurrentRunError when that run is alive.
std::string undoInterruptedRun(const PackInstaller& installer, const PackPaths& paths);

} // namespace engine
