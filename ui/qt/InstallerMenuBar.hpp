#pragma once

#include "ui/Toolkit.hpp"

#include <QMenu>
#include <QMenuBar>

namespace ui::qt {

/// The item in the bar that opens a menu.
class MenuTitle final : public MenuItem {
public:
    explicit MenuTitle(QMenu& opened) : menu(opened) {}

    /// Through the menu, because a bar that is enabled again enables the items of all its menus but those
    /// that were themselves disabled.
    void setEnabled(bool enabled) override { menu.setEnabled(enabled); }

private:
    QMenu& menu;
};

/// The menus, dark like the window below them.
class InstallerMenuBar final : public QMenuBar {
public:
    InstallerMenuBar(const std::vector<Menu>& menus, const std::function<void(Command)>& perform);

    MenuItem& lastMenu() { return titles.back(); }

private:
    void addEntries(QMenu& menu, const std::vector<MenuEntry>& entries,
                    const std::function<void(Command)>& perform);

    std::vector<MenuTitle> titles;
};

} // namespace ui::qt
