#pragma once

#include "ui/Toolkit.hpp"

#include <QLabel>

namespace ui::qt {

/// A centred, wrapping line of text.
class LabelView final : public QLabel, public Label {
public:
    LabelView(const LabelControl& control, QWidget* parent);

    void setText(const std::string& text) override;

    /// Whether a screen reader is told when the text changes.
    const bool announces;
};

} // namespace ui::qt
