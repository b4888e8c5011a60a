#include "ui/ReturnKey.hpp"

#include <gtest/gtest.h>

namespace tests {
namespace {

using namespace std::chrono_literals;

class ReturnKeyTest : public testing::Test {
protected:
    /// Presses the key and releases it after a tenth of a second, as people do.
    bool type() {
        const bool counts = key.press(false);
        now += 100ms;
        key.release();
        return counts;
    }

    ui::ReturnKey::Clock::time_point now{1h};
    ui::ReturnKey key{[this] { return now; }};
};

TEST_F(ReturnKeyTest, EveryPressOfItsOwnCounts) {
    for (int press = 0; press < 5; ++press) {
        EXPECT_TRUE(type());
        now += 60ms;
    }
}

TEST_F(ReturnKeyTest, AMarkedRepeatDoesNotCount) {
    EXPECT_FALSE(key.press(true));
}

TEST_F(ReturnKeyTest, AKeyThatIsDownCannotBePressedAgain) {
    EXPECT_TRUE(key.press(false));
    for (int repeat = 0; repeat < 40; ++repeat) {
        now += 500ms;
        EXPECT_FALSE(key.press(false));
    }
    key.release();
    now += 60ms;
    EXPECT_TRUE(key.press(false));
}

TEST_F(ReturnKeyTest, AReleaseThatIsFollowedByAPressAtOnceIsARepeat) {
    EXPECT_TRUE(key.press(false));
    now += 500ms;
    for (int repeat = 0; repeat < 40; ++repeat) {
        key.release();
        EXPECT_FALSE(key.press(false));
        now += 30ms;
    }
    key.release();
    now += 60ms;
    EXPECT_TRUE(key.press(false));
}

TEST_F(ReturnKeyTest, NoPressCountsForHalfASecondAfterAResult) {
    EXPECT_TRUE(type());
    key.resultAppeared();
    now += 150ms;
    EXPECT_FALSE(type());
    now += 249ms;
    EXPECT_FALSE(type()) << "after 499 milliseconds";
    now += 60ms;
    EXPECT_TRUE(type());
}

TEST_F(ReturnKeyTest, APressHalfASecondAfterAResultCounts) {
    key.resultAppeared();
    now += 500ms;
    EXPECT_TRUE(type());
}

TEST_F(ReturnKeyTest, AKeyHeldOverAResultDoesNotConfirmIt) {
    EXPECT_TRUE(key.press(false));
    now += 300ms;
    key.resultAppeared();
    for (int repeat = 0; repeat < 40; ++repeat) {
        now += 30ms;
        EXPECT_FALSE(key.press(false));
    }
}

} // namespace
} // namespace tests
