#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <mutex>
#include <thread>
#include <vector>

namespace platform {

/// Calls the action with every item of the range, on as many threads as the machine has processors, and
/// returns when all calls have. Once a call has thrown, no further item is begun; of several exceptions the
/// one of the earliest item is thrown, which is the one that a plain loop would throw. Where no thread can be
/// made, the calling one does the work.
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

    const std::size_t most = std::min<std::size_t>(std::thread::hardware_concurrency(), std::size(items));
    std::vector<std::thread> threads; // this one only waits: what it calls stays the same in every run
    try {
        threads.reserve(most);
        while (most > 1 && threads.size() < most) {
            threads.emplace_back(work);
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): fewer threads do the same work
    }
    if (threads.empty()) {
        work();
    }
    std::ranges::for_each(threads, &std::thread::join);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace platform
