#pragma once

#include "ui/Toolkit.hpp"

#include <QBasicTimer>
#include <QWidget>

namespace ui::qt {

/// A wheel of spokes that turns while something is in progress.
class SpinnerView final : public QWidget, public Spinner {
public:
    SpinnerView(const SpinnerControl& control, QWidget* parent);

    void start() override;
    void stop() override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    QBasicTimer timer;
    int step = 0;
};

} // namespace ui::qt
