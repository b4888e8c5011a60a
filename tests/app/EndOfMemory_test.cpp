#include "app/EndOfMemory.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <new>
#include <stdexcept>

namespace {

void callAsADestructorDoes(const std::function<void()>& action) noexcept {
    action();
}

TEST(EndOfMemoryDeathTest, IsSaidWhereNoExceptionCanLeave) {
    EXPECT_EXIT(
        {
            app::reportEndOfMemory();
            callAsADestructorDoes([] { throw std::bad_alloc(); });
        },
        testing::ExitedWithCode(1), "^La mémoire manque\\.\n$");
}

TEST(EndOfMemoryDeathTest, HidesNoOtherFault) {
    EXPECT_EXIT(
        {
            app::reportEndOfMemory();
            callAsADestructorDoes([] { throw std::runtime_error("a fault"); });
        },
        testing::KilledBySignal(SIGABRT), "");
}

} // namespace
