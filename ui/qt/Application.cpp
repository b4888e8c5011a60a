#include "ui/InstallerDelegate.hpp"
#include "ui/qt/QtToolkit.hpp"
#include "ui/qt/Texts.hpp"

#include <QApplication>
#include <cstdlib>
#include <iostream>

namespace ui::qt {
namespace {

/// Stands in for Qt's own messages while it looks for a display: without one Qt would abort.
void reportMissingDisplay(QtMsgType type, const QMessageLogContext&, const QString&) {
    if (type == QtFatalMsg) {
        std::cerr << texts::noDisplay << "\n" << texts::windowlessOptions << std::endl;
        std::_Exit(EXIT_FAILURE);
    }
}

/// Opens the display, or ends the program with a sentence that says what to do instead.
std::unique_ptr<QApplication> openDisplay(int& argc, char** argv) {
    const QtMessageHandler usual = qInstallMessageHandler(reportMissingDisplay);
    auto application = std::make_unique<QApplication>(argc, argv);
    qInstallMessageHandler(usual);
    return application;
}

} // namespace

} // namespace ui::qt

/// Opens the window and returns the exit status once the user has quit. The loader finds it by this name.
extern "C" __attribute__((visibility("default"))) int orvoRunApplication(char** argv) {
    int count = 1; // none of the toolkit's own options is an option of ours
    const std::unique_ptr<QApplication> application = ui::qt::openDisplay(count, argv);
    ui::qt::QtToolkit toolkit;
    ui::InstallerDelegate delegate(toolkit);
    toolkit.setTerminationTest([&] { return delegate.applicationShouldTerminate(); });
    delegate.applicationDidFinishLaunching();
    return QApplication::exec();
}
