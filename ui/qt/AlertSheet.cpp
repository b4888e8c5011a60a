#include "ui/qt/AlertSheet.hpp"

#include "ui/Texts.hpp"
#include "ui/qt/Conversions.hpp"
#include "ui/qt/Style.hpp"
#include "ui/qt/Texts.hpp"

#include <QApplication>
#include <QContextMenuEvent>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace ui::qt {
namespace {

constexpr int dropMilliseconds = 180;
constexpr int sideMargin = 8; ///< between the window's side and the panel
constexpr int lowestGap = 16; ///< between the longest panel and the window's bottom
constexpr int padding = 20;
constexpr int gap = 16;
constexpr int iconSide = 48;
constexpr int messageSize = 15;
constexpr int messageGap = 8;
constexpr int buttonHeight = 32;
constexpr int buttonGap = 10;
constexpr int buttonPadding = 18;
constexpr int smallestButton = 96;
constexpr int cornerRadius = 14;
constexpr int wheelNotch = 120;

constexpr int columnStep = static_cast<int>(chooserGrid.columnStep);
constexpr int twoColumns = columnStep + static_cast<int>(chooserGrid.boxWidth);

template <typename Widget, typename... Arguments>
Widget& addChild(QWidget& parent, const Arguments&... arguments) {
    return *std::make_unique<Widget>(arguments..., &parent).release(); // the parent owns it
}

QCheckBox& addBox(QWidget& parent, const CheckBox& box) {
    auto& added = addChild<QCheckBox>(parent, withoutMnemonics(box.title));
    added.setGeometry(toRect(box.frame, parent.height()));
    added.setChecked(box.on);
    const QString title = toText(box.title);
    constexpr int beforeTitle = 31;
    if (added.fontMetrics().horizontalAdvance(title) > added.width() - beforeTitle) {
        added.setToolTip("<qt>" + title.toHtmlEscaped() + "</qt>"); // else a tip guesses whether it is markup
    }
    return added;
}

/// The right edge of the box that reaches farthest: wider than the accessory as it was designed.
int reach(const Accessory& accessory) {
    double right = accessory.width;
    for (const CheckBox& box : accessory.boxes) {
        right = std::max(right, box.frame.x + box.frame.width);
    }
    return static_cast<int>(right);
}

/// From one box to the next in the key's direction, in the order of the boxes; 0 for another key.
int stepOf(int key) {
    switch (key) {
    case Qt::Key_Up:
        return -1;
    case Qt::Key_Down:
        return 1;
    case Qt::Key_Left:
        return -static_cast<int>(chooserGrid.rows);
    case Qt::Key_Right:
        return static_cast<int>(chooserGrid.rows);
    default:
        return 0;
    }
}

} // namespace

AlertText::AlertText(const QString& text, QWidget* parent) : QTextEdit(parent) {
    setFrameShape(QFrame::NoFrame);
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setStyleSheet(darkStyleSheet());
    document()->setDocumentMargin(0);
    viewport()->setAutoFillBackground(false);
    QPalette tones = palette();
    tones.setColor(QPalette::Text, toColor(colors::secondaryText));
    setPalette(tones);
    setPlainText(text);
}

int AlertText::heightFor(int width) const {
    const std::unique_ptr<QTextDocument> whole(document()->clone());
    whole->setTextWidth(width);
    return static_cast<int>(std::ceil(whole->size().height()));
}

void AlertText::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menu.addAction(toText(texts::copy), QKeySequence::Copy, this, &QTextEdit::copy)
        ->setEnabled(textCursor().hasSelection());
    menu.addAction(toText(texts::selectAll), QKeySequence::SelectAll, this, &QTextEdit::selectAll);
    menu.exec(event->globalPos());
}

