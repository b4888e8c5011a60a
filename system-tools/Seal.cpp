#include "system-tools/Seal.hpp"

#include "platform/Digest.hpp"
#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "system-tools/BundleItems.hpp"
#include "system-tools/FileDigests.hpp"
#include "system-tools/PropertyTree.hpp"
#include "system-tools/ResourceRules.hpp"

#include <algorithm>
#include <vector>

namespace fs = std::filesystem;

namespace systemtools {
namespace {

using Kind = BundleItem::Kind;
using Items = std::map<std::string, BundleItem>;

constexpr const char* badResource = "a sealed resource is missing or invalid";
constexpr const char* badSignature = "invalid signature (code or signature have been modified)";
constexpr const char* badInfoList = "invalid Info.plist (plist or signature have been modified)";
constexpr const char* badSeal = "invalid resource directory (directory or signature have been modified)";
constexpr const char* badNestedCode = "nested code is modified or invalid";
constexpr const char* notABundle = "bundle format unrecognized, invalid, or unsuitable";
constexpr const char* notSigned = "code object is not signed at all";
constexpr const char* strayInRoot = "unsealed contents present in the bundle root";

constexpr const char* sealName = "_CodeSignature/CodeResources";
constexpr std::size_t codeHashSize = 20;

fs::path portableSeal(const Bundle& bundle) {
    return bundle.contents / "_CodeSignature" / "PortableSeal";
}

std::string codeHash(const fs::path& file) {
    return sha256(file).substr(0, codeHashSize);
}

Bundle nestedBundle(const fs::path& path) {
    if (const std::optional<Bundle> bundle = Bundle::at(path)) {
        return *bundle;
    }
    throw SealFailure(notABundle);
}

// Sealing

Tree codeEntry(const std::string& hash) {
    return {{"cdhash", dataElement(hash)},
            {"requirement", "cdhash H\"" + platform::hexadecimal(hash) + "\""}};
}

Tree nestedBundleEntry(const fs::path& path) {
    try {
        const Bundle nested = nestedBundle(path);
        seal(nested);
        return codeEntry(codeHash(portableSeal(nested)));
    } catch (const SealFailure& failure) {
        throw failure.inSubcomponent(path);
    }
}

Tree entryFor(const fs::path& path, const BundleItem& item) {
    Tree entry;
    switch (item.kind) {
    case Kind::file:
        entry["hash2"] = dataElement(sha256(path));
        break;
    case Kind::link:
        entry["symlink"] = fs::read_symlink(path).native();
        break;
    case Kind::program:
        entry = codeEntry(codeHash(path));
        break;
    case Kind::bundle:
        entry = nestedBundleEntry(path);
        break;
    case Kind::other:
        throw SealFailure(std::string(badResource) + "\nfile added: " + path.native());
    }
    if (item.optional) {
        entry["optional"] = true;
    }
    return entry;
}

Tree entries(const Bundle& bundle, const Tree& rules) {
    Tree table = Tree::object();
    for (const auto& [name, item] : itemsToSeal(bundle, ResourceRules(rules))) {
        table[name] = entryFor(bundle.contents / name, item);
    }
    return table;
}

/// The table of the first version: SHA-1, files only.
Tree entriesVersion1(const Bundle& bundle, const Tree& rules) {
    Tree table = Tree::object();
    for (const auto& [name, item] : itemsToSeal(bundle, ResourceRules(rules))) {
        if (item.kind == Kind::file) {
            const Tree hash = dataElement(sha1(bundle.contents / name));
            table[name] = item.optional ? Tree{{"hash", hash}, {"optional", true}} : hash;
        }
    }
    return table;
}

Tree portableEntries(const Bundle& bundle) {
    Tree table = Tree::object();
    for (const std::string& name : {bundle.infoList, bundle.executable, std::string(sealName)}) {
        if (fs::is_regular_file(bundle.contents / name)) {
            table[name] = Tree{{"hash2", dataElement(sha256(bundle.contents / name))}};
        }
    }
    return table;
}

// Verifying

bool hasHash(const fs::path& path, const Tree& entry) {
    const std::string strong = dataBytes(valueAt(entry, "hash2"));
    const std::string weak = dataBytes(entry.is_binary() ? entry : valueAt(entry, "hash"));
    return !strong.empty() ? strong == sha256(path) : !weak.empty() && weak == sha1(path);
}

bool isCode(const Tree& entry) {
    return valueAt(entry, "cdhash").is_binary() || valueAt(entry, "requirement").is_string();
}

void verifyNestedBundle(const fs::path& path, const Tree& entry, bool portable) {
    try {
        const Bundle nested = nestedBundle(path);
        verify(nested);
        const fs::path identity = portableSeal(nested);
        if (!portable ||
            (fs::is_regular_file(identity) && codeHash(identity) == dataBytes(valueAt(entry, "cdhash")))) {
            return;
        }
    } catch (const SealFailure& failure) {
        throw failure.inSubcomponent(path);
    }
    throw SealFailure(badNestedCode + ("\nfile modified: " + path.native()));
}

/// True when the item is what the seal says; `portable` tells that our own tool made the seal.
bool isUnchanged(const fs::path& path, Kind kind, const Tree& entry, bool portable) {
    const Tree& target = valueAt(entry, "symlink");
    if (target.is_string() || kind == Kind::link) {
        return kind == Kind::link && target == Tree(fs::read_symlink(path).native());
    }
    if (kind == Kind::bundle && isCode(entry)) {
        verifyNestedBundle(path, entry, portable);
        return true;
    }
    if (kind == Kind::program && isCode(entry)) {
        return !portable || codeHash(path) == dataBytes(valueAt(entry, "cdhash"));
    }
    return (kind == Kind::file || kind == Kind::program) && hasHash(path, entry);
}

struct Differences {
    std::vector<fs::path> added, modified, missing;

