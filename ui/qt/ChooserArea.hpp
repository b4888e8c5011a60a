#pragma once

#include "ui/Toolkit.hpp"

#include <QScrollArea>
#include <memory>
#include <vector>

namespace ui::qt {

class ChooserBox;

/// The chooser's check boxes at their places. Columns that find no room scroll sideways.
class ChooserArea final : public QScrollArea {
public:
    ChooserArea(const Accessory& accessory, int widest, QWidget* parent);
    ~ChooserArea() override;

    const std::vector<std::unique_ptr<ChooserBox>>& boxes() const { return added; }

protected:
    void wheelEvent(QWheelEvent* event) override;

private:
    std::vector<std::unique_ptr<ChooserBox>> added;
};

} // namespace ui::qt
