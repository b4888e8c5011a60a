#include "app/Arguments.hpp"

#include <gtest/gtest.h>

namespace {

using app::args;
using app::argument;
using app::contains;

struct Arguments : testing::Test {
    void TearDown() override { args.clear(); }
};

TEST_F(Arguments, HaveNoValueWhenThereAreNone) {
    args = {};
    EXPECT_EQ(argument("--root"), std::nullopt);
    EXPECT_FALSE(contains("--install"));
}

TEST_F(Arguments, HaveNoValueForAnOptionThatIsNotThere) {
    args = {"program", "--install"};
    EXPECT_EQ(argument("--root"), std::nullopt);
}

TEST_F(Arguments, HaveNoValueForAnOptionAtTheEnd) {
    args = {"program", "--install", "--root"};
    EXPECT_EQ(argument("--root"), std::nullopt);
}

TEST_F(Arguments, GiveTheOneAfterTheOption) {
    args = {"program", "--root", "/tmp", "--install"};
    EXPECT_EQ(argument("--root"), "/tmp");
}

TEST_F(Arguments, GiveAnotherOptionAsTheValue) {
    args = {"program", "--root", "--install"};
    EXPECT_EQ(argument("--root"), "--install");
    EXPECT_TRUE(contains("--install"));
}

TEST_F(Arguments, GiveAnEmptyValue) {
    args = {"program", "--root", "", "x"};
    EXPECT_EQ(argument("--root"), "");
}

TEST_F(Arguments, GiveTheValueOfTheFirstOccurrence) {
    args = {"program", "--root", "a", "--root", "b"};
    EXPECT_EQ(argument("--root"), "a");
    args = {"program", "--root", "--root"};
    EXPECT_EQ(argument("--root"), "--root");
}

TEST_F(Arguments, CountTheProgramsOwnPath) {
    args = {"--root", "x"};
    EXPECT_EQ(argument("--root"), "x");
}

TEST_F(Arguments, OverlapWhereOptionsFollowOneAnother) {
    args = {"program", "--install", "--root", "--only", "x"};
    EXPECT_EQ(argument("--root"), "--only");
    EXPECT_EQ(argument("--only"), "x");
}

TEST_F(Arguments, AreComparedWhole) {
    args = {"program", "--Root", "a", "--root=b", "--roo", "-root", " --root", "--roots", "c"};
    EXPECT_EQ(argument("--root"), std::nullopt);
    EXPECT_FALSE(contains("--root"));
}

} // namespace
