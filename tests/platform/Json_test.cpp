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

} // namespace
