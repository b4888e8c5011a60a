#include "engine/PackInstaller.hpp"
#include "platform/Digest.hpp"
#include "platform/Json.hpp"
#include "tests/fuzz/FuzzTarget.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TreeSnapshot.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using platform::Json;
using Names = std::vector<std::string>;

constexpr uid_t ordinaryUser = 54321;
const std::string runId = "0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D";
const std::string support = "Library/Application Support/OrvoTransitions";
const std::string backup = support + "/Backups/" + runId;
const std::string transitions = "Movies/Motion Templates.localized/Transitions.localized";
const std::string category = transitions + "/Orvo Transitions";
const std::string legacy = transitions + "/Orvo Transitions — Lumo Pack 01";
const std::string application = "Applications/Orvo Transitions.app";

/// The input as a row of decisions; past its end every one is the first of its choices.
class Decisions {
public:
    Decisions(const std::uint8_t* data, std::size_t size) : next(data), end(data + size) {}

    unsigned below(unsigned count) { return next == end ? 0 : *next++ % count; }
    bool oneIn(unsigned count) { return below(count) == count - 1; }

    template <typename Choices>
    auto of(const Choices& choices) {
        return choices[below(static_cast<unsigned>(choices.size()))];
    }

private:
    const std::uint8_t* next;
    const std::uint8_t* end;
};

/// Where a fuzz run has root's rights, the engine has those of an ordinary user.
class OrdinaryRights {
public:
    OrdinaryRights() {
        fuzz::require(!isRoot || (::setegid(ordinaryUser) == 0 && ::seteuid(ordinaryUser) == 0));
    }
    ~OrdinaryRights() { fuzz::require(!isRoot || (::seteuid(0) == 0 && ::setegid(0) == 0)); }
    OrdinaryRights(const OrdinaryRights&) = delete;
    OrdinaryRights& operator=(const OrdinaryRights&) = delete;

    static const bool isRoot;
};

const bool OrdinaryRights::isRoot = ::geteuid() == 0;

fs::path memoryOrDisk() {
    return fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
}

std::string digestOf(const std::string& contents) {
    platform::Sha256 digest;
    digest.update(contents);
    return platform::hexadecimal(digest.finish());
}

Names filesOf(const std::string& transition) {
    return {transition + "/" + transition + ".motr", transition + "/small.png", transition + "/large.png"};
}

/// What lies around the home and is the same for every input: the pack, and a folder of somebody else's in
/// the shape of a home.
struct Surroundings {
    tests::TemporaryFolder folder{memoryOrDisk()};
    fs::path payload = folder / "payload";
    fs::path outside = folder / "outside";
    tests::TreeSnapshot before;

    Surroundings() {
        fs::permissions(folder.path(), fs::perms(0755));
        tests::writeFile(payload / "catalog.json", R"([{"name": "01 Ink Drop"}, {"name": "09 Dye Bloom"}])");
        for (const std::string transition : {"01 Ink Drop", "09 Dye Bloom"}) {
            for (const std::string& file : filesOf(transition)) {
                tests::writeFile(payload / "MotionTemplates" / file, "<ozml>" + file + "</ozml>");
            }
        }
        tests::writeFile(payload / "Orvo Transitions.app/Contents/Resources/orvo-owned.plist", ownershipList);
        for (const std::string& file :
             {category + "/01 Ink Drop/small.png", legacy + "/10 Dye Bloom/small.png",
              application + "/Contents/Resources/orvo-owned.plist",
              support + "/Backups/" + runId + "/Templates/01 Ink Drop/small.png"}) {
            tests::writeFile(outside / file, "somebody else's");
        }
        before = tests::TreeSnapshot::of(outside);
    }

    static constexpr const char* ownershipList =
        R"(<plist version="1.0"><dict><key>owner</key><string>orvo.lumopack01</string></dict></plist>)";
};

/// A home folder made from an input, with the digests that its journal and manifests may name.
class FuzzedHome {
public:
    FuzzedHome(Decisions& input, const Surroundings& around)
        : decisions(input), surroundings(around), home(around.folder / "home") {
        fs::create_directory(home);
        for (const std::string& folder : {transitions, category, legacy, support, support + "/Backups",
                                          backup, std::string("Applications")}) {
            makeFolder(folder);
        }
        makeItems();
        makeManifest(category + "/.orvo-transitions.json", category);
        makeManifest(legacy + "/.orvo-lumopack01.json", legacy);
        makeJournal();
        treasures = treasuresNow();
        setOwnersAndModes();
    }

