#pragma once

#include <QWidget>

namespace ui::qt {

/// The window's content: a dark base with a soft glow behind the icon and the title.
class InstallerBackground final : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace ui::qt
