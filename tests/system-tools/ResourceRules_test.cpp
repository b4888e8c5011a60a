#include "system-tools/ResourceRules.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using systemtools::ResourceRules;
using systemtools::Tree;

TEST(ResourceRulesTest, TheHeaviestRuleDecides) {
    const ResourceRules rules(Tree{{"^.*", true},
                                   {"^a/", {{"weight", 5}, {"optional", true}}},
                                   {"^a/b", {{"weight", 7.5}, {"omit", true}}}});
    EXPECT_FALSE(rules.judge("c").omitted);
    EXPECT_FALSE(rules.judge("c").optional);
    EXPECT_TRUE(rules.judge("a/c").optional);
    EXPECT_TRUE(rules.judge("a/b").omitted);
}

TEST(ResourceRulesTest, WhatNoRuleMatchesIsOmitted) {
    EXPECT_TRUE(ResourceRules(Tree{{"^Resources/", true}}).judge("MacOS/program").omitted);
}

TEST(ResourceRulesTest, FalseOmits) {
    EXPECT_TRUE(ResourceRules(Tree{{"^.*", false}}).judge("a").omitted);
}

TEST(ResourceRulesTest, ADotMatchesALineFeed) {
    EXPECT_FALSE(ResourceRules(Tree{{"^a.b$", true}}).judge("a\nb").omitted);
}

TEST(ResourceRulesTest, TheStandardOnesKnowNestedCode) {
    const ResourceRules rules(ResourceRules::standard(true));
    EXPECT_TRUE(rules.judge("PlugIns/a.pluginkit").nested);
    EXPECT_TRUE(rules.judge("Library/LoginItems/a.app").nested);
    EXPECT_FALSE(rules.judge("Library/Other/a.app").nested);
    EXPECT_FALSE(rules.judge("Resources/a.app").nested);
    EXPECT_TRUE(rules.judge("Info.plist").omitted);
    EXPECT_FALSE(rules.judge("Resources/Info.plist").omitted);
    EXPECT_TRUE(rules.judge("Resources/fr.lproj/a").optional);
    EXPECT_FALSE(rules.judge("Resources/Base.lproj/a").optional);
    EXPECT_TRUE(rules.judge("Resources/fr.lproj/locversion.plist").omitted);
}

TEST(ResourceRulesTest, TheStandardOnesOfAFlatBundleKnowNoNestedCode) {
    const ResourceRules rules(ResourceRules::standard(false));
    EXPECT_FALSE(rules.judge("PlugIns/a.pluginkit").nested);
    EXPECT_TRUE(rules.judge("fr.lproj/a").optional);
}

TEST(ResourceRulesTest, RefusesWhatAreNoRules) {
    for (const Tree& wrong : {Tree(), Tree{{"(", true}}, Tree{{"a", "text"}}}) {
        EXPECT_THROW(const ResourceRules rules(wrong), std::invalid_argument);
    }
}

} // namespace
