#include "ui/qt/QtToolkit.hpp"

#include "ui/qt/Accessibility.hpp"
#include "ui/qt/DarkAppearance.hpp"
#include "ui/qt/IconFile.hpp"
#include "ui/qt/IconView.hpp"
#include "ui/qt/LabelView.hpp"
#include "ui/qt/PushButton.hpp"
#include "ui/qt/SpinnerView.hpp"
#include "ui/qt/SymbolView.hpp"
#include "ui/qt/TableReader.hpp"

#include <QApplication>
#include <QFile>
#include <QSessionManager>
#include <QThreadPool>

namespace ui::qt {

QtToolkit::QtToolkit() {
    applyDarkAppearance();
    describeControlsToScreenReaders();
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
                session.allowsInteraction(); // only who has been given the floor can refuse
                session.cancel();
            }
        },
        Qt::DirectConnection);
}

void QtToolkit::setApplicationIcon(const std::filesystem::path& path) {
    QFile file(path);
    QApplication::setWindowIcon(file.open(QIODevice::ReadOnly) ? readIcon(file.readAll()) : QIcon());
}

MenuItem& QtToolkit::installMainMenu(const std::vector<Menu>& menus) {
    menuBar = std::make_unique<InstallerMenuBar>(menus, [this](Command command) { perform(command); });
    return menuBar->lastMenu();
}

Window& QtToolkit::makeWindow(const WindowTable& table) {
    window =
        std::make_unique<InstallerWindow>(table, std::move(menuBar), [this] { return endApplication(); });
    return *window;
}

void QtToolkit::addIcon(const ImageControl& control) {
    QWidget& content = window->content();
    keep(std::make_unique<IconView>(toRect(control.frame, content.height()), &content));
}

Label& QtToolkit::addLabel(const LabelControl& control) {
    return keep(std::make_unique<LabelView>(control, &window->content()));
}

ImageView& QtToolkit::addImageView(const ImageControl& control) {
    return keep(std::make_unique<SymbolView>(control, &window->content()));
}

Spinner& QtToolkit::addSpinner(const SpinnerControl& control) {
    return keep(std::make_unique<SpinnerView>(control, &window->content()));
}

Button& QtToolkit::addButton(const ButtonControl& control, Command command) {
    PushButton& button = keep(std::make_unique<PushButton>(control, &window->content()));
    QObject::connect(&button, &QPushButton::clicked, &button, [this, command] { perform(command); });
    window->setDefaultButton(button);
    return button;
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
