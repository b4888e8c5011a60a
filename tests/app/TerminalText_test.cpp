#include "app/TerminalText.hpp"

#include <gtest/gtest.h>

namespace {

std::string withVisibleControls(std::string_view text) {
    std::string shown;
    app::showControls(text, [&](std::string_view piece) { shown += piece; });
    return shown;
}

TEST(TerminalText, ShowsControlCharacters) {
    EXPECT_EQ(withVisibleControls("a\x1B[2Jb"), "a\\x1B[2Jb");
    EXPECT_EQ(withVisibleControls("\r\t\a\x7F"), "\\x0D\\x09\\x07\\x7F");
    EXPECT_EQ(withVisibleControls(std::string("a\0b", 3)), "a\\x00b");
}

TEST(TerminalText, ShowsControlCharactersOfTwoBytes) {
    EXPECT_EQ(withVisibleControls("\u0080\u009B2J\u009F"), "\\x80\\x9B2J\\x9F");
}

TEST(TerminalText, KeepsLineBreaksAndEveryOtherCharacter) {
    for (const char* text : {"", "a\nb\n", "« é → … »", "\u00A0\u00C2", "日本語", "🙂", "\xC2", "\\x1B"}) {
        EXPECT_EQ(withVisibleControls(text), text);
    }
}

} // namespace
