#include "tests/ui/qt/Screen.hpp"

#include "platform/Process.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <thread>

namespace tests {
namespace {

constexpr int squareSide = 16;

std::array<double, 3> colorAt(const QImage& picture, int x, int y) {
    const QRgb pixel = picture.pixel(x, y);
    return {static_cast<double>(qRed(pixel)), static_cast<double>(qGreen(pixel)),
            static_cast<double>(qBlue(pixel))};
}

double squareDifference(const QImage& picture, const QImage& reference, const QRect& square, int shift) {
    std::array<double, 3> sums{};
    for (int y = square.top(); y <= square.bottom(); ++y) {
        for (int x = square.left(); x <= square.right(); ++x) {
            const auto left = colorAt(picture, std::clamp(x + shift, 0, picture.width() - 1), y);
            const auto right = colorAt(reference, x, y);
            for (std::size_t channel = 0; channel < sums.size(); ++channel) {
                sums[channel] += std::abs(left[channel] - right[channel]);
            }
        }
    }
    return *std::max_element(sums.begin(), sums.end()) / (square.width() * square.height());
}

} // namespace

Screen::Screen() {
    const std::filesystem::path number = folder / "display";
    // The server picks a free number itself and writes it down.
    server = std::make_unique<ChildProcess>(
        std::vector<std::string>{
            "sh", "-c", "exec Xvfb -displayfd 3 -screen 0 1200x1200x24 -nolisten tcp -noreset 3>\"$1\"", "sh",
            number.string()},
        std::map<std::string, std::string>{}, folder / "server.log");
    const bool up =
        eventually([&] { return std::filesystem::exists(number) && readFile(number).ends_with('\n'); });
    if (!up) {
        throw std::runtime_error("no X server: " + readFile(folder / "server.log"));
    }
    const std::string digits = readFile(number);
    name = ":" + digits.substr(0, digits.find('\n'));
    windowManager = std::make_unique<ChildProcess>(
        std::vector<std::string>{"openbox"},
        std::map<std::string, std::string>{{"DISPLAY", name}, {"HOME", folder.path()}},
        folder / "manager.log");
    const bool managed = eventually([&] {
        return tool({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"}).find("window id") != std::string::npos;
    });
    if (!managed) {
        throw std::runtime_error("no window manager: " + readFile(folder / "manager.log"));
    }
}

std::string Screen::tool(const std::vector<std::string>& command) const {
    std::vector<std::string> arguments = {"DISPLAY=" + name};
    arguments.insert(arguments.end(), command.begin(), command.end());
    return platform::run("/usr/bin/env", arguments).output;
}

void Screen::press(const std::vector<std::string>& keys) const {
    std::vector<std::string> command = {"xdotool", "key", "--clearmodifiers"};
    command.insert(command.end(), keys.begin(), keys.end());
    tool(command);
}

void Screen::hold(const std::string& key, std::chrono::milliseconds duration) const {
    tool({"xdotool", "keydown", key});
    std::this_thread::sleep_for(duration);
    tool({"xdotool", "keyup", key});
}

void Screen::click(const std::string& window, int x, int y) const {
    tool({"xdotool", "mousemove", "--window", window, std::to_string(x), std::to_string(y), "click", "1"});
}

void Screen::leave() const {
    tool({"xdotool", "mousemove", "1", "1"});
}

std::string Screen::findWindow(const std::string& title) const {
    const platform::ProcessResult found =
        platform::run("/usr/bin/env",
                      {"DISPLAY=" + name, "xdotool", "search", "--onlyvisible", "--name", "^" + title + "$"});
    return found.status == 0 ? found.output.substr(0, found.output.find('\n')) : "";
}

void Screen::activate(const std::string& window) const {
    tool({"xdotool", "windowactivate", "--sync", window});
}

QImage Screen::capture(const std::string& window) const {
    const std::filesystem::path file = folder / "capture.png";
    tool({"import", "-window", window, file.string()});
    return QImage(QString::fromStdString(file.string()));
}

std::string Screen::clipboard() const {
    const platform::ProcessResult read = platform::run(
        "/usr/bin/env", {"DISPLAY=" + name, "timeout", "5", "xclip", "-o", "-selection", "clipboard"});
    return read.status == 0 ? read.output : "";
}

double difference(const QImage& picture, const QImage& reference, const std::vector<QRect>& masks,
                  int shift) {
    if (picture.isNull() || picture.size() != reference.size()) {
        return 255;
    }
    double largest = 0;
    for (int y = 0; y < picture.height(); y += squareSide) {
        for (int x = 0; x < picture.width(); x += squareSide) {
            const QRect square = QRect(x, y, squareSide, squareSide) & picture.rect();
            const bool masked = std::any_of(masks.begin(), masks.end(),
                                            [&](const QRect& mask) { return mask.intersects(square); });
            if (!masked) {
                double least = 255;
                for (int moved = -shift; moved <= shift; ++moved) {
                    least = std::min(least, squareDifference(picture, reference, square, moved));
                }
                largest = std::max(largest, least);
            }
        }
    }
    return largest;
}

} // namespace tests
