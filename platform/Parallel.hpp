#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <future>
#include <iterator>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace platform {

/// Calls the action with every item of the range, on as many threads as the machine has processors, and
/// returns when all calls have. Once a call has thrown, no further item is begun; of several exceptions the
/// one of the earliest item is thrown, which is the one that a plain loop would throw.
template <typename Range, typename Action>
void forEachInParallel(Range& items, const Action& action) {
    std::mutex mutex; // of what follows
    auto next = std::begin(items);
    std::size_t begun = 0;
    std::size_t failed = 0;
    std::exception_ptr failure;

    const auto work = [&] {
        std::unique_lock lock(mutex);
        while (next != std::end(items) && !failure) {
            auto& item = *next++;
            const std::size_t number = begun++;
            lock.unlock();
            try {
                action(item);
                lock.lock();
            } catch (...) {
                lock.lock();
                if (!failure || number < failed) {
                    failure = std::current_exception();
                    failed = number;
                }
            }
        }
    };

    std::vector<std::future<void>> threads; // this one only waits: what it calls stays the same in every run
    const std::size_t most = std::min<std::size_t>(std::thread::hardware_concurrency(), std::size(items));
    try {
        while (most > 1 && threads.size() < most) {
            threads.push_back(std::async(std::launch::async, work));
        }
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): fewer threads do the same work
    }
    if (threads.empty()) {
        work();
    }
    threads.clear();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace platform
