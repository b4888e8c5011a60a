#pragma once

#include <algorithm>
#include <chrono>
#include <functional>

namespace ui {

/// Which presses of the Return key count: a key held down confirms once, and nothing confirms a result before
/// it can be read. Every toolkit puts every press to it, in the window and in its sheets.
class ReturnKey {
public:
    using Clock = std::chrono::steady_clock;

    explicit ReturnKey(std::function<Clock::time_point()> clock = Clock::now) : now(std::move(clock)) {}

    /// Whether this press counts. `repeat` is how the system marks a key that is held down, where it does.
    bool press(bool repeat) {
        const bool counts = !repeat && !down && now() >= restsUntil;
        down = true;
        return counts;
    }

    /// The key was released, or the keyboard went to another program.
    void release() {
        down = false;
        // Some systems report a key that is held down as released and pressed again at once.
        rest(std::chrono::milliseconds(50));
    }

    void resultAppeared() { rest(std::chrono::milliseconds(500)); }

private:
    void rest(std::chrono::milliseconds duration) { restsUntil = std::max(restsUntil, now() + duration); }

    std::function<Clock::time_point()> now;
    Clock::time_point restsUntil;
    bool down = false;
};

} // namespace ui
