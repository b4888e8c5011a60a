#pragma once

#include "ui/Toolkit.hpp"

#include <QBasicTimer>
#include <QWidget>

/// What Qt has no widget for.
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

/// Shows the result symbol, a check mark cut out of a filled circle, or nothing.
class SymbolView final : public QWidget, public ImageView {
public:
    SymbolView(const ImageControl& control, QWidget* parent);

    void showSymbol(const std::string& name, const std::string& accessibilityDescription) override;
    void clear() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const ImageControl control;
};

} // namespace ui::qt
