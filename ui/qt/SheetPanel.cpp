#include "ui/qt/SheetPanel.hpp"

#include "ui/Texts.hpp"
#include "ui/qt/AlertText.hpp"
#include "ui/qt/ChooserArea.hpp"
#include "ui/qt/ChooserBox.hpp"
#include "ui/qt/Colors.hpp"
#include "ui/qt/IconView.hpp"
#include "ui/qt/PushButton.hpp"
#include "ui/qt/TableReader.hpp"

#include <QFontMetrics>
#include <QLabel>
#include <QPainter>
#include <algorithm>

namespace ui::qt {
namespace {

constexpr int sideMargin = 8; ///< between the window's side and the panel
constexpr int lowestGap = 16; ///< between the longest panel and the window's bottom
constexpr int padding = 20;
constexpr int gap = 16;
constexpr int iconSide = 48;
constexpr int textLeft = padding + iconSide + gap;
constexpr int messageSize = 15;
constexpr int messageGap = 8;
constexpr int buttonHeight = 32;
constexpr int buttonGap = 10;
constexpr int buttonPadding = 18;
constexpr int smallestButton = 96;
constexpr int cornerRadius = 14;

} // namespace

SheetPanel::SheetPanel(const Alert& alert, const std::function<void(bool)>& respond, QWidget* parent)
    : QWidget(parent) {
    setFixedWidth(parent->width() - 2 * sideMargin);
    if (alert.accessory) {
        area = std::make_unique<ChooserArea>(*alert.accessory, width() - 2 * gap, this);
    }
    const int below = (area ? gap + area->height() : 0) + gap + buttonHeight + padding;
    addTexts(alert, parent->height() - lowestGap - below);
    if (area) {
        placeArea();
    }
    addButtons(alert.buttons.empty() ? std::vector<std::string>{ui::texts::ok} : alert.buttons, respond);
    setFixedHeight(bottom + padding);
    move(sideMargin, 0);
}

SheetPanel::~SheetPanel() = default;

void SheetPanel::addTexts(const Alert& alert, int highest) {
    views.push_back(std::make_unique<IconView>(QRect(padding, padding, iconSide, iconSide), this));

    auto message = std::make_unique<QLabel>(toText(alert.message), this);
    message->setTextFormat(Qt::PlainText);
    message->setFont(toFont({messageSize, FontWeight::semibold}));
    message->setWordWrap(true);
    const int width = this->width() - textLeft - padding;
    const int messageHeight = message->heightForWidth(width);
    const bool alone = alert.informative.empty();
    const int messageTop = alone ? padding + std::max(0, (iconSide - messageHeight) / 2) : padding;
    message->setGeometry(textLeft, messageTop, width, messageHeight);
    bottom = messageTop + messageHeight;
    views.push_back(std::move(message));

    if (!alone) {
        auto informative = std::make_unique<AlertText>(toText(alert.informative), this);
        const int top = bottom + messageGap;
        const int height = std::min(informative->heightFor(width), highest - top);
        informative->setGeometry(textLeft, top, width, height);
        bottom = top + height;
        text = informative.get();
        views.push_back(std::move(informative));
    }
    bottom = std::max(bottom, padding + iconSide);
}

void SheetPanel::placeArea() {
    area->move((width() - area->width()) / 2, bottom + gap);
    bottom = area->geometry().bottom() + 1;
}

void SheetPanel::addButtons(const std::vector<std::string>& titles,
                            const std::function<void(bool)>& respond) {
    const int top = bottom + gap;
    bottom = top + buttonHeight;
    int right = width() - padding;
    for (const std::string& title : titles) {
        const bool first = buttons.empty();
        const Font font{13, first ? FontWeight::semibold : FontWeight::regular};
        const int titleWidth = QFontMetrics(toFont(font)).horizontalAdvance(toText(title));
        const int buttonWidth = std::max(smallestButton, titleWidth + 2 * buttonPadding);
        auto button =
            std::make_unique<PushButton>(ButtonControl{{},
                                                       title,
                                                       font,
                                                       first ? colors::accent : colors::secondaryBezel,
                                                       first ? colors::onAccent : colors::text},
                                         this);
        button->setGeometry(right - buttonWidth, top, buttonWidth, buttonHeight);
        connect(button.get(), &QPushButton::clicked, this, [respond, first] { respond(first); });
        right -= buttonWidth + buttonGap;
        buttons.push_back(std::move(button));
    }
}

std::vector<QWidget*> SheetPanel::focusOrder() const {
    std::vector<QWidget*> order;
    if (text != nullptr) {
        order.push_back(text);
    }
    if (area) {
        std::transform(area->boxes().begin(), area->boxes().end(), std::back_inserter(order),
                       [](auto& box) { return box.get(); });
    }
    std::transform(buttons.rbegin(), buttons.rend(), std::back_inserter(order),
                   [](auto& button) { return button.get(); });
    return order;
}

void SheetPanel::reveal(QWidget& control) {
    if (area) {
        area->ensureWidgetVisible(&control);
    }
}

std::vector<bool> SheetPanel::boxStates() const {
    std::vector<bool> states;
    if (area) {
        std::transform(area->boxes().begin(), area->boxes().end(), std::back_inserter(states),
                       [](auto& box) { return box->isChecked(); });
    }
    return states;
}

void SheetPanel::paintEvent(QPaintEvent*) {
    // The top corners lie beyond the edge, as if the panel had come out of it.
    const QRectF outline = QRectF(rect()).adjusted(0.5, -cornerRadius, -0.5, -0.5);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(toColor(colors::edge), 1));
    painter.setBrush(toColor(colors::panel));
    painter.drawRoundedRect(outline, cornerRadius, cornerRadius);
}

} // namespace ui::qt
