#include "ui/qt/Accessibility.hpp"

#include "ui/qt/IconView.hpp"
#include "ui/qt/LabelView.hpp"
#include "ui/qt/Sheet.hpp"
#include "ui/qt/SpinnerView.hpp"
#include "ui/qt/SymbolView.hpp"
#include "ui/qt/TableReader.hpp"
#include "ui/qt/Texts.hpp"

#include <QAccessible>
#include <QAccessibleWidget>
#include <memory>
#include <optional>

namespace ui::qt {
namespace {

/// The status line reads as its text, which the reader speaks when it changes.
class StatusLine final : public QAccessibleWidget {
public:
    explicit StatusLine(LabelView& label) : QAccessibleWidget(&label, QAccessible::Notification) {}

    QString text(QAccessible::Text kind) const override {
        const QString line = static_cast<const QLabel*>(widget())->text();
        return kind == QAccessible::Name && !line.isEmpty() ? line : toText(texts::statusDescription);
    }
};

/// A control that only its role tells apart.
class DrawnControl final : public QAccessibleWidget {
public:
    DrawnControl(QWidget& control, QAccessible::Role role) : QAccessibleWidget(&control, role) {}
};

std::optional<QAccessible::Role> roleOf(const QObject& object) {
    if (dynamic_cast<const Sheet*>(&object) != nullptr) {
        return QAccessible::Dialog;
    }
    if (dynamic_cast<const SpinnerView*>(&object) != nullptr) {
        return QAccessible::Animation;
    }
    if (dynamic_cast<const IconView*>(&object) != nullptr ||
        dynamic_cast<const SymbolView*>(&object) != nullptr) {
        return QAccessible::Graphic;
    }
    return std::nullopt;
}

// Qt takes over what a factory makes.
QAccessibleInterface* describe(const QString&, QObject* object) {
    auto* label = dynamic_cast<LabelView*>(object);
    if (label != nullptr && label->announces) {
        return std::make_unique<StatusLine>(*label).release();
    }
    const std::optional<QAccessible::Role> role = object != nullptr ? roleOf(*object) : std::nullopt;
    return role ? std::make_unique<DrawnControl>(*static_cast<QWidget*>(object), *role).release() : nullptr;
}

} // namespace

void describeControlsToScreenReaders() {
    QAccessible::installFactory(describe);
}

} // namespace ui::qt
