#pragma once

#include "tests/support/TemporaryFolder.hpp"
#include "tests/ui/qt/ChildProcess.hpp"

#include <QImage>
#include <QRect>
#include <chrono>
#include <memory>

namespace tests {

/// An X server of its own with a window manager, and hands on its keyboard and mouse.
class Screen {
public:
    Screen();

    const std::string& display() const { return name; }

    /// Presses keys one after the other, as xdotool names them.
    void press(const std::vector<std::string>& keys) const;

    /// Holds a key down for this long; the server repeats it meanwhile.
    void hold(const std::string& key, std::chrono::milliseconds duration) const;

    /// Moves the mouse to a point of the window and clicks.
    void click(const std::string& window, int x, int y) const;

    /// Moves the mouse where no window is.
    void leave() const;

    /// The number of the visible window with this title; empty when there is none.
    std::string findWindow(const std::string& title) const;

    /// Brings the window to the front and waits until it has the keyboard.
    void activate(const std::string& window) const;

    QImage capture(const std::string& window) const;

    std::string clipboard() const;

private:
    std::string tool(const std::vector<std::string>& command) const;

    TemporaryFolder folder;
    std::string name;
    std::unique_ptr<ChildProcess> server;
    std::unique_ptr<ChildProcess> windowManager;
};

/// The largest difference, from 0 to 255, between the mean colours of two pictures' small squares, each where
/// it fits best within `shift` pixels to either side; squares that touch one of the masks count for nothing.
/// Text that differs gives far more than antialiasing that differs.
double difference(const QImage& picture, const QImage& reference, const std::vector<QRect>& masks = {},
                  int shift = 0);

} // namespace tests
