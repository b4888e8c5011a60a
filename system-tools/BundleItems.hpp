#pragma once

#include "system-tools/Bundle.hpp"
#include "system-tools/ResourceRules.hpp"

#include <map>
#include <string>

namespace systemtools {

/// One thing in a bundle that its seal has to name.
struct BundleItem {
    enum class Kind { file, link, program, bundle, other };
    Kind kind = Kind::other;
    bool optional = false;
};

/// What the rules want sealed, by its name relative to `bundle.contents`. The items of nested bundles are
/// theirs; the main program and the seal itself are left out.
std::map<std::string, BundleItem> itemsToSeal(const Bundle& bundle, const ResourceRules& rules);

} // namespace systemtools
