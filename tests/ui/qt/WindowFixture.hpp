#pragma once

#include "ui/InstallerDelegate.hpp"
#include "ui/qt/InstallerWindow.hpp"
#include "ui/qt/QtToolkit.hpp"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <future>

namespace tests {

/// The real window with an engine that waits for the test's word.
class WindowFixture : public testing::Test {
protected:
    static constexpr int patience = 20000;

    WindowFixture();
    ~WindowFixture() override;

    /// What the chooser offers from now on, instead of its eleven names.
    static void writeCatalog(const std::vector<std::string>& names);

    /// The outcome of the run that is held open: a summary, or the description of an error.
    void release(const std::string& summary) { outcome.set_value(summary); }
    void releaseWithError(const std::string& description);

    ui::qt::InstallerWindow& window() { return toolkit.mainWindow(); }
    QLabel& icon() { return *child<QLabel>(0); }
    QLabel& label(int index) { return *child<QLabel>(index + 1); }
    QPushButton& primary() { return *child<QPushButton>(0); }
    ui::qt::AlertSheet* sheet();
    QWidget& panel() { return *children<QWidget>(sheet()).front(); }
    QWidget* focus() { return window().focusWidget(); }

    /// Presses and releases a key; Return later than a repeat of an earlier press would come.
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            QTest::qWait(60);
        }
        QTest::keyClick(window().windowHandle(), key, modifiers);
    }

    /// Presses the key until the condition holds, more often than there are controls to go through at most.
    template <typename Condition>
    bool pressUntil(Qt::Key key, Condition holds) {
        for (int presses = 0; !holds() && presses < 20; ++presses) {
            press(key);
        }
        return holds();
    }

    /// Waits for the sheet to have dropped all the way.
    bool sheetIsDown();

    template <typename Widget>
    std::vector<Widget*> children(QWidget* parent) {
        std::vector<Widget*> found;
        for (QWidget* widget : parent->findChildren<QWidget*>()) {
            if (auto* match = dynamic_cast<Widget*>(widget)) {
                found.push_back(match);
            }
        }
        return found;
    }

    template <typename Widget>
    Widget* child(int index) {
        return children<Widget>(&window().content()).at(static_cast<std::size_t>(index));
    }

    std::promise<std::string> outcome;
    bool ended = false; ///< the program was allowed to end
    ui::qt::QtToolkit toolkit;
    ui::InstallerDelegate delegate;
};

} // namespace tests
