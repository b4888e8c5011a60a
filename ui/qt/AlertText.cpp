#include "ui/qt/AlertText.hpp"

#include "ui/qt/Colors.hpp"
#include "ui/qt/ScrollBarStyle.hpp"
#include "ui/qt/TableReader.hpp"
#include "ui/qt/Texts.hpp"

#include <QContextMenuEvent>
#include <QMenu>
#include <QScrollBar>
#include <cmath>
#include <memory>

namespace ui::qt {

AlertText::AlertText(const QString& text, QWidget* parent) : QTextEdit(parent) {
    setFont(toFont({13}));
    setFrameShape(QFrame::NoFrame);
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setStyleSheet(scrollBarStyle());
    document()->setDocumentMargin(0);
    viewport()->setAutoFillBackground(false);
    QPalette tones = palette();
    tones.setColor(QPalette::Text, toColor(colors::secondaryText));
    setPalette(tones);
    setPlainText(text);
    setAccessibleName(text);
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

} // namespace ui::qt
