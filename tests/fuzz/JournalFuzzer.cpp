#include "engine/Journal.hpp"
#include "tests/fuzz/FuzzTarget.hpp"

#include <algorithm>
#include <filesystem>
#include <string>

namespace {

const engine::PackInstaller installer("/home/camille", "/payload");
const engine::PackPaths paths(installer);

/// True when the path, put below the home, names something in one of the folders that the pack works in.
bool isInPackFolders(const std::string& text) {
    const std::string path = (paths.home / text).lexically_normal().string();
    return text.find('\0') == std::string::npos && path == (paths.home / text).string() &&
           (path.starts_with(paths.transitions.string() + "/") || path == paths.installedApplication);
}

} // namespace

/// A journal that is read names nothing that no run changes, and reads the same when it is written again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    engine::Journal journal;
    if (!fuzz::accepts([&] { journal = engine::decodeJournal(fuzz::bytes(data, size), paths, "journal"); })) {
        return 0;
    }
    fuzz::require(journal.id.find('/') == std::string::npos && journal.id.find('.') == std::string::npos);
    fuzz::require(
        std::ranges::all_of(journal.entries, [](const auto& entry) { return isInPackFolders(entry.path); }));
    fuzz::require(std::ranges::all_of(journal.folders, [&](const auto& folder) {
        return std::ranges::any_of(
            journal.entries, [&](const auto& entry) { return entry.path.starts_with(folder.first + "/"); });
    }));
    fuzz::require(engine::encodeJournal(journal) == fuzz::bytes(data, size));
    return 0;
}
