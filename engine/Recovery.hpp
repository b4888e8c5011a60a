#pragma once

#include "engine/Journal.hpp"

#include <string>

namespace engine {

/// The outcome of an undo.
struct Undone {
    std::string text;         ///< what the user has to know, in French sentences, a line each
    bool isRestored = true;   ///< whether every item is as before
    bool isRegistered = true; ///< whether the extension is registered as before
    bool isComplete = true;   ///< whether nothing is left to do for another run
};

/// Puts back what a run found, after a failure or a cut, from the journal, the backup folder and what exists
/// at its paths. Only what is the run's own by its digest is removed; everything else there is the user's and
/// moves into the backup folder when something has to go back to its path. What the run never reached stays
/// as it is. Never throws for a failure of the file system: it does all that it can, and may be called again
/// for the rest.
Undone undo(const PackInstaller& installer, const PackPaths& paths, const Journal& journal);

/// Removes from the backup folder what only an undo needs, and nothing else.
void removeMarks(const PackInstaller& installer, const PackPaths& paths, const Journal& journal);

/// Ends the journal of a run that was wholly undone; another one stays. What fails is added to the outcome.
void endUndone(JournalFile& file, Undone& undone);

/// Undoes the run that was cut short in this home, if there is one, and returns what the user has to know of
/// it. Throws InstallError when something could not be put back, ConcurrentRunError when that run is alive.
std::string undoInterruptedRun(const PackInstaller& installer, const PackPaths& paths);

} // namespace engine
