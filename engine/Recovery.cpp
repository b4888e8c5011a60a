#include "engine/Recovery.hpp"

#include "engine/CompanionApplication.hpp"
#include "platform/Error.hpp"
#include "platform/Uuid.hpp"

#include <algorithm>
#include <exception>

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr const char* setAsideName = "Interrupted-";

/// Runs one step; a failure is noted and does not stop the others.
template <typename Step>
void attempt(std::vector<std::string>& problems, Step step) {
    try {
        step();
    } catch (const std::exception& failure) {
        problems.emplace_back(failure.what());
    }
}

} // namespace

Recovery::Recovery(const PackInstaller& owner, const PackPaths& places, const RunRecord& found)
    : installer(owner), paths(places), record(found), backup(places.backups / found.backup) {}

std::vector<std::string> Recovery::undo(const ChangeList& changes,
                                        const std::function<void(const fs::path&)>& discard) const {
    Problems problems;
    remakeFolders(problems);
    std::for_each(changes.rbegin(), changes.rend(),
                  [&](const Change& change) { attempt(problems, [&] { putBack(change, discard); }); });
    attempt(problems, [&] { restoreHiddenFlag(); });
    attempt(problems, [&] { restoreRegistration(); });
    removeMadeFolders(problems);
    attempt(problems, [&] { installer.fm.synchronizeFileSystems(paths.roots); });
    return problems;
}

std::vector<std::string> Recovery::undoInterrupted() const {
    Problems problems = linksInTheWay();
    if (!problems.empty()) {
        return problems;
    }
    removeUnfinished(problems);
    const fs::path kept = backup / (setAsideName + platform::freshUuid());
    const ChangeList changes = changesFoundOnDisk(problems);
    const Problems rest = undo(changes, [&](const fs::path& place) { setAside(place, kept); });
    problems.insert(problems.end(), rest.begin(), rest.end());
    const fs::path staging = paths.support / record.staging;
    attempt(problems, [&] { installer.fm.removeItem(staging); });
    return problems;
}

/// Anybody may have put links where the run worked since it was cut short.
Recovery::Problems Recovery::linksInTheWay() const {
    Problems problems;
    std::set<fs::path> checked;
    for (const Place& place : record.places) {
        for (const fs::path& item : {installer.home / place.path, backup / place.saved}) {
            if (checked.insert(item.parent_path()).second) {
                attempt(problems, [&] { paths.refuseLinksOut(installer, item); });
            }
        }
    }
    return problems;
}

/// Copies that were not finished stand beside the places, the saved copies and what was set aside before.
void Recovery::removeUnfinished(Problems& problems) const {
    std::vector<fs::path> unfinished;
    for (const Place& place : record.places) {
        unfinished.push_back(platform::FileManager::temporaryName(installer.home / place.path));
        unfinished.push_back(platform::FileManager::temporaryName(backup / place.saved));
    }
    attempt(problems, [&] {
        installer.fm.enumerate(backup, [&](const fs::path& item, bool) {
            const std::string path = item.lexically_relative(backup).string();
            if (path.starts_with(setAsideName) && platform::FileManager::isTemporaryName(item)) {
                unfinished.push_back(item);
            }
        });
    });
    for (const fs::path& item : unfinished) {
        attempt(problems, [&] {
            if (installer.fm.occupied(item)) {
                installer.fm.removeItem(item);
            }
        });
    }
}

ChangeList Recovery::changesFoundOnDisk(Problems& problems) const {
    ChangeList changes;
    for (const Place& place : record.places) {
        attempt(problems, [&] {
            if (installer.fm.occupied(backup / place.saved)) {
                changes.push_back({place.path, place.saved, false});
            } else if (!place.existed) {
                changes.push_back({place.path, {}, false});
            }
        });
    }
    return changes;
}

/// Transition folders go when a run empties them; the files need them again. One that was made again already,
/// by a recovery that was cut short, may still lack its permissions. Those of other folders are the user's.
void Recovery::remakeFolders(Problems& problems) const {
    for (const auto& [path, permissions] : record.folders) {
        const fs::path folder = installer.home / path;
        attempt(problems, [&, &bits = permissions] {
            const std::optional<unsigned> found = installer.fm.folderPermissions(folder);
            const bool isTransition =
                folder.parent_path() == paths.category || folder.parent_path() == paths.legacy;
            if (!bits || found == bits || (found && !isTransition)) {
                return;
            }
            installer.mkdir(folder);
            if (!installer.fm.isLink(folder)) { // whose target is not the run's
                installer.fm.setPermissions(folder, *bits);
            }
        });
    }
}

void Recovery::putBack(const Change& change, const std::function<void(const fs::path&)>& discard) const {
    const fs::path place = placeOf(change);
    paths.refuseLinksOut(installer, place);
    if (!change.isTaken && installer.fm.occupied(place)) {
        discard(place);
    }
    if (!change.saved.empty()) {
        installer.fm.moveItem(backup / change.saved, place);
    }
    if (const fs::path leaving = platform::FileManager::temporaryName(place);
        installer.fm.occupied(leaving)) {
        installer.fm.removeItem(leaving);
    }
}

void Recovery::restoreHiddenFlag() const {
    if (installer.exists(paths.legacy)) {
        installer.fm.setHidden(paths.legacy, record.legacyHidden);
    }
}

void Recovery::restoreRegistration() const {
    if (record.unregisters && installer.register_ && hasExtension(installer, paths.installedApplication)) {
        registerExtension(installer, paths.installedApplication);
    }
}

void Recovery::removeMadeFolders(Problems& problems) const {
    std::for_each(record.folders.rbegin(), record.folders.rend(), [&](const auto& folder) {
        if (!folder.second) {
            attempt(problems, [&] { installer.fm.removeEmptyFolder(installer.home / folder.first); });
        }
    });
}

void Recovery::setAside(const fs::path& place, const fs::path& folder) const {
    const fs::path kept = folder / place.lexically_relative(installer.home);
    try {
        installer.mkdir(kept.parent_path());
        installer.fm.moveItem(place, kept);
    } catch (const platform::Error& failure) {
        throw platform::fileError("mettre de côté", place, failure.number());
    }
}

} // namespace engine
