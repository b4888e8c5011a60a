#include "system-tools/BundleItems.hpp"

namespace fs = std::filesystem;

namespace systemtools {
namespace {

using Kind = BundleItem::Kind;

/// The seal, the older link to it and the receipt of the App Store.
bool isOutsideSeal(const std::string& name, const Bundle& bundle) {
    return name == "_CodeSignature" || name == "CodeResources" || name == "_MASReceipt" ||
           name == bundle.executable;
}

Kind kindOf(const fs::directory_entry& entry, bool nested) {
    if (entry.is_symlink()) {
        return Kind::link; // a link is never code, whatever it points to
    }
    if (!entry.is_regular_file()) {
        return Kind::other;
    }
    return nested ? Kind::program : Kind::file;
}

} // namespace

std::map<std::string, BundleItem> itemsToSeal(const Bundle& bundle, const ResourceRules& rules) {
    std::map<std::string, BundleItem> items;
    const std::size_t prefix = (bundle.contents / "").native().size();
    for (fs::recursive_directory_iterator position(bundle.contents), end; position != end; ++position) {
        const std::string name = position->path().native().substr(prefix);
        const bool isFolder = position->is_directory() && !position->is_symlink();
        if (isOutsideSeal(name, bundle)) {
            position.disable_recursion_pending();
            continue;
        }
        const ResourceRules::Verdict verdict = rules.judge(name);
        if (!isFolder && !verdict.omitted) {
            items[name] = {kindOf(*position, verdict.nested), verdict.optional};
        } else if (isFolder && verdict.nested &&
                   position->path().filename().native().find('.') != std::string::npos) {
            items[name] = {Kind::bundle, verdict.optional};
            position.disable_recursion_pending();
        }
    }
    return items;
}

} // namespace systemtools
