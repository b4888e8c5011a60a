#include "platform/Error.hpp"
#include "platform/Json.hpp"
#include "tests/support/Throws.hpp"

namespace {

using platform::compactJson;
using platform::parseJson;

TEST(JsonTest, AcceptsAnEscapedAndAnUnescapedSolidus) {
    EXPECT_EQ(parseJson(R"(["a\/b"])", "j"), parseJson(R"(["a/b"])", "j"));
}

TEST(JsonTest, WritesCompactTextWithEscapedSolidus) {
    EXPECT_EQ(compactJson({{"a/b", {1, "c/d\\/"}}}), R"({"a\/b":[1,"c\/d\\\/"]})");
}

TEST(JsonTest, RefusesValuesThatLieTooDeep) {
    EXPECT_NO_THROW(parseJson(std::string(64, '[') + std::string(64, ']'), "j"));
    EXPECT_EQ(tests::messageOf<platform::Error>([] { parseJson(std::string(100000, '['), "j"); }),
              "Impossible de lire « j » : le JSON est imbriqué trop profondément.");
}

TEST(JsonTest, RefusesWhatIsNotJson) {
    for (const char* text : {"", "{", "[1,]", "nul", "\"\xFF\"", "[] []", "{\"a\":1,}"}) {
        EXPECT_THROW(parseJson(text, "j"), platform::Error) << text;
    }
}

TEST(JsonTest, RefusesWhatFollowsAZeroByte) {
    using namespace std::string_literals;
    for (const std::string& text : {"[]\0"s, "[]\0[]"s, "[]\n\0 "s, "\0"s, "[\"a\0b\"]"s}) {
        EXPECT_THROW(parseJson(text, "j"), platform::Error) << text;
    }
    EXPECT_EQ(tests::messageOf<platform::Error>([] { parseJson("[1,\n 2]\0x"s, "j"); }),
              "Impossible de lire « j » : ce n’est pas du JSON valide (ligne 2, colonne 4).");
}

} // namespace
