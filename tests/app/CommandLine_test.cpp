#include "app/Arguments.hpp"
#include "app/CommandLine.hpp"

#include <gtest/gtest.h>

namespace {

using Names = std::set<std::string>;
using app::args;
using app::isCommandLine;
using app::namesIn;

struct CommandLine : testing::Test {
    void TearDown() override { args.clear(); }
};

TEST_F(CommandLine, IsNotWantedWithoutADirection) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{},
          {"program"},
          {"program", "--root", "/tmp"},
          {"program", "--help"},
          {"program", "--only", "x", "--no-register"},
          {"program", "--Install", "--uninstall=x", "-install"}}) {
        args = arguments;
        EXPECT_FALSE(isCommandLine());
    }
}

TEST_F(CommandLine, IsWantedWithADirectionAnywhere) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"program", "--install"},
                                                      {"program", "x", "--uninstall", "y"},
                                                      {"program", "--install", "--uninstall"},
                                                      {"program", "--root", "--install"}}) {
        args = arguments;
        EXPECT_TRUE(isCommandLine());
    }
}

TEST_F(CommandLine, SplitsNamesAtCommas) {
    EXPECT_EQ(namesIn("a,b,c"), (Names{"a", "b", "c"}));
    EXPECT_EQ(namesIn("a"), Names{"a"});
}

TEST_F(CommandLine, DropsEmptyNames) {
    EXPECT_EQ(namesIn(",a,,b,"), (Names{"a", "b"}));
    EXPECT_EQ(namesIn(""), Names{});
    EXPECT_EQ(namesIn(","), Names{});
    EXPECT_EQ(namesIn(",,,"), Names{});
}

TEST_F(CommandLine, KeepsNamesAsTheyAreWritten) {
    EXPECT_EQ(namesIn("a, b"), (Names{"a", " b"}));
    EXPECT_EQ(namesIn("A,a,\"b;c\" "), (Names{"A", "a", "\"b;c\" "}));
    EXPECT_EQ(namesIn(" "), Names{" "});
}

TEST_F(CommandLine, TakesANameOnce) {
    EXPECT_EQ(namesIn("a,b,a"), (Names{"a", "b"}));
}

} // namespace
