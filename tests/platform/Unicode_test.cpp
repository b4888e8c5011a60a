#include "platform/Unicode.hpp"

#include <gtest/gtest.h>

namespace {

using platform::composed;

TEST(UnicodeTest, ComposesAnAccentWithItsLetter) {
    EXPECT_EQ(composed("12 Fondu enchai\u0302ne\u0301"), "12 Fondu enchaîné");
    EXPECT_EQ(composed("c\u0327a et la\u0300"), "ça et là");
}

TEST(UnicodeTest, KeepsWhatIsComposed) {
    for (const char* text : {"", "01 Silk Fade", "12 Fondu enchaîné", "…→—’", "日本語", "🙂"}) {
        EXPECT_EQ(composed(text), text);
    }
}

TEST(UnicodeTest, TellsLettersApartThatOnlyLookAlike) {
    EXPECT_NE(composed("ﬁn"), composed("fin"));
    EXPECT_NE(composed("É"), composed("é"));
}

TEST(UnicodeTest, OrdersSeveralAccents) {
    EXPECT_EQ(composed("a\u0302\u0323"), composed("a\u0323\u0302"));
    EXPECT_EQ(composed("\u1100\u1161\u11A8"), "각");
}

TEST(UnicodeTest, KeepsBytesThatAreNotUtf8) {
    for (const char* text : {"a\xFF", "\xE9t\xE9", "e\xCC", "\xED\xA0\x80"}) {
        EXPECT_EQ(composed(text), text);
    }
}

TEST(UnicodeTest, GoesOnBehindAZeroByte) {
    EXPECT_EQ(composed(std::string("e\u0301\0e\u0301", 7)), std::string("é\0é", 5));
}

} // namespace
