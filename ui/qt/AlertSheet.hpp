#pragma once

#include "ui/Toolkit.hpp"

#include <QCheckBox>
#include <QPushButton>
#include <QScrollArea>
#include <QTextEdit>
#include <QVariantAnimation>
#include <memory>

namespace ui::qt {

/// An alert's text: wraps anywhere, scrolls when it must, can be selected and copied.
class AlertText final : public QTextEdit {
public:
    AlertText(const QString& text, QWidget* parent);

    /// How high the whole text is at this width.
    int heightFor(int width) const;

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
};

/// The chooser's check boxes. Two columns show; others are reached by whole columns, sideways.
class ChooserArea final : public QScrollArea {
public:
    ChooserArea(const Accessory& accessory, QWidget* parent);

    std::vector<bool> boxStates() const;

    bool eventFilter(QObject* box, QEvent* event) override;

protected:
    void wheelEvent(QWheelEvent* event) override;

private:
    std::vector<QCheckBox*> boxes; ///< which the area's widget owns
    int turned = 0;                ///< how far the wheel was turned towards the next column
};

/// An alert that drops from the top edge of the window over the dimmed content, and lets neither mouse nor
/// keyboard past.
class AlertSheet final : public QWidget {
public:
    /// `finish` is called once with the user's answer.
    AlertSheet(const Alert& alert, std::function<void(const AlertResponse&)> finish, const QRect& frame,
               QWidget* window);

    void drop();

    /// Moves the keyboard's focus to the next or previous control, around and around.
    void moveFocus(bool forward);

    /// Presses the button that has the keyboard's focus, or else the first.
    void confirm() const;
    void dismiss() { respond(false); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    int addIcon();
    int addMessage(const Alert& alert, int left);
    int addText(const QString& text, int left, int top, int highest);
    void addButtons(const std::vector<std::string>& titles, int top);
    void respond(bool first);

    std::function<void(const AlertResponse&)> finish;
    QWidget panel{this};
    AlertText* text = nullptr;
    ChooserArea* area = nullptr; ///< the boxes, when there are any
    QPushButton* defaultButton = nullptr;
    QVariantAnimation descent;
};

} // namespace ui::qt
