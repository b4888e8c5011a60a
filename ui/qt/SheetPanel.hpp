#pragma once

#include "ui/Toolkit.hpp"

#include <QWidget>
#include <memory>
#include <vector>

namespace ui::qt {

class AlertText;
class ChooserArea;
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

    /// Scrolls to a control that is out of sight.
    void reveal(QWidget& control);

    /// How the boxes stand, in order.
    std::vector<bool> boxStates() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void addTexts(const Alert& alert, int highest);
    void placeArea();
    void addButtons(const std::vector<std::string>& titles, const std::function<void(bool)>& respond);

    int bottom = 0; ///< how far down the controls reach so far
    std::vector<std::unique_ptr<QWidget>> views;
    AlertText* text = nullptr;
    std::unique_ptr<ChooserArea> area; ///< the boxes, when there are any
    std::vector<std::unique_ptr<PushButton>> buttons;
};

} // namespace ui::qt
