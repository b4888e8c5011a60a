#include "platform/Error.hpp"
#include "platform/PropertyList.hpp"
#include "tests/platform/BinaryPropertyLists.hpp"

#include <gtest/gtest.h>

namespace {

using platform::parsePropertyList;

TEST(SystemPropertyListTest, RefusesTheOldForm) {
    for (const char* bytes :
         {"{ owner = \"orvo.lumopack01\"; }", "{ owner = orvo; }", "( a, b )", "x", "{}", "bplist00"}) {
        EXPECT_THROW(parsePropertyList(bytes, "p"), platform::Error) << bytes;
    }
}

TEST(SystemPropertyListTest, RefusesHalfAPairOfSurrogates) {
    EXPECT_THROW(parsePropertyList(tests::entry("\x51k", "\x61\xD8\x3D"), "p"), platform::Error);
    EXPECT_THROW(parsePropertyList(tests::entry("\x51k", "\x61\xDE\x42"), "p"), platform::Error);
}

TEST(SystemPropertyListTest, RefusesAKeyThatIsNoString) {
    EXPECT_THROW(parsePropertyList(tests::entry("\x10\x05", "\x51v"), "p"), platform::Error);
}

TEST(SystemPropertyListTest, TakesNoTimeForAListOfListsThatUnfoldsWithoutEnd) {
    EXPECT_FALSE(parsePropertyList(tests::unfoldingList(), "p").isDictionaryOfStrings);
}

} // namespace
