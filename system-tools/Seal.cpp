#include "system-tools/Seal.hpp"

#include "platform/Digest.hpp"
#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "platform/PropertyList.hpp"
#include "system-tools/ResourceRules.hpp"

#include <fstream>
#include <set>

namespace fs = std::filesystem;

namespace systemtools {
namespace {

constexpr const char* badResource = "a sealed resource is missing or invalid";

const platform::FileManager& files() {
    return platform::FileManager::defaultManager();
}

std::string digest(const fs::path& file) {
    platform::Sha256 sha256;
    files().read(file, [&](std::string_view piece) { sha256.update(piece); });
    return sha256.finish();
}

void write(const fs::path& file, const std::string& text) {
    if (!(std::ofstream(file) << text << std::flush)) {
        throw platform::fileError("écrire", file, errno);
    }
}

bool isFolder(const fs::path& path) {
    return fs::is_directory(fs::symlink_status(path));
}

/// An application, an extension or a framework.
struct Bundle {
    fs::path contents; ///< the folder that the seal covers; names are relative to it
    std::string infoList = "Info.plist";
    std::string executable = "MacOS/";

    explicit Bundle(const fs::path& path) : contents(path / "Contents") {
        if (fs::is_directory(path / "Versions/Current")) {
            contents = fs::canonical(path / "Versions/Current");
            infoList = "Resources/Info.plist";
            executable.clear();
        }
        if (!fs::is_regular_file(contents / infoList)) {
            throw SealFailure("bundle format unrecognized, invalid, or unsuitable");
        }
        const fs::path source = contents / infoList;
        executable += platform::parsePropertyList(files().read(source), source).strings["CFBundleExecutable"];
    }

    fs::path resourceSeal() const { return contents / "_CodeSignature/CodeResources"; }
    fs::path portableSeal() const { return contents / "_CodeSignature/PortableSeal"; }

    /// What the portable seal holds: a line for each file that CodeResources cannot cover.
    std::string signature() const {
        std::string lines;
        for (const fs::path& file : {resourceSeal(), contents / infoList, contents / executable}) {
            lines += platform::hexadecimal(digest(file)) + "  " + file.filename().native() + "\n";
        }
        return lines;
    }

