#include "ui/qt/QtToolkit.hpp"

#include "platform/Locations.hpp"
#include "ui/qt/Accessibility.hpp"
#include "ui/qt/Conversions.hpp"
#include "ui/qt/Style.hpp"
#include "ui/qt/Texts.hpp"
#include "ui/qt/Views.hpp"

#include <QApplication>
#include <QLabel>
#include <QSessionManager>
#include <QThreadPool>

namespace ui::qt {
namespace {

class QtLabel final : public Label {
public:
    explicit QtLabel(QLabel& shownLabel) : label(shownLabel) {}
    void setText(const std::string& text) override { label.setText(toText(text)); }

private:
    QLabel& label;
};

class QtButton final : public Button {
public:
    explicit QtButton(QPushButton& shownButton) : button(shownButton) {}
    void setTitle(const std::string& title) override { button.setText(withoutMnemonics(title)); }

    void setEnabled(bool enabled) override {
        if (!enabled) {
            button.clearFocus();
        }
        button.setEnabled(enabled);
        if (enabled && button.window()->focusWidget() == nullptr) {
            button.setFocus(Qt::OtherFocusReason);
        }
    }

private:
    QPushButton& button;
};

class QtMenuItem final : public MenuItem {
public:
    explicit QtMenuItem(QMenu& openedMenu) : menu(openedMenu) {}

    /// Through the menu, because a bar that is enabled again enables the items of all its menus but those
    /// that were themselves disabled.
    void setEnabled(bool enabled) override { menu.setEnabled(enabled); }

private:
    QMenu& menu;
};

} // namespace

QtToolkit::QtToolkit() {
    if (const auto resources = platform::resourceFolder()) {
        loadFonts(*resources / "Fonts");
    }
    applyDarkAppearance();
    describeControlsToScreenReaders();
}

template <typename Control>
Control& QtToolkit::keep(std::unique_ptr<Control> control) {
    Control& kept = *control;
    controls.push_back(std::move(control));
    return kept;
}

void QtToolkit::setCommandHandler(std::function<void(Command)> handler) {
    perform = std::move(handler);
}

void QtToolkit::becomeRegularApplication() {
    QCoreApplication::setApplicationName(toText(windowTable.title));
    // The delegate decides when the program ends, not the last window; a session that ends asks it too.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QObject::connect(
        qApp, &QGuiApplication::commitDataRequest, qApp,
        [this](QSessionManager& session) {
            session.setRestartHint(QSessionManager::RestartNever);
            if (!applicationShouldTerminate()) {
                session.allowsInteraction(); // only who may ask the user can refuse
                session.cancel();
            }
        },
        Qt::DirectConnection);
}

/// Shows the pictures beside the Apple icon file, which the toolkit by itself cannot read.
void QtToolkit::setApplicationIcon(const std::filesystem::path& path) {
    const std::filesystem::path beside = path.parent_path() / path.stem();
    QIcon icon;
    for (const char* side : {"32", "64", "128", "256", "512"}) {
        icon.addPixmap(QPixmap(toText(beside.string() + "-" + side + ".png")));
    }
    QApplication::setWindowIcon(icon);
}

void QtToolkit::addEntries(QMenu& menu, const std::vector<MenuEntry>& entries) {
    for (const MenuEntry& entry : entries) {
        if (entry.title.empty()) {
            menu.addSeparator();
            continue;
        }
        QAction& action = *menu.addAction(withoutMnemonics(entry.title));
        action.setMenuRole(QAction::NoRole);
        QObject::connect(&action, &QAction::triggered, &action,
                         [this, command = entry.command] { perform(command); });
        if (!entry.key.empty()) {
            action.setShortcut("Ctrl+" + toText(entry.key));
            action.setShortcutVisibleInContextMenu(true);
        }
    }
}

MenuItem& QtToolkit::installMainMenu(const std::vector<Menu>& menus) {
    menuBar = std::make_unique<QMenuBar>();
    menuBar->setNativeMenuBar(false);
    menuBar->setStyleSheet(darkStyleSheet());
    menuBar->setAccessibleName(toText(texts::menuBarDescription));
    QMenu* last = nullptr;
    for (const Menu& menu : menus) {
        // The application's own menu bears its name.
        last = menuBar->addMenu(withoutMnemonics(menu.title.empty() ? windowTable.title : menu.title));
        addEntries(*last, menu.entries);
    }
    return keep(std::make_unique<QtMenuItem>(*last));
}

Window& QtToolkit::makeWindow(const WindowTable& table) {
    window = std::make_unique<InstallerWindow>(table, std::move(menuBar), *returnKey,
                                               [this] { return endApplication(); });
    return *window;
}

template <typename View, typename Control>
View& QtToolkit::add(const Control& control) {
    auto view = std::make_unique<View>(&window->content());
    view->setGeometry(toRect(control.frame, window->content().height()));
    return *view.release(); // the window owns it now
}

void QtToolkit::addIcon(const ImageControl& control) {
    auto& view = add<QLabel>(control);
    view.setPixmap(QApplication::windowIcon().pixmap(view.size(), view.devicePixelRatio()));
    view.setAccessibleName(toText(texts::iconDescription));
}

Label& QtToolkit::addLabel(const LabelControl& control) {
    auto& label = add<QLabel>(control);
    label.setObjectName(control.accessibilityElement ? statusName : "");
    label.setFont(toFont(control.font));
    label.setTextFormat(Qt::PlainText);
    label.setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    label.setWordWrap(true);
    QPalette tones = label.palette();
    tones.setColor(QPalette::WindowText, toColor(control.color));
    label.setPalette(tones);
    label.setText(toText(control.text));
    return keep(std::make_unique<QtLabel>(label));
}

ImageView& QtToolkit::addImageView(const ImageControl& control) {
    return keep(std::make_unique<SymbolView>(control, &window->content()));
}

Spinner& QtToolkit::addSpinner(const SpinnerControl& control) {
    return keep(std::make_unique<SpinnerView>(control, &window->content()));
}

Button& QtToolkit::addButton(const ButtonControl& control, Command command) {
    auto& button = add<QPushButton>(control);
    button.setText(withoutMnemonics(control.title));
    button.setFont(toFont(control.font));
    setColors(button, control.bezel, control.tint);
    QObject::connect(&button, &QPushButton::clicked, &button, [this, command] { perform(command); });
    window->setDefaultButton(button);
    return keep(std::make_unique<QtButton>(button));
}

void QtToolkit::announce(const std::string& text) {
    qt::announce(*window, text);
}

void QtToolkit::terminate() {
    endApplication();
}

bool QtToolkit::endApplication() {
    const bool agreed = applicationShouldTerminate();
    if (agreed) {
        QCoreApplication::exit(0);
    }
    return agreed;
}

void QtToolkit::runOnWorker(std::function<void()> work) {
    QThreadPool::globalInstance()->start(std::move(work));
}

void QtToolkit::runOnMainQueue(std::function<void()> work) {
    QMetaObject::invokeMethod(qApp, std::move(work), Qt::QueuedConnection);
}

} // namespace ui::qt
