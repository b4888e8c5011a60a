#pragma once

#include "ui/Toolkit.hpp"

#include <QCheckBox>

namespace ui::qt {

/// One check box of the chooser; the whole frame answers to the mouse.
class ChooserBox final : public QCheckBox {
public:
    ChooserBox(const CheckBox& box, QWidget* parent);

protected:
    bool hitButton(const QPoint& point) const override { return rect().contains(point); }
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QString title;
};

} // namespace ui::qt
