#pragma once

#include "ui/ControlTable.hpp"

#include <QProxyStyle>
#include <QPushButton>

namespace ui::qt {

/// The colours of what the table leaves to the toolkit: menus and sheets, dark like the window.
namespace colors {

inline constexpr Color bar = backgroundTable.base;
inline constexpr Color panel{0.135, 0.152, 0.188, 1.0};
inline constexpr Color edge{1.0, 1.0, 1.0, 0.12};
inline constexpr Color dim{0.02, 0.025, 0.035, 0.62};
inline constexpr Color text = Color::white(0.92);
inline constexpr Color secondaryText = Color::white(0.72);
inline constexpr Color disabledText = Color::white(0.36);
inline constexpr Color secondaryBezel{0.245, 0.268, 0.318, 1.0};
inline constexpr Color boxEdge = Color::white(0.46);
inline constexpr Color accent = controlTable.primary.bezel;
inline constexpr Color onAccent = controlTable.primary.tint;
inline constexpr Color focus = Color::white(1.0);

} // namespace colors

/// Draws push buttons, in their palette's colours, and check boxes: sharp at every scale, which a style
/// sheet's are not. The whole frame of a check box answers to the mouse.
class InstallerStyle final : public QProxyStyle {
public:
    InstallerStyle() : QProxyStyle("Fusion") {}

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
    QRect subElementRect(SubElement element, const QStyleOption* option,
                         const QWidget* widget) const override;
};

/// Makes every control dark, whatever the desktop's theme.
void applyDarkAppearance();

/// The style of menus, and of thin scroll bars without arrows.
QString darkStyleSheet();

/// Of a push button's face and title.
void setColors(QPushButton& button, const Color& bezel, const Color& tint);

/// The outline of a check mark in the middle of a square, drawn with a pen this wide.
QPainterPath checkMark(const QRectF& square, double penWidth);

} // namespace ui::qt
