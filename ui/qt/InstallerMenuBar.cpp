#include "ui/qt/InstallerMenuBar.hpp"

#include "ui/qt/Colors.hpp"
#include "ui/qt/TableReader.hpp"
#include "ui/qt/Texts.hpp"

namespace ui::qt {
namespace {

constexpr double fontSize = 13;

QString darkStyle() {
    return QString("QMenuBar { background: %1; color: %2; padding: 2px 6px; border: none; }"
                   "QMenuBar::item { padding: 5px 9px; border-radius: 5px; background: transparent; }"
                   "QMenuBar::item:selected { background: %3; }"
                   "QMenuBar::item:disabled { color: %4; background: transparent; }"
                   "QMenu { background: %5; color: %2; border: 1px solid %3; padding: 5px; }"
                   "QMenu::item { padding: 6px 22px 6px 12px; border-radius: 5px; }"
                   "QMenu::item:selected { background: %6; color: %7; }"
                   "QMenu::item:disabled { color: %4; background: transparent; }"
                   "QMenu::separator { height: 1px; background: %3; margin: 5px 8px; }")
        .arg(toColor(colors::bar).name(), toColor(colors::text).name(),
             toColor(colors::secondaryBezel).name(), toColor(colors::disabledText).name(),
             toColor(colors::panel).name(), toColor(colors::accent).name(), toColor(colors::onAccent).name());
}

} // namespace

InstallerMenuBar::InstallerMenuBar(const std::vector<Menu>& menus,
                                   const std::function<void(Command)>& perform) {
    setNativeMenuBar(false);
    setStyleSheet(darkStyle());
    setFont(toFont({fontSize}));
    setAccessibleName(toText(texts::menuBarDescription));
    for (const Menu& menu : menus) {
        // The application's own menu bears its name.
        QMenu& added = *addMenu(withoutMnemonics(menu.title.empty() ? windowTable.title : menu.title));
        added.setFont(font());
        addEntries(added, menu.entries, perform);
        titles.emplace_back(added);
    }
}

void InstallerMenuBar::addEntries(QMenu& menu, const std::vector<MenuEntry>& entries,
                                  const std::function<void(Command)>& perform) {
    for (const MenuEntry& entry : entries) {
        if (entry.title.empty()) {
            menu.addSeparator();
            continue;
        }
        QAction& action = *menu.addAction(withoutMnemonics(entry.title));
        action.setMenuRole(QAction::NoRole);
        connect(&action, &QAction::triggered, this, [perform, command = entry.command] { perform(command); });
        if (!entry.key.empty()) {
            action.setShortcut("Ctrl+" + toText(entry.key));
            action.setShortcutVisibleInContextMenu(true);
        }
    }
}

} // namespace ui::qt
