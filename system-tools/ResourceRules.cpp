#include "system-tools/ResourceRules.hpp"

#include <regex.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace systemtools {

class ResourceRules::Pattern {
public:
    explicit Pattern(const std::string& expression) {
        if (::regcomp(&compiled, expression.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
            throw std::invalid_argument("not a regular expression: " + expression);
        }
    }
    ~Pattern() { ::regfree(&compiled); }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    bool matches(const std::string& name) const {
        return ::regexec(&compiled, name.c_str(), 0, nullptr, 0) == 0;
    }

private:
    regex_t compiled{};
};

namespace {

double weightOf(const Tree& rule) {
    const Tree& weight = valueAt(rule, "weight");
    return weight.is_number() ? weight.get<double>() : 1;
}

ResourceRules::Verdict verdictOf(const Tree& rule) {
    if (rule.is_boolean()) {
        return {.omitted = !rule.get<bool>()};
    }
    if (!rule.is_object()) {
        throw std::invalid_argument("not a rule");
    }
    return {.omitted = isTrueAt(rule, "omit"),
            .optional = isTrueAt(rule, "optional"),
            .nested = isTrueAt(rule, "nested")};
}

Tree heavy(double weight) {
    return Tree{{"weight", weight}};
}

Tree heavy(double weight, const std::string& property) {
    return Tree{{property, true}, {"weight", weight}};
}

/// What both versions say about translations, which people remove to save room.
Tree translationRules(const std::string& resources) {
    return Tree{{resources + R"(.*\.lproj/)", heavy(1000, "optional")},
                {resources + R"(.*\.lproj/locversion.plist$)", heavy(1100, "omit")},
                {resources + R"(Base\.lproj/)", heavy(1010)}};
}

} // namespace

ResourceRules::ResourceRules(const Tree& tree) {
    if (!tree.is_object()) {
        throw std::invalid_argument("no rules");
    }
    for (const auto& [expression, rule] : tree.items()) {
        rules.push_back({std::make_shared<const Pattern>(expression), weightOf(rule), verdictOf(rule)});
    }
    std::stable_sort(rules.begin(), rules.end(),
                     [](const Rule& left, const Rule& right) { return left.weight > right.weight; });
}

ResourceRules::Verdict ResourceRules::judge(const std::string& name) const {
    const auto found = std::find_if(rules.begin(), rules.end(),
                                    [&](const Rule& rule) { return rule.pattern->matches(name); });
    return found == rules.end() ? Verdict{} : found->verdict;
}

Tree ResourceRules::standard(bool hasResourcesFolder) {
    Tree rules = translationRules(hasResourcesFolder ? "^Resources/" : "^");
    rules["^.*"] = true;
    rules[R"(.*\.dSYM($|/))"] = heavy(11);
    rules[R"(^(.*/)?\.DS_Store$)"] = heavy(2000, "omit");
    rules[R"(^Info\.plist$)"] = heavy(20, "omit");
    rules["^PkgInfo$"] = heavy(20, "omit");
    rules[R"(^embedded\.provisionprofile$)"] = heavy(20);
    rules[R"(^version\.plist$)"] = heavy(20);
    if (hasResourcesFolder) {
        rules["^Resources/"] = heavy(20);
        rules["^[^/]+$"] = heavy(10, "nested");
        rules["^(Frameworks|SharedFrameworks|PlugIns|Plug-ins|XPCServices|Helpers|MacOS|"
              "Library/(Automator|Spotlight|LoginItems))/"] = heavy(10, "nested");
    }
    return rules;
}

Tree ResourceRules::standardVersion1(bool hasResourcesFolder) {
    Tree rules = translationRules(hasResourcesFolder ? "^Resources/" : "^");
    rules[hasResourcesFolder ? "^Resources/" : "^.*"] = true;
    rules["^version.plist$"] = true;
    return rules;
}

} // namespace systemtools
