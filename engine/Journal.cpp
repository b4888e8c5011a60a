#include "engine/Journal.hpp"

#include "platform/Error.hpp"
#include "platform/ItemDigest.hpp"
#include "platform/Json.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
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

bool isDigest(const std::string& text) {
    constexpr std::size_t length = 64;
    const std::string_view number = std::string_view(text).substr(text.find(':') + 1);
    return text.empty() || text == "other:" ||
           (number.size() == length &&
            number.find_first_not_of("0123456789abcdef") == std::string_view::npos);
}

void decodeLine(Journal& journal, const Json& line) {
    if (journal.id.empty()) {
        line.at("run").get_to(journal.id);
        line.at("legacyHidden").get_to(journal.legacyHidden);
    } else if (line.contains("folder")) {
        auto& state = journal.folders[line.at("folder").get<std::string>()];
        if (line.contains("permissions")) {
            using Whole = const Json::number_integer_t&; // a fraction may be one that no whole number is near
            state = FolderState{static_cast<unsigned>(line.at("permissions").get_ref<Whole>()),
                                line.at("modified").get_ref<Whole>()};
        }
    } else {
        journal.entries.push_back({line.at("path"), line.at("before"), line.at("after")});
    }
}

/// A folder that a run makes leads to a path that it changes; one that it empties holds a template's file.
void check(const Journal& journal, const PackPaths& paths) {
    constexpr std::size_t uuidLength = 36;
    constexpr unsigned allPermissions = 07777;
    require(journal.id.size() == uuidLength &&
            journal.id.find_first_not_of("0123456789ABCDEF-") == std::string::npos);
    std::set<std::string> above;
    std::set<std::string> emptied;
    for (const JournalEntry& entry : journal.entries) {
        require(paths.backupPath(entry.path) && isDigest(entry.before) && isDigest(entry.after));
        fs::path folder = fs::path(entry.path).parent_path();
        if (paths.isTemplate(entry.path)) {
            emptied.insert(folder.string());
        }
        for (; !folder.empty() && above.insert(folder.string()).second; folder = folder.parent_path()) {
        }
    }
    for (const auto& [path, state] : journal.folders) {
        require(state ? emptied.contains(path) && state->permissions <= allPermissions
                      : above.contains(path));
    }
}

/// Calls `look`; the same text for everything that is no journal of ours, so that nobody is left with a home
/// that takes no run.
template <typename Look>
auto refusingForeign(const PackPaths& paths, Look look) {
    const auto foreign = [&](const std::exception& failure) {
        return InstallError(std::string(failure.what()) + "\nDéplacez « " + paths.journal.string() +
                            " » ailleurs, puis réessayez. Les sauvegardes sont dans « " +
                            paths.backups.string() + " ».");
    };
    try {
        return look();
    } catch (const InstallError& refusal) {
        throw foreign(refusal);
    } catch (const platform::Error& error) {
        if (error.number() == EWOULDBLOCK) {
            throw concurrentRun();
        }
        constexpr std::array noFile{ELOOP, EISDIR, ENXIO, EFBIG};
        if (std::ranges::find(noFile, error.number()) != noFile.end()) {
            throw foreign(error);
        }
        throw;
    }
}

} // namespace

Item Journal::item(const PackPaths& paths, std::size_t entry) const {
    const fs::path path = paths.home / entries[entry].path;
    const bool isStaged = path == paths.installedApplication;
    return {path, isStaged ? staging(paths) / applicationName : temporary(path, entry, 'n'),
            temporary(path, entry, 'o'), backup(paths) / paths.backupPath(entries[entry].path).value(),
            temporary(path, entry, 'u')};
}

fs::path Journal::emptied(const PackPaths& paths, const std::string& folder) const {
    return backup(paths) / ("Emptied-" + platform::textDigest(folder));
}

std::vector<fs::path> Journal::changedFolders(const PackPaths& paths) const {
    std::set<std::string> changed{paths.support.string()};
    for (const JournalEntry& entry : entries) {
        changed.insert((paths.home / entry.path).parent_path().string());
    }
    return {changed.begin(), changed.end()};
}

