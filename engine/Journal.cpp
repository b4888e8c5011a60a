#include "engine/Journal.hpp"

#include "platform/Error.hpp"
#include "platform/Json.hpp"

#include <algorithm>
#include <set>

namespace fs = std::filesystem;

namespace engine {
namespace {

using platform::Json;

/// Something that no run writes; the library's own refusals of values of another type are the same.
void require(bool condition) {
    if (!condition) {
        throw Json::other_error::create(501, "foreign", nullptr);
    }
}

std::string text(const Json& object, const char* key) {
    return object.at(key).get<std::string>();
}

std::string digest(const Json& object, const char* key) {
    constexpr std::size_t length = 64;
    std::string found = text(object, key);
    const std::string_view number = std::string_view(found).substr(found.find(':') + 1);
    require(
        found.empty() || found == "other:" ||
        (number.size() == length && number.find_first_not_of("0123456789abcdef") == std::string_view::npos));
    return found;
}

std::int64_t integer(const Json& object, const char* key) {
    require(object.at(key).is_number_integer());
    return object.at(key).get<std::int64_t>();
}

std::optional<FolderState> folderState(const Json& object) {
    if (object.size() == 1) {
        return std::nullopt;
    }
    constexpr std::int64_t most = 07777;
    const std::int64_t permissions = integer(object, "permissions");
    require(object.size() == 3 && permissions >= 0 && permissions <= most);
    return FolderState{static_cast<unsigned>(permissions), integer(object, "modified")};
}

JournalEntry entry(const Json& object, const PackPaths& paths) {
    JournalEntry found{text(object, "path"), digest(object, "before"), digest(object, "after")};
    require(object.size() == 3 && paths.backupPath(found.path).has_value());
    return found;
}

void decodeLine(Journal& journal, const Json& object, const PackPaths& paths) {
    if (journal.id.empty()) {
        constexpr std::size_t uuidLength = 36;
        journal.id = text(object, "run");
        journal.legacyHidden = object.at("legacyHidden").get<bool>();
        require(object.size() == 2 && journal.id.size() == uuidLength &&
                journal.id.find_first_not_of("0123456789ABCDEF-") == std::string::npos);
    } else if (object.contains("folder")) {
        require(journal.folders.emplace(text(object, "folder"), folderState(object)).second);
    } else if (object.contains("path")) {
        journal.entries.push_back(entry(object, paths));
    } else {
        journal.unregistered = object.at("unregistered").get<bool>();
        require(object.size() == 1 && journal.unregistered);
    }
}

/// A folder that a run makes leads to a path that it changes; one that it empties holds a template's file.
void checkFolders(const Journal& journal, const PackPaths& paths) {
    std::set<std::string> above;
    std::set<std::string> emptied;
    for (const JournalEntry& entry : journal.entries) {
        fs::path folder = fs::path(entry.path).parent_path();
        if (paths.backupPath(entry.path)->find('/') != std::string::npos) {
            emptied.insert(folder.string());
        }
        for (; !folder.empty() && above.insert(folder.string()).second; folder = folder.parent_path()) {
        }
    }
    for (const auto& [path, state] : journal.folders) {
        require(state ? emptied.contains(path) : above.contains(path));
    }
}

Journal decoded(std::string_view text, const PackPaths& paths, const fs::path& source) {
    Journal journal;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        if (end == std::string_view::npos) {
            require(!journal.id.empty() && unregisteredLine.starts_with(text));
            break;
        }
        decodeLine(journal, platform::parseJson(text.substr(0, end), source), paths);
        text.remove_prefix(end + 1);
    }
    require(!journal.id.empty());
    checkFolders(journal, paths);
    return journal;
}

} // namespace

fs::path Journal::saved(const PackPaths& paths, const JournalEntry& entry) const {
    return backup(paths) / paths.backupPath(entry.path).value();
}

fs::path Journal::emptied(const PackPaths& paths, const std::string& folder) const {
    const fs::path file = paths.backupPath(folder + "/small.png").value();
    return backup(paths) / "Emptied" / file.parent_path();
}

std::vector<fs::path> Journal::changedFolders(const PackPaths& paths) const {
    std::set<fs::path> changed{paths.support};
    for (const JournalEntry& entry : entries) {
        changed.insert((paths.home / entry.path).parent_path());
    }
    return {changed.begin(), changed.end()};
}

fs::path Journal::temporary(const fs::path& path, std::size_t entry, char letter) const {
    return path.parent_path() / (".orvo-" + id + "-" + std::to_string(entry) + letter);
}

void encodeJournal(const Journal& journal, const std::function<void(std::string_view)>& sink) {
    const auto quoted = [](const std::string& text) { return platform::compactJson(text); };
    sink("{\"run\":" + quoted(journal.id) + ",\"legacyHidden\":" + (journal.legacyHidden ? "true" : "false") +
         "}\n");
    for (const auto& [path, state] : journal.folders) {
        sink("{\"folder\":" + quoted(path));
        if (state) {
            sink(",\"permissions\":" + std::to_string(state->permissions) +
                 ",\"modified\":" + std::to_string(state->modified));
        }
        sink("}\n");
    }
    for (const JournalEntry& entry : journal.entries) {
        sink("{\"path\":" + quoted(entry.path) + ",\"before\":" + quoted(entry.before) +
             ",\"after\":" + quoted(entry.after) + "}\n");
    }
    if (journal.unregistered) {
        sink(unregisteredLine);
    }
}

Journal decodeJournal(std::string_view text, const PackPaths& paths, const fs::path& source) {
    const InstallError refusal("« " + source.string() + " » n’est pas un journal d’installation.");
    try {
        return decoded(text, paths, source);
    } catch (const Json::exception&) {
        throw refusal;
    } catch (const platform::Error&) { // not JSON
        throw refusal;
    }
}

} // namespace engine