    /// The names of what CodeResources has to cover. What is in a nested bundle is covered by that one's.
    std::set<std::string> items() const {
        std::set<std::string> names;
        for (fs::recursive_directory_iterator item(contents), end; item != end; ++item) {
            const std::string name = item->path().lexically_relative(contents);
            const std::string rule = ruleFor(name);
            const bool isBundle = rule == "nested" && isFolder(*item) && item->path().has_extension();
            if (isBundle || name == "_CodeSignature") {
                item.disable_recursion_pending();
            }
            if (isBundle || (!isFolder(*item) && rule != "omit" && name != executable)) {
                names.insert(name);
            }
        }
        return names;
    }
};

void inNested(const fs::path& path, void (*action)(const fs::path&)) {
    try {
        action(path);
    } catch (const SealFailure& failure) {
        throw SealFailure(failure.what() + ("\nIn subcomponent: " + path.native()));
    }
}

const char* keyFor(const fs::path& item) {
    return fs::is_symlink(item) ? "symlink" : "hash2";
}

/// What the seal says of an item at its key: where a link points, or the digest of a file, for a nested
/// bundle that of its portable seal. Null for what cannot be sealed, such as a pipe.
PropertyList valueFor(const fs::path& item) {
    if (fs::is_symlink(item)) {
        return PropertyList(plist_new_string(fs::read_symlink(item).c_str()));
    }
    const fs::path file = fs::is_directory(item) ? Bundle(item).portableSeal() : item;
    if (!fs::is_regular_file(file)) {
        return nullptr;
    }
    const std::string bytes = digest(file);
    return PropertyList(plist_new_data(bytes.data(), bytes.size()));
}

plist_t makeEntry(const fs::path& item) {
    if (isFolder(item)) {
        inNested(item, seal);
    }
    PropertyList value = valueFor(item);
    if (!value) {
        throw SealFailure(badResource + ("\nfile added: " + item.native()));
    }
    const plist_t entry = plist_new_dict();
    plist_dict_set_item(entry, keyFor(item), value.release());
    return entry;
}

/// True when the item is as its entry says.
bool matches(const fs::path& item, bool isCode, plist_t entry) {
    if (isFolder(item)) {
        inNested(item, verify);
    }
    if (const plist_t sealed = plist_dict_get_item(entry, keyFor(item))) {
        const PropertyList value = valueFor(item);
        return value && xmlOf(sealed) == xmlOf(value.get());
    }
    // What was signed on macOS carries its signature itself.
    return isCode && !fs::is_symlink(item) && plist_dict_get_item(entry, "cdhash") != nullptr;
}

/// Reads CodeResources, and checks it by the portable seal.
PropertyList readSeal(const Bundle& bundle) {
    if (!fs::exists(bundle.resourceSeal())) {
        throw SealFailure("code object is not signed at all");
    }
    const std::string text = files().read(bundle.resourceSeal());
    plist_t root = nullptr;
    plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &root);
    PropertyList seal(root);
    if (fs::exists(bundle.portableSeal()) ? files().read(bundle.portableSeal()) != bundle.signature()
                                          : plist_dict_get_item(root, "portable") != nullptr) {
        throw SealFailure("invalid signature (code or signature have been modified)");
    }
    return seal;
}

void requireStandard(const std::map<std::string, plist_t>& rules) {
    if (rules.empty()) {
        throw SealFailure("invalid resource directory (directory or signature have been modified)");
    }
    const PropertyList standard = makeRuleTable();
    for (const auto& [expression, rule] : rules) {
        if (xmlOf(rule) != xmlOf(plist_dict_get_item(standard.get(), expression.c_str()))) {
            throw SealFailure("resource envelope is obsolete (custom omit rules)");
        }
    }
}

} // namespace

void seal(const fs::path& path) {
    const Bundle bundle(path);
    const PropertyList seal(plist_new_dict());
    const plist_t sealed = plist_new_dict();
    plist_dict_set_item(seal.get(), "files2", sealed);
    plist_dict_set_item(seal.get(), "portable", plist_new_bool(1));
    plist_dict_set_item(seal.get(), "rules2", makeRuleTable().release());
    for (const std::string& name : bundle.items()) {
        plist_dict_set_item(sealed, name.c_str(), makeEntry(bundle.contents / name));
    }
    fs::create_directories(bundle.resourceSeal().parent_path());
    write(bundle.resourceSeal(), xmlOf(seal.get()));
    write(bundle.portableSeal(), bundle.signature());
}

void verify(const fs::path& path) {
    const Bundle bundle(path);
    const PropertyList seal = readSeal(bundle);
    requireStandard(entriesOf(plist_dict_get_item(seal.get(), "rules2")));
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
        const fs::path name = entry.path().filename();
        if (bundle.contents == path / "Contents" && name != "Contents" && name != ".DS_Store") {
            throw SealFailure("unsealed contents present in the bundle root");
        }
    }
    auto sealed = entriesOf(plist_dict_get_item(seal.get(), "files2"));
    std::string differences;
    for (const std::string& name : bundle.items()) {
        const fs::path item = bundle.contents / name;
        const auto entry = sealed.extract(name);
        if (entry.empty()) {
            differences += "\nfile added: " + item.native();
        } else if (!matches(item, ruleFor(name) == "nested", entry.mapped())) {
            differences += "\nfile modified: " + item.native();
        }
    }
    for (const auto& [name, entry] : sealed) {
        if (ruleFor(name) != "optional") {
            differences += "\nfile missing: " + (bundle.contents / name).native();
        }
    }
    if (!differences.empty()) {
        throw SealFailure(badResource + differences);
    }
}

} // namespace systemtools