ChooserArea::ChooserArea(const Accessory& accessory, QWidget* parent) : QScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    horizontalScrollBar()->setStyleSheet(darkStyleSheet());
    auto columns = std::make_unique<QWidget>();
    columns->resize(reach(accessory), static_cast<int>(accessory.height));
    for (const CheckBox& box : accessory.boxes) {
        boxes.push_back(&addBox(*columns, box));
        boxes.back()->installEventFilter(this);
    }
    const bool scrolls = columns->width() > twoColumns;
    resize(std::min(columns->width(), twoColumns),
           columns->height() + (scrolls ? horizontalScrollBar()->sizeHint().height() : 0));
    setWidget(columns.release()); // the area owns it now
    widget()->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);

    QScrollBar* bar = horizontalScrollBar();
    const auto toWholeColumns = [bar] {
        if (!bar->isSliderDown()) {
            bar->setValue((bar->value() + columnStep / 2) / columnStep * columnStep);
        }
    };
    connect(bar, &QScrollBar::valueChanged, this, toWholeColumns);
    connect(bar, &QScrollBar::sliderReleased, this, toWholeColumns);
}

std::vector<bool> ChooserArea::boxStates() const {
    std::vector<bool> states;
    std::transform(boxes.begin(), boxes.end(), std::back_inserter(states),
                   [](const QCheckBox* box) { return box->isChecked(); });
    return states;
}

bool ChooserArea::eventFilter(QObject* box, QEvent* event) {
    const int step = event->type() == QEvent::KeyPress ? stepOf(static_cast<QKeyEvent*>(event)->key()) : 0;
    if (step == 0) {
        return QScrollArea::eventFilter(box, event);
    }
    const auto from = std::find(boxes.begin(), boxes.end(), box) - boxes.begin();
    const auto to = from + step;
    const bool sameColumn = from / chooserGrid.rows == to / chooserGrid.rows;
    if (to >= 0 && to < std::ssize(boxes) && (std::abs(step) > 1 || sameColumn)) {
        QCheckBox& next = *boxes[static_cast<std::size_t>(to)];
        next.setFocus(step > 0 ? Qt::TabFocusReason : Qt::BacktabFocusReason);
        ensureWidgetVisible(&next, 0, 0);
    }
    return true;
}

void ChooserArea::wheelEvent(QWheelEvent* event) {
    turned += event->angleDelta().x() + event->angleDelta().y();
    const int columns = turned / wheelNotch;
    turned %= wheelNotch;
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() - columns * columnStep);
}

AlertSheet::AlertSheet(const Alert& alert, std::function<void(const AlertResponse&)> finishSheet,
                       const QRect& frame, QWidget* window)
    : QWidget(window), finish(std::move(finishSheet)) {
    setGeometry(frame);
    setAccessibleName(toText(alert.message));
    panel.setFixedWidth(width() - 2 * sideMargin);
    const int left = addIcon();
    int bottom = addMessage(alert, left);
    if (alert.accessory) {
        area = &addChild<ChooserArea>(panel, *alert.accessory);
    }
    const int below = (area != nullptr ? gap + area->height() : 0) + gap + buttonHeight + padding;
    if (!alert.informative.empty()) {
        bottom = addText(toText(alert.informative), left, bottom + messageGap, height() - lowestGap - below);
    }
    bottom = std::max(bottom, left > padding ? padding + iconSide : padding);
    if (area != nullptr) {
        area->move((panel.width() - twoColumns) / 2, bottom + gap);
        bottom = area->geometry().bottom() + 1;
    }
    addButtons(alert.buttons.empty() ? std::vector<std::string>{ui::texts::ok} : alert.buttons, bottom + gap);
    panel.setFixedHeight(bottom + gap + buttonHeight + padding);

    descent.setStartValue(0.0);
    descent.setEndValue(1.0);
    descent.setDuration(dropMilliseconds);
    descent.setEasingCurve(QEasingCurve::OutCubic);
    connect(&descent, &QVariantAnimation::valueChanged, this, [this](const QVariant& progress) {
        panel.move(sideMargin, static_cast<int>((progress.toDouble() - 1) * panel.height()));
        update();
    });
    panel.move(sideMargin, -panel.height());
}

/// Returns where the texts begin: at the panel's padding when there is no icon.
int AlertSheet::addIcon() {
    const QIcon icon = QApplication::windowIcon();
    if (icon.isNull()) {
        return padding;
    }
    auto& view = addChild<QLabel>(panel);
    view.setPixmap(icon.pixmap(QSize(iconSide, iconSide), devicePixelRatio()));
    view.setGeometry(padding, padding, iconSide, iconSide);
    view.setAccessibleName(toText(texts::iconDescription));
    return padding + iconSide + gap;
}

