#include "platform/Parallel.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <stdexcept>
#include <string>
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

} // namespace
