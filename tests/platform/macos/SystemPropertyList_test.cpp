#include "platform/Error.hpp"
#include "platform/PropertyList.hpp"
#include "tests/platform/BinaryPropertyLists.hpp"

#include <gtest/gtest.h>

namespace {

using platform::parsePropertyList;

/// Foundation may read such bytes or refuse them; what follows from both is the same.
bool isDictionaryOfStrings(const std::string& bytes) {
    try {
        return parsePropertyList(bytes, "p").isDictionaryOfStrings;
    } catch (const platform::Error&) {
        return false;
    }
}

TEST(SystemPropertyListTest, ReadsADictionaryInTheOldForm) {
    const auto list = parsePropertyList("{ owner = \"orvo.lumopack01\"; }", "p");
    EXPECT_TRUE(list.isDictionaryOfStrings);
    EXPECT_EQ(list.strings.at("owner"), "orvo.lumopack01");
}

TEST(SystemPropertyListTest, TakesNothingElseInTheOldFormForADictionaryOfStrings) {
    for (const char* bytes : {"{ owner = ( a, b ); }", "( a, b )", "x", "\"owner\"", "bplist00"}) {
        EXPECT_FALSE(isDictionaryOfStrings(bytes)) << bytes;
    }
}

TEST(SystemPropertyListTest, ReadsHalfAPairOfSurrogatesAsAnotherText) {
    for (const char* half : {"\x61\xD8\x3D", "\x61\xDE\x42"}) {
        const auto list = parsePropertyList(tests::entry("\x51k", half), "p");
        EXPECT_NE(list.strings.at("k"), "🙂");
    }
}

TEST(SystemPropertyListTest, TakesNothingWithAKeyThatIsNoStringForADictionaryOfStrings) {
    EXPECT_FALSE(isDictionaryOfStrings(tests::entry("\x10\x05", "\x51v")));
}

TEST(SystemPropertyListTest, TakesNoTimeForAListOfListsThatUnfoldsWithoutEnd) {
    EXPECT_FALSE(isDictionaryOfStrings(tests::unfoldingList()));
}

} // namespace