fs::path Journal::temporary(const fs::path& path, std::size_t entry, char letter) const {
    return path.parent_path() / (".orvo-" + id + "-" + std::to_string(entry) + letter);
}

std::string Journal::withKnownNames(std::string text) const {
    const std::string prefix = ".orvo-" + id + "-";
    for (std::size_t start = text.find(prefix); start != std::string::npos; start = text.find(prefix)) {
        const std::size_t number = start + prefix.size();
        const std::size_t letter = text.find_first_not_of("0123456789", number);
        const JournalEntry& entry = entries.at(std::stoul(text.substr(number, letter - number)));
        text.replace(start, letter + 1 - start, fs::path(entry.path).filename().string());
    }
    return text;
}

std::string encodeJournal(const Journal& journal) {
    std::string text;
    const auto add = [&](const Json& line) { text += platform::compactJson(line) + "\n"; };
    add({{"run", journal.id}, {"legacyHidden", journal.legacyHidden}});
    for (const auto& [path, state] : journal.folders) {
        state ? add({{"folder", path}, {"permissions", state->permissions}, {"modified", state->modified}})
              : add({{"folder", path}});
    }
    for (const JournalEntry& entry : journal.entries) {
        add({{"path", entry.path}, {"before", entry.before}, {"after", entry.after}});
    }
    return text;
}

Journal decodeJournal(std::string_view text, const PackPaths& paths, const fs::path& source) {
    const InstallError refusal("« " + source.string() + " » n’est pas un journal d’installation.");
    try {
        Journal journal;
        for (std::string_view rest = text; !rest.empty();) {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            decodeLine(journal, platform::parseJson(line, source));
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        }
        check(journal, paths);
        require(encodeJournal(journal) == text);
        return journal;
    } catch (const Json::exception&) {
        throw refusal;
    } catch (const platform::Error&) { // not JSON
        throw refusal;
    }
}

ConcurrentRunError concurrentRun() {
    return ConcurrentRunError("Une autre installation est en cours, réessayez quand elle sera terminée.");
}

JournalFile JournalFile::begin(const PackInstaller& installer, const PackPaths& paths,
                               const Journal& journal) {
    const fs::path draft = journal.backup(paths) / "journal.jsonl";
    installer.fm.writeNew(draft, [&](const auto& sink) { sink(encodeJournal(journal)); });
    try {
        std::optional<platform::FileLock> locked = platform::FileLock::lock(draft);
        if (!locked) {
            throw concurrentRun();
        }
        installer.fm.synchronizeFileSystems({draft});
        installer.fm.renameItem(draft, paths.journal);
        JournalFile file(installer, paths, std::move(*locked));
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
    return refusingForeign(paths, [&]() -> std::optional<JournalFile> {
        while (std::optional<platform::FileLock> locked = platform::FileLock::lock(paths.journal)) {
            // The run may have ended, and another begun, between the opening and the locking.
            if (locked->locks(paths.journal)) {
                return JournalFile(installer, paths, std::move(*locked));
            }
        }
        return std::nullopt;
    });
}

Journal JournalFile::read() const {
    const platform::FileManager& fm = installer->fm;
    return refusingForeign(*paths, [&] {
        Journal journal = decodeJournal(fm.read(paths->journal, largestRecord), *paths, paths->journal);
        for (const fs::path& item : {paths->journal, journal.backup(*paths)}) {
            if (fm.existsNoFollow(item) && !fm.belongsToUser(item)) {
                throw InstallError("« " + item.string() + " » appartient à un autre utilisateur.");
            }
        }
        journal.unregistered = fm.existsNoFollow(journal.unregisteredMark(*paths));
        return journal;
    });
}

std::optional<std::string> JournalFile::end() {
    try {
        installer->fm.removeItem(paths->journal);
        ended = true;
        installer->fm.synchronize({paths->support});
        return std::nullopt;
    } catch (const std::exception&) { // a disk that fails, or memory that ends
        ended = ended || !installer->fm.existsNoFollow(paths->journal);
        if (!ended) {
            throw;
        }
        return localizedDescription(std::current_exception());
    }
}

} // namespace engine
