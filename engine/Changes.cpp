#include "engine/Changes.hpp"

#include "platform/Error.hpp"

#include <cerrno>
#include <utility>

namespace fs = std::filesystem;

namespace engine {

Changes::Changes(const PackInstaller& owner, fs::path folder) : installer(owner), backup(std::move(folder)) {}

void Changes::preserve(const fs::path& file, const std::string& relative) {
    if (!installer.fm.occupied(file)) {
        return;
    }
    const fs::path saved = placeOfCopy(relative);
    installer.fm.moveItem(file, saved, [&] { record(file, relative); });
}

void Changes::preserveCopy(const fs::path& file, const std::string& relative) {
    const fs::path saved = placeOfCopy(relative);
    installer.fm.copyItemDurably(file, saved);
    record(file, relative);
}

void Changes::create(const fs::path& place, const std::function<void()>& action) {
    if (installer.fm.occupied(place)) {
        throw platform::fileError("écrire", place, EEXIST);
    }
    if (entries.empty() || installer.home / entries.back().place != place) { // saved just now is recorded
        record(place, {});
    }
    try {
        action();
    } catch (const platform::Error& failure) {
        entries.back().isTaken = failure.number() == EEXIST;
        throw;
    }
}

void Changes::write(const fs::path& file, const std::string& relative,
                    const platform::FileManager::Source& contents) {
    preserve(file, relative);
    installer.mkdir(file.parent_path());
    create(file, [&] { installer.fm.createAtomically(file, contents); });
}

/// Files of one folder are saved one after the other: their folder is made once.
fs::path Changes::placeOfCopy(const std::string& relative) {
    fs::path saved = backup / relative;
    if (saved.parent_path() != lastFolder) {
        installer.mkdir(saved.parent_path());
        lastFolder = saved.parent_path();
    }
    return saved;
}

void Changes::record(const fs::path& place, const std::string& saved) {
    entries.push_back({place.lexically_relative(installer.home).string(), saved, false});
}

} // namespace engine
