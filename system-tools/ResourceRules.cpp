#include "system-tools/ResourceRules.hpp"

#include <algorithm>
#include <regex>
#include <vector>

namespace systemtools {
namespace {

struct Rule {
    std::string expression;
    double weight;
    std::string property = {};
    std::regex pattern{expression, std::regex::extended};
};

/// The heaviest first, which decides. What none matches is sealed, which is the rule "^.*".
const std::vector<Rule>& rules() {
    static const std::vector<Rule> standard{
        {R"(^(.*/)?\.DS_Store$)", 2000, "omit"},
        {R"(^Resources/.*\.lproj/locversion.plist$)", 1100, "omit"},
        {R"(^Resources/Base\.lproj/)", 1010},
        {R"(^Resources/.*\.lproj/)", 1000, "optional"},
        {R"(^Info\.plist$)", 20, "omit"},
        {"^PkgInfo$", 20, "omit"},
        {"^Resources/", 20},
        {R"(^embedded\.provisionprofile$)", 20},
        {R"(^version\.plist$)", 20},
        {R"(.*\.dSYM($|/))", 11},
        {"^(Frameworks|SharedFrameworks|PlugIns|Plug-ins|XPCServices|Helpers|MacOS|"
         "Library/(Automator|Spotlight|LoginItems))/",
         10, "nested"},
        {"^[^/]+$", 10, "nested"}};
    return standard;
}

} // namespace

std::string ruleFor(const std::string& name) {
    const auto rule = std::ranges::find_if(
        rules(), [&](const Rule& candidate) { return std::regex_search(name, candidate.pattern); });
    return rule == rules().end() ? "" : rule->property;
}

PropertyList makeRuleTable() {
    PropertyList table(plist_new_dict());
    plist_dict_set_item(table.get(), "^.*", plist_new_bool(1));
    for (const Rule& rule : rules()) {
        const plist_t node = plist_new_dict();
        if (!rule.property.empty()) {
            plist_dict_set_item(node, rule.property.c_str(), plist_new_bool(1));
        }
        plist_dict_set_item(node, "weight", plist_new_real(rule.weight));
        plist_dict_set_item(table.get(), rule.expression.c_str(), node);
    }
    return table;
}

} // namespace systemtools