    ~FuzzedHome() {
        open();
        fs::remove_all(home);
    }
    FuzzedHome(const FuzzedHome&) = delete;
    FuzzedHome& operator=(const FuzzedHome&) = delete;

    const fs::path& path() const { return home; }
    const std::string& journal() const { return journalText; }

    /// What was the user's and is nowhere in the home any more.
    std::set<std::string> lost() const {
        open();
        const std::set<std::string> left = treasuresNow();
        std::set<std::string> missing;
        std::ranges::set_difference(treasures, left, std::inserter(missing, missing.end()));
        return missing;
    }

    /// Whether what is none of the pack's is where it was.
    bool keepsDocuments() const {
        return fs::is_regular_file(home / "Documents") && tests::readFile(home / "Documents") == documents;
    }

    /// Whether some file of the program's making has a bit that nobody asked for.
    std::string itemsWithNewBits() const {
        open();
        std::string items;
        for (const auto& item : fs::recursive_directory_iterator(home)) {
            struct stat found {};
            if (::lstat(item.path().c_str(), &found) == 0 && S_ISREG(found.st_mode) &&
                (found.st_mode & 06000) != 0 && !withBits.contains(found.st_ino)) {
                items += item.path().string() + "\n";
            }
        }
        return items;
    }

private:
    std::string treasure() { return "the user's " + std::to_string(++lastTreasure); }

    /// The contents of files and the targets of links that are the user's.
    std::set<std::string> treasuresNow() const {
        std::set<std::string> found;
        for (const auto& item : fs::recursive_directory_iterator(home)) {
            std::string text;
            if (item.is_symlink()) {
                text = fs::read_symlink(item).string();
            } else if (item.is_regular_file()) {
                text = tests::readFile(item);
            }
            if (text.starts_with("the user's ")) {
                found.insert(text);
            }
        }
        return found;
    }

    std::string own() { return "the run's " + std::to_string(decisions.below(3)); }

    bool isFree(const fs::path& item) const {
        std::error_code failure;
        return fs::symlink_status(home / item, failure).type() == fs::file_type::not_found &&
               fs::is_directory((home / item).parent_path(), failure) &&
               fs::canonical((home / item).parent_path(), failure).string().starts_with(home.string());
    }

    void write(const fs::path& item, const std::string& contents) const {
        if (isFree(item)) {
            tests::writeFile(home / item, contents);
        }
    }

    void link(const fs::path& item, const fs::path& target) const {
        if (isFree(item)) {
            fs::create_symlink(target, home / item);
        }
    }

    /// Mostly a folder, with all above it.
    void makeFolder(const fs::path& folder) {
        if (folder.has_parent_path()) {
            makeFolder(folder.parent_path());
        }
        if (!isFree(folder)) {
            return;
        }
        switch (decisions.below(32)) {
        case 31:
            return write(folder, treasure());
        case 30:
            return link(folder, OrdinaryRights::isRoot ? surroundings.outside / folder : home / "elsewhere");
        case 29:
            fs::create_directories(home / "elsewhere");
            return link(folder, home / "elsewhere");
        case 28:
            return;
        default:
            fs::create_directory(home / folder);
        }
    }

    /// Something at a path that a run may change, or nothing. Only what the run could have made is its own.
    void makeItem(const fs::path& item, bool canBeLost = false) {
        makeFolder(item.parent_path());
        switch (decisions.below(8)) {
        case 0:
            return;
        case 1:
            return link(item, canBeLost ? "own" : treasure());
        case 2:
            if (isFree(item) && !canBeLost) {
                fs::create_directory(home / item);
                write(item / "inner", treasure());
            }
            return;
        case 3:
            return write(item, own());
        default:
            return write(item, canBeLost ? own() : treasure());
        }
    }

