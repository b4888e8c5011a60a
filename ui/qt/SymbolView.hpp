#pragma once

#include "ui/Toolkit.hpp"

#include <QColor>
#include <QWidget>

namespace ui::qt {

/// The place of the result symbol: a check mark cut out of a filled circle, or nothing.
class SymbolView final : public QWidget, public ImageView {
public:
    SymbolView(const ImageControl& control, QWidget* parent);

    void showSymbol(const std::string& name, const std::string& accessibilityDescription) override;
    void clear() override;

    const QColor tint;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace ui::qt
