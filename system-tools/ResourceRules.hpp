#pragma once

#include "system-tools/PropertyTree.hpp"

#include <memory>
#include <string>
#include <vector>

namespace systemtools {

/// Decides by its name what a seal says about an item of a bundle. The rules are a dictionary from an
/// extended POSIX regular expression to true, false or a dictionary with "weight", "omit", "optional" and
/// "nested".
class ResourceRules {
public:
    struct Verdict {
        bool omitted = true;
        bool optional = false; ///< it may be missing later
        bool nested = false;   ///< it is code with a signature of its own
    };

    /// Throws std::invalid_argument when these are not rules.
    explicit ResourceRules(const Tree& rules);

    /// What the heaviest rule that matches says; an item that none matches is omitted.
    Verdict judge(const std::string& name) const;

    /// The rules that macOS seals a bundle by (the table "rules2"). In a flat bundle they count from its top,
    /// otherwise from its "Resources" folder.
    static Tree standard(bool hasResourcesFolder);

    /// The same of the first version of seals (the table "rules"), which knew resources only.
    static Tree standardVersion1(bool hasResourcesFolder);

private:
    class Pattern;
    struct Rule {
        std::shared_ptr<const Pattern> pattern;
        double weight;
        Verdict verdict;
    };
    std::vector<Rule> rules; ///< the heaviest first
};

} // namespace systemtools