    void makeItems() {
        for (const std::string& folder : {category, legacy}) {
            for (const std::string transition : {"01 Ink Drop", "10 Dye Bloom"}) {
                for (const std::string& file : filesOf(transition)) {
                    paths.push_back(folder + "/" + file);
                    saved.push_back(backup + (folder == category ? "/Templates/" : "/Legacy/") + file);
                }
            }
        }
        for (const auto& [path, name] : {std::pair(category + "/.orvo-transitions.json", "manifest.json"),
                                         {legacy + "/.orvo-lumopack01.json", "legacy-manifest.json"},
                                         {transitions + "/.hidden", "hidden-list"},
                                         {application, "Orvo Transitions.app"}}) {
            paths.push_back(path);
            saved.push_back(backup + "/" + name);
        }
        if (!decisions.oneIn(4)) {
            makeFolder(application + "/Contents/Resources");
            write(application + "/Contents/Resources/orvo-owned.plist", Surroundings::ownershipList);
            write(application + "/Contents/Info.plist", treasure());
        }
        for (std::size_t entry = 0; entry < paths.size(); ++entry) {
            const bool isManifest = paths[entry].ends_with(".json");
            if (!isManifest || decisions.oneIn(8)) {
                makeItem(paths[entry]);
            }
            if (decisions.oneIn(2)) {
                makeItem(saved[entry]);
            }
            for (const char letter : {'n', 'o', 'u'}) {
                if (decisions.oneIn(8)) {
                    const fs::path& beside = decisions.oneIn(2) ? saved[entry] : paths[entry];
                    makeItem(beside.parent_path() /
                                 (".orvo-" + runId + "-" + std::to_string(decisions.below(20)) + letter),
                             letter == 'n');
                }
            }
        }
        if (decisions.oneIn(4)) {
            makeItem(backup + "/Kept/" + paths.front());
            makeItem(backup + "/Emptied-" + digestOf(category + "/01 Ink Drop") + "/small.png");
        }
        write("Documents", documents);
        write(backup + "/Documents", treasure()); // for journals that name a path that is none of the pack's
    }

    std::string digestAt(const fs::path& item) const {
        std::error_code failure;
        switch (fs::symlink_status(home / item, failure).type()) {
        case fs::file_type::regular:
            return digestOf(tests::readFile(home / item));
        case fs::file_type::symlink:
            return "link:" + digestOf(fs::read_symlink(home / item).string());
        default:
            return {};
        }
    }

    void makeManifest(const fs::path& file, const std::string& folder) {
        if (decisions.oneIn(4)) {
            return;
        }
        Json files = Json::object();
        for (const std::string& path : paths) {
            if (path.starts_with(folder + "/") && !path.ends_with(".json") && decisions.oneIn(2)) {
                const std::string digest = digestAt(path);
                files[path.substr(folder.size() + 1)] = digest.empty() ? digestOf("gone") : digest;
            }
        }
        write(file, Json::object({{"owner", "orvo.lumopack01"}, {"files", files}}).dump());
    }

    std::string somePath() {
        static const Names foreign{"Documents",   "../outside/" + application,
                                   "../home",     category,
                                   transitions,   "Library",
                                   backup,        category + "/../../../../Documents",
                                   "/etc/passwd", category + "/01 Ink Drop",
                                   "Documents",   ""};
        return decisions.oneIn(2) ? decisions.of(foreign) : decisions.of(paths);
    }

    /// A path's item before the run, or after it. No run has ever made what is the user's.
    std::string someDigest(std::size_t entry, bool isAfter) {
        switch (decisions.below(6)) {
        case 0:
            return {};
        case 1:
            return "other:";
        case 2:
            return "folder:" + digestOf("some folder");
        case 3:
            return isAfter ? digestOf(own()) : digestAt(paths[entry]);
        default:
            return isAfter ? digestOf(own()) : digestAt(saved[entry]);
        }
    }

    void makeJournal() {
        if (decisions.oneIn(8)) {
            return;
        }
        std::vector<std::string> lines{
            platform::compactJson({{"run", runId}, {"legacyHidden", decisions.oneIn(2)}})};
        std::set<std::string> folders;
        std::string entries;
        for (std::size_t entry = 0; entry < paths.size(); ++entry) {
            if (decisions.oneIn(3)) {
                continue;
            }
            const std::string path = decisions.oneIn(48) ? somePath() : paths[entry];
            entries += platform::compactJson({{"path", path},
                                              {"before", someDigest(entry, false)},
                                              {"after", someDigest(entry, true)}}) +
                       "\n";
            folders.insert(fs::path(path).parent_path().string());
        }
        for (const std::string& folder : folders) {
            Json line{{"folder", decisions.oneIn(64) ? somePath() : folder}};
            if (decisions.oneIn(2)) {
                line["permissions"] = decisions.of(std::array{0755, 0700, 0500, 0, 06777, 010777});
                line["modified"] =
                    decisions.oneIn(8) ? std::int64_t{-1} : std::int64_t{1'582'934'400'000'000'000};
            }
            if (decisions.oneIn(2)) {
                lines.push_back(platform::compactJson(line));
            }
        }
        for (const std::string& line : lines) {
            journalText += line + "\n";
        }
        journalText += entries;
        if (decisions.oneIn(8)) {
            write(backup + "/unregistered", "");
        }
        if (decisions.oneIn(24)) { // cut, or one byte changed
            const std::size_t at = journalText.size() * decisions.below(256) / 256;
            decisions.oneIn(2) ? void(journalText.resize(at))
                               : void(journalText[at] = static_cast<char>(decisions.below(256)));
        }
        write(support + "/journal.jsonl", journalText);
    }

