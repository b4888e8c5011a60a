#pragma once

#include "ui/qt/SheetPanel.hpp"

#include <QVariantAnimation>
#include <QWidget>

namespace ui::qt {

/// An alert that drops from the top edge over the dimmed content, and lets neither mouse nor keyboard past.
class Sheet final : public QWidget {
public:
    /// `finish` is called once with the user's answer.
    Sheet(const Alert& alert, std::function<void(const AlertResponse&)> finish, QWidget* content);

    void drop();

    /// Moves the keyboard's focus to the next or previous control, around and around.
    void moveFocus(bool forward);

    /// Return presses the focused button, or else the first; Escape dismisses.
    void handleKey(QKeyEvent* event);

    const QString message;
    const QString informative;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override { handleKey(event); }
    void mousePressEvent(QMouseEvent* event) override;

private:
    void respond(bool first);
    void place(double progress);

    std::function<void(const AlertResponse&)> finish;
    std::unique_ptr<SheetPanel> panel;
    QVariantAnimation descent;
    double dimming = 0;
    bool answered = false;
};

} // namespace ui::qt
