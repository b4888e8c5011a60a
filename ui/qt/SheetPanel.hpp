#pragma once

#include "ui/Toolkit.hpp"

#include <QWidget>
#include <memory>
#include <vector>

namespace ui::qt {

class AlertText;
class ChooserBox;
class PushButton;

/// The alert itself: icon, message, text, boxes and buttons, as high as they need.
class SheetPanel final : public QWidget {
public:
    /// `respond` is told whether the first button was pressed.
    SheetPanel(const Alert& alert, const std::function<void(bool)>& respond, QWidget* parent);
    ~SheetPanel() override;

    PushButton& defaultButton() const { return *buttons.front(); }

    /// The controls in the order in which the keyboard visits them.
    std::vector<QWidget*> focusOrder() const;

    /// How the boxes stand, in order.
    std::vector<bool> boxStates() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void addTexts(const Alert& alert, int highest);
    void addBoxes(const Accessory& accessory);
    void addButtons(const std::vector<std::string>& titles, const std::function<void(bool)>& respond);

    int bottom = 0; ///< how far down the controls reach so far
    std::vector<std::unique_ptr<QWidget>> views;
    AlertText* text = nullptr;
    std::vector<std::unique_ptr<ChooserBox>> boxes;
    std::vector<std::unique_ptr<PushButton>> buttons;
};

} // namespace ui::qt