    void setOwnersAndModes() {
        std::vector<fs::path> items{home};
        for (const auto& item : fs::recursive_directory_iterator(home)) {
            items.push_back(item.path());
        }
        constexpr std::array modes{0500, 0, 0400, 0700, 0777, 04755, 02755, 06777, 01777};
        for (auto item = items.rbegin(); item != items.rend(); ++item) {
            const uid_t owner = decisions.oneIn(64) ? 0 : ordinaryUser;
            fuzz::require(!OrdinaryRights::isRoot || ::lchown(item->c_str(), owner, owner) == 0);
            if (decisions.oneIn(16) && !fs::is_symlink(*item)) {
                ::chmod(item->c_str(), static_cast<mode_t>(decisions.of(modes)));
            }
            struct stat found {};
            if (::lstat(item->c_str(), &found) == 0 && (found.st_mode & 06000) != 0) {
                withBits.insert(found.st_ino);
            }
        }
    }

    /// Makes every folder readable, so that all can be looked at.
    void open() const {
        fs::permissions(home, fs::perms(0700));
        for (const auto& item : fs::recursive_directory_iterator(home)) {
            if (!item.is_symlink()) {
                fs::permissions(item, fs::perms(item.is_directory() ? 0700 : 0600), fs::perm_options::add);
            }
        }
    }

    Decisions& decisions;
    const Surroundings& surroundings;
    const fs::path home;
    static constexpr const char* documents = "the user's documents";
    int lastTreasure = 0;
    std::set<std::string> treasures;
    std::set<ino_t> withBits;
    std::vector<std::string> paths;
    std::vector<std::string> saved;
    std::string journalText;
};

std::string perform(const FuzzedHome& home, const Surroundings& surroundings, Decisions& decisions) {
    const bool uninstalls = decisions.oneIn(2);
    const bool registers = decisions.oneIn(2);
    engine::PackInstaller::Selection selection;
    if (decisions.oneIn(2)) {
        selection = std::set<std::string>{"01 Ink Drop"};
    }
    const bool toolFails = decisions.oneIn(8);
    platform::System system;
    system.runningApplications = [] { return Names(); };
    system.run = [&](const fs::path&, const Names&) {
        return platform::ProcessResult{toolFails ? 1 : 0, ""};
    };
    const OrdinaryRights rights;
    try {
        return engine::PackInstaller(home.path(), surroundings.payload, registers, system)
            .perform(uninstalls, selection);
    } catch (const platform::Error& error) {
        return error.what();
    } catch (const engine::InstallError& error) {
        return error.what();
    }
}

} // namespace

/// Whatever a home holds, journals of anybody's making included: a run loses nothing of the user's, changes
/// nothing outside the home, and gives no file a bit that nobody asked for.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Surroundings surroundings;
    Decisions decisions(data, size);
    const FuzzedHome home(decisions, surroundings);
    const std::string first = perform(home, surroundings, decisions);
    const std::string second = perform(home, surroundings, decisions);
    const std::string bits = home.itemsWithNewBits();
    std::set<std::string> lost = home.lost();
    if (!home.keepsDocuments()) {
        lost.insert("Documents, from where it was");
    }
    const std::string outside =
        difference(surroundings.before, tests::TreeSnapshot::of(surroundings.outside));
    if (!lost.empty() || !outside.empty() || !bits.empty()) {
        for (const std::string& treasure : lost) {
            std::cerr << "lost: " << treasure << "\n";
        }
        std::cerr << "changed outside: " << outside << "\nnew bits: " << bits << "\n"
                  << home.journal() << "\n1. " << first << "\n2. " << second << std::endl;
        std::abort();
    }
    return 0;
}
