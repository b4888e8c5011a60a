#pragma once

#include "ui/Toolkit.hpp"

#include <QPushButton>

namespace ui::qt {

/// A rounded button in one colour, which shows when it is hovered, pressed, focused or disabled.
class PushButton final : public QPushButton, public Button {
public:
    PushButton(const ButtonControl& control, QWidget* parent);

    void setTitle(const std::string& title) override;
    void setEnabled(bool enabled) override;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QColor bezel;
    QColor tint;
};

} // namespace ui::qt
