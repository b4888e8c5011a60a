#include "ui/qt/Accessibility.hpp"

#include "ui/qt/AlertSheet.hpp"
#include "ui/qt/Conversions.hpp"
#include "ui/qt/InstallerWindow.hpp"
#include "ui/qt/Views.hpp"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QLabel>
#include <memory>
#include <optional>

namespace ui::qt {
namespace {

/// What was announced, out of sight.
class Announcement final : public QWidget {
public:
    Announcement(const QString& text, QWidget* window) : QWidget(window) { setAccessibleName(text); }
};

/// The window; a sheet is all that it holds while one is up.
class WindowInterface final : public QAccessibleWidget {
public:
    explicit WindowInterface(InstallerWindow& window) : QAccessibleWidget(&window, QAccessible::Window) {}

    int childCount() const override { return static_cast<int>(parts().size()); }
    QAccessibleInterface* child(int index) const override {
        return QAccessible::queryAccessibleInterface(parts().value(index));
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return static_cast<int>(parts().indexOf(qobject_cast<QWidget*>(child->object())));
    }

private:
    QList<QWidget*> parts() const { return static_cast<const InstallerWindow*>(widget())->reachableParts(); }
};

class SheetInterface final : public QAccessibleWidget {
public:
    explicit SheetInterface(AlertSheet& sheet) : QAccessibleWidget(&sheet, QAccessible::Dialog) {}

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.modal = true;
        return state;
    }
};

/// An alert's text as one label, which readers speak when its sheet appears; a text field they would not.
class AlertTextInterface final : public QAccessibleWidget {
public:
    explicit AlertTextInterface(AlertText& text) : QAccessibleWidget(&text, QAccessible::StaticText) {}

    int childCount() const override { return 0; }
    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? static_cast<const AlertText*>(widget())->toPlainText() : QString();
    }
};

/// The status line, for a reader's command that reads it.
class StatusInterface final : public QAccessibleWidget {
public:
    explicit StatusInterface(QLabel& label) : QAccessibleWidget(&label, QAccessible::StatusBar) {}

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? static_cast<const QLabel*>(widget())->text() : QString();
    }
};

/// A widget that only its role tells apart.
class RoleInterface final : public QAccessibleWidget {
public:
    RoleInterface(QWidget& widget, QAccessible::Role role) : QAccessibleWidget(&widget, role) {}
};

// Qt takes over what a factory makes.
template <typename Interface, typename... Arguments>
QAccessibleInterface* make(Arguments&... arguments) {
    return std::make_unique<Interface>(arguments...).release();
}

std::optional<QAccessible::Role> roleOf(const QObject& object) {
    if (dynamic_cast<const SpinnerView*>(&object) != nullptr) {
        return QAccessible::Animation;
    }
    if (dynamic_cast<const SymbolView*>(&object) != nullptr) {
        return QAccessible::Graphic;
    }
    if (dynamic_cast<const Announcement*>(&object) != nullptr) {
        return QAccessible::Notification;
    }
    return std::nullopt;
}

QAccessibleInterface* describe(const QString&, QObject* object) {
    if (auto* window = dynamic_cast<InstallerWindow*>(object)) {
        return make<WindowInterface>(*window);
    }
    if (auto* sheet = dynamic_cast<AlertSheet*>(object)) {
        return make<SheetInterface>(*sheet);
    }
    if (auto* text = dynamic_cast<AlertText*>(object)) {
        return make<AlertTextInterface>(*text);
    }
    auto* label = dynamic_cast<QLabel*>(object);
    if (label != nullptr && label->objectName() == statusName) {
        return make<StatusInterface>(*label);
    }
    const std::optional<QAccessible::Role> role = object != nullptr ? roleOf(*object) : std::nullopt;
    return role ? make<RoleInterface>(static_cast<QWidget&>(*object), *role) : nullptr;
}

} // namespace

void describeControlsToScreenReaders() {
    QAccessible::installFactory(describe);
}

void announce(InstallerWindow& window, const std::string& text) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    QAccessibleAnnouncementEvent event(&window, toText(text));
    event.setPoliteness(QAccessible::AnnouncementPoliteness::Assertive);
#else
    // A notification that comes into view is what screen readers speak without being asked. Each is an object
    // of its own, because a reader may ask for its text after the next one has come.
    auto announcement = std::make_unique<Announcement>(toText(text), &window);
    QAccessibleEvent event(announcement.release(), QAccessible::ObjectShow); // the window owns it
#endif
    QAccessible::updateAccessibility(&event);
}

} // namespace ui::qt
