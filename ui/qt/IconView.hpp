#pragma once

#include "ui/ControlTable.hpp"

#include <QWidget>

namespace ui::qt {

/// Shows the application's icon, or nothing when it has none.
class IconView final : public QWidget {
public:
    IconView(const QRect& frame, QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace ui::qt
