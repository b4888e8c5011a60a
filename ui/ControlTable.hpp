#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>

/// The window in figures: every frame, text, font and colour, once, for every toolkit.
/// Lengths are points, counted from the bottom left of what holds the control; colours are sRGB from 0 to 1.
namespace ui {

struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    /// A grey of this white level.
    static constexpr Color white(double level) { return {level, level, level, 1}; }

    friend constexpr bool operator==(const Color&, const Color&) = default;
};

struct Frame {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    friend constexpr bool operator==(const Frame&, const Frame&) = default;
};

enum class FontWeight { regular, semibold };

struct Font {
    double size = 0;
    FontWeight weight = FontWeight::regular;
};

/// The window's content, which cannot be resized.
struct WindowTable {
    std::string_view title = "Orvo Transitions";
    double width = 460;
    double height = 500;
};
inline constexpr WindowTable windowTable;

/// The base colour everywhere, under a radial glow. The glow's centre is relative: 0 is the middle of the
/// view, 1 its right or top edge.
struct BackgroundTable {
    Color base{0.055, 0.065, 0.085, 1.0};
    Color glow{0.12, 0.14, 0.18, 1.0};
    double centreX = 0.0;
    double centreY = 0.7;
};
inline constexpr BackgroundTable backgroundTable;

/// The glow of a view of some size: its centre, counted from the bottom left, where it has its own colour,
/// and how far away it has faded to the base colour, at the corner that is farthest.
struct Glow {
    double x = 0;
    double y = 0;
    double radius = 0;
};

inline Glow glowIn(double width, double height) {
    return {(1 + backgroundTable.centreX) * width / 2, (1 + backgroundTable.centreY) * height / 2,
            std::hypot((1 + std::abs(backgroundTable.centreX)) * width / 2,
                       (1 + std::abs(backgroundTable.centreY)) * height / 2)};
}

/// A label is centred and wraps.
struct LabelControl {
    Frame frame;
    std::string_view text;
    Font font;
    Color color;
    bool accessibilityElement = false; ///< marked as an element of its own for screen readers
};

struct ImageControl {
    Frame frame;
    std::optional<Color> tint;
    std::optional<double> symbolSize; ///< the longer side of a symbol in its middle
};

struct SpinnerControl {
    Frame frame;
};

struct ButtonControl {
    Frame frame;
    std::string_view title;
    Font font;
    Color bezel;
    Color tint;
};

/// The eight controls, in the order in which they are added to the window.
struct ControlTable {
    ImageControl icon{{166, 302, 128, 128}, std::nullopt, std::nullopt};
    LabelControl heading{{35, 250, 390, 40}, "Orvo Transitions", {30, FontWeight::semibold}, Color::white(1)};
    LabelControl subtitle{{35, 213, 390, 30}, "11 transitions pour Final Cut Pro", {15}, Color::white(0.72)};
    ImageControl symbol{{217, 169, 26, 26}, Color{0.45, 0.85, 0.65, 1.0}, 20};
    SpinnerControl spinner{{219, 171, 22, 22}};
    LabelControl status{{35, 140, 390, 27}, "", {13}, Color::white(0.70), true};
    ButtonControl primary{{85, 76, 290, 48},
                          "Installer",
                          {17, FontWeight::semibold},
                          Color{1.0, 0.56, 0.28, 1.0},
                          Color::white(0)};
    LabelControl footer{{35, 30, 390, 20}, "Apple Silicon · 2.3", {11}, Color::white(0.44)};
};
inline constexpr ControlTable controlTable;

/// The chooser's check boxes: columns of six, filled from the top.
struct ChooserGrid {
    double width = 400;
    double height = 240;
    std::int64_t rows = 6;
    std::int64_t columnStep = 205;
    std::int64_t rowStep = 37;
    std::int64_t firstRow = 210;
    double boxWidth = 200;
    double boxHeight = 28;

    /// The frame of the box at an index counted from 0. Throws std::overflow_error for a column out of reach.
    constexpr Frame box(std::int64_t index) const {
        const std::int64_t column = index / rows;
        if (column > std::numeric_limits<std::int64_t>::max() / columnStep) {
            throw std::overflow_error("chooser column");
        }
        return {static_cast<double>(column * columnStep),
                static_cast<double>(firstRow - index % rows * rowStep), boxWidth, boxHeight};
    }
};
inline constexpr ChooserGrid chooserGrid;

} // namespace ui