int AlertSheet::addMessage(const Alert& alert, int left) {
    auto& message = addChild<QLabel>(panel, toText(alert.message));
    message.setTextFormat(Qt::PlainText);
    message.setFont(toFont({messageSize, FontWeight::semibold}));
    message.setWordWrap(true);
    const int width = panel.width() - left - padding;
    const int height = message.heightForWidth(width);
    const bool besideIcon = alert.informative.empty() && left > padding;
    const int top = besideIcon ? padding + std::max(0, (iconSide - height) / 2) : padding;
    message.setGeometry(left, top, width, height);
    return top + height;
}

int AlertSheet::addText(const QString& contents, int left, int top, int highest) {
    text = &addChild<AlertText>(panel, contents);
    const int width = panel.width() - left - padding;
    const int height = std::min(text->heightFor(width), highest - top);
    text->setGeometry(left, top, width, height);
    return top + height;
}

/// From the left, the first title on the right.
void AlertSheet::addButtons(const std::vector<std::string>& titles, int top) {
    int right = panel.width() - padding;
    for (const std::string& title : titles) {
        const bool first = defaultButton == nullptr;
        auto& button = addChild<QPushButton>(panel, withoutMnemonics(title));
        button.setFont(toFont({13, first ? FontWeight::semibold : FontWeight::regular}));
        setColors(button, first ? colors::accent : colors::secondaryBezel,
                  first ? colors::onAccent : colors::text);
        const int titleWidth = button.fontMetrics().horizontalAdvance(toText(title));
        const int width = std::max(smallestButton, titleWidth + 2 * buttonPadding);
        button.setGeometry(right - width, top, width, buttonHeight);
        right -= width + buttonGap;
        connect(&button, &QPushButton::clicked, this, [this, first] { respond(first); });
        if (first) {
            defaultButton = &button;
            button.setDefault(true);
        } else {
            setTabOrder(&button, defaultButton);
        }
    }
}

void AlertSheet::drop() {
    show();
    raise();
    if (text != nullptr) {
        text->verticalScrollBar()->setValue(
            text->verticalScrollBar()->maximum()); // how it all ended comes last
    }
    defaultButton->setFocus(Qt::OtherFocusReason);
    descent.start();
}

void AlertSheet::moveFocus(bool forward) {
    const auto takesFocus = [this](const QWidget* widget) {
        return isAncestorOf(widget) && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus) != 0;
    };
    QWidget* next = window()->focusWidget() != nullptr ? window()->focusWidget() : this;
    do {
        next = forward ? next->nextInFocusChain() : next->previousInFocusChain();
    } while (!takesFocus(next));
    next->setFocus(forward ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    if (area != nullptr && area->isAncestorOf(next)) {
        area->ensureWidgetVisible(next, 0, 0);
    }
}

void AlertSheet::confirm() const {
    auto* focused = dynamic_cast<QPushButton*>(window()->focusWidget());
    (focused != nullptr && isAncestorOf(focused) ? focused : defaultButton)->click();
}

void AlertSheet::mousePressEvent(QMouseEvent* event) {
    event->accept();
}

void AlertSheet::respond(bool first) {
    if (finish) {
        std::exchange(finish, nullptr)({first, area != nullptr ? area->boxStates() : std::vector<bool>()});
    }
}

void AlertSheet::paintEvent(QPaintEvent*) {
    Color dim = colors::dim;
    dim.alpha *= descent.currentValue().toDouble();
    // The panel's top corners lie beyond the edge, as if it had come out of it.
    const QRectF outline = QRectF(panel.geometry()).adjusted(0.5, -cornerRadius, -0.5, -0.5);
    QPainter painter(this);
    painter.fillRect(rect(), toColor(dim));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(toColor(colors::edge), 1));
    painter.setBrush(toColor(colors::panel));
    painter.drawRoundedRect(outline, cornerRadius, cornerRadius);
}

} // namespace ui::qt
