#pragma once

#include <QTextEdit>

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

} // namespace ui::qt