    bool empty() const { return added.empty() && modified.empty() && missing.empty(); }

    std::string text() const {
        std::string lines;
        for (const fs::path& path : added)
            lines += "\nfile added: " + path.native();
        for (const fs::path& path : modified)
            lines += "\nfile modified: " + path.native();
        for (const fs::path& path : missing)
            lines += "\nfile missing: " + path.native();
        return lines;
    }
};

void verifyItems(const Bundle& bundle, const Items& items, const Tree& sealed, bool portable) {
    Differences differences;
    for (const auto& [name, item] : items) {
        const fs::path path = bundle.contents / name;
        const Tree& entry = valueAt(sealed, name);
        if (entry.is_null()) {
            differences.added.push_back(path);
        } else if (!isUnchanged(path, item.kind, entry, portable)) {
            differences.modified.push_back(path);
        }
    }
    for (const auto& [name, entry] : sealed.items()) {
        if (!items.contains(name) && !isTrueAt(entry, "optional")) {
            differences.missing.push_back(bundle.contents / name);
        }
    }
    if (!differences.empty()) {
        throw SealFailure(badResource + differences.text());
    }
}

void verifyPortableSeal(const Bundle& bundle) {
    const fs::path file = portableSeal(bundle);
    Tree sealed;
    try {
        sealed =
            valueAt(parsePropertyTree(platform::FileManager::defaultManager().read(file), file), "files2");
    } catch (const platform::Error&) {
        throw SealFailure(badSignature);
    }
    for (const std::string& name : {std::string(sealName), bundle.infoList, bundle.executable}) {
        const fs::path path = bundle.contents / name;
        const Tree& entry = valueAt(sealed, name);
        const bool isThere = fs::is_regular_file(path);
        if (isThere == entry.is_null() || (isThere && !hasHash(path, entry))) {
            throw SealFailure(name == bundle.infoList ? badInfoList : badSignature);
        }
    }
}

struct ResourceSeal {
    ResourceRules rules;
    Tree entries;
};

ResourceSeal readResourceSeal(const Bundle& bundle) {
    try {
        const Tree seal =
            parsePropertyTree(platform::FileManager::defaultManager().read(bundle.seal()), bundle.seal());
        const bool isVersion2 = valueAt(seal, "rules2").is_object();
        const Tree& sealed = valueAt(seal, isVersion2 ? "files2" : "files");
        if (sealed.is_object()) {
            return {ResourceRules(valueAt(seal, isVersion2 ? "rules2" : "rules")), sealed};
        }
    } catch (const platform::Error&) {
        throw SealFailure(badSeal);
    } catch (const std::invalid_argument&) {
        throw SealFailure(badSeal);
    }
    throw SealFailure(badSeal);
}

void verifyRoot(const Bundle& bundle) {
    if (bundle.contents.filename() != "Contents") {
        return;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(bundle.path)) {
        const fs::path name = entry.path().filename();
        if (name != "Contents" && name != ".DS_Store" && name != "Icon\r") {
            throw SealFailure(strayInRoot);
        }
    }
}

} // namespace

SealFailure SealFailure::inSubcomponent(const fs::path& nested) const {
    const std::string text = what();
    if (text.find("\nIn subcomponent: ") != std::string::npos) {
        return *this; // the innermost one says where
    }
    const std::size_t line = std::min(text.find('\n'), text.size());
    return SealFailure(text.substr(0, line) + "\nIn subcomponent: " + nested.native() + text.substr(line));
}

void seal(const Bundle& bundle) {
    const Tree rules = ResourceRules::standardVersion1(bundle.hasResourcesFolder);
    const Tree rules2 = ResourceRules::standard(bundle.hasResourcesFolder);
    const Tree seal = {{"files", entriesVersion1(bundle, rules)},
                       {"files2", entries(bundle, rules2)},
                       {"rules", rules},
                       {"rules2", rules2}};
    const platform::FileManager& files = platform::FileManager::defaultManager();
    files.makeFolder(bundle.seal().parent_path());
    files.writeAtomically(bundle.seal(), xmlPropertyTree(seal));
    files.writeAtomically(portableSeal(bundle), xmlPropertyTree({{"files2", portableEntries(bundle)}}));
}

void verify(const Bundle& bundle) {
    if (!isSealed(bundle)) {
        throw SealFailure(notSigned);
    }
    const bool portable = fs::exists(portableSeal(bundle));
    if (portable) {
        verifyPortableSeal(bundle);
    }
    verifyRoot(bundle);
    const ResourceSeal sealed = readResourceSeal(bundle);
    verifyItems(bundle, itemsToSeal(bundle, sealed.rules), sealed.entries, portable);
}

bool isSealed(const Bundle& bundle) {
    return fs::is_regular_file(bundle.seal());
}

} // namespace systemtools
