#include "platform/Parallel.hpp"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using platform::forEachInParallel;

TEST(Parallel, VisitsEveryItemOnce) {
    std::vector<int> counts(10'000);
    forEachInParallel(counts, [](int& count) { ++count; });
    EXPECT_EQ(std::ranges::count(counts, 1), 10'000);
}

TEST(Parallel, FillsTheValuesOfAMap) {
    std::map<std::string, std::string> map{{"a", ""}, {"b", ""}};
    forEachInParallel(map, [](auto& entry) { entry.second = entry.first + "!"; });
    EXPECT_EQ(map, (std::map<std::string, std::string>{{"a", "a!"}, {"b", "b!"}}));
}

TEST(Parallel, DoesNothingForAnEmptyRange) {
    const std::vector<int> none;
    forEachInParallel(none, [](int) { FAIL(); });
}

TEST(Parallel, ThrowsWhatAPlainLoopWouldThrow) {
    std::vector<int> numbers(1'000);
    std::generate(numbers.begin(), numbers.end(), [number = 0]() mutable { return number++; });
    for (int round = 0; round < 100; ++round) {
        try {
            forEachInParallel(numbers, [](int number) {
                if (number == 300 || number == 301 || number == 302) {
                    throw std::runtime_error(std::to_string(number));
                }
            });
            FAIL();
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "300");
        }
    }
}

TEST(Parallel, BeginsNoFurtherItemAfterAFailure) {
    std::atomic<int> begun = 0;
    std::vector<int> numbers(1'000'000);
    EXPECT_THROW(forEachInParallel(numbers,
                                   [&](int) {
                                       ++begun;
                                       throw std::runtime_error("no");
                                   }),
                 std::runtime_error);
    EXPECT_LE(begun, static_cast<int>(std::thread::hardware_concurrency()));
}

#ifdef __GLIBC__ // elsewhere nothing makes a thread of an ordinary user's fail
/// While it lives no thread can be made: each would have a stack that is larger than memory can be.
class WithoutThreads {
public:
    WithoutThreads() {
        pthread_attr_t attributes{};
        pthread_getattr_default_np(&attributes);
        pthread_attr_getstacksize(&attributes, &stackSize);
        pthread_attr_destroy(&attributes);
        setStackSize(std::size_t{1} << 48U);
    }
    ~WithoutThreads() { setStackSize(stackSize); }
    WithoutThreads(const WithoutThreads&) = delete;
    WithoutThreads& operator=(const WithoutThreads&) = delete;

private:
    static void setStackSize(std::size_t size) {
        pthread_attr_t attributes{};
        pthread_getattr_default_np(&attributes);
        pthread_attr_setstacksize(&attributes, size);
        pthread_setattr_default_np(&attributes);
        pthread_attr_destroy(&attributes);
    }

    std::size_t stackSize = 0;
};

TEST(Parallel, DoesTheWorkItselfWhereNoThreadCanBeMade) {
    const WithoutThreads without;
    ASSERT_THROW(std::thread([] {}).join(), std::system_error);
    std::vector<int> counts(1'000);
    const std::thread::id caller = std::this_thread::get_id();
    forEachInParallel(counts, [&](int& count) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        ++count;
    });
    EXPECT_EQ(std::ranges::count(counts, 1), 1'000);
    EXPECT_THROW(forEachInParallel(counts, [](int) { throw std::runtime_error("no"); }), std::runtime_error);
}
#endif

} // namespace
