#include "ui/InstallerDelegate.hpp"

#include "engine/PackInstaller.hpp"
#include "platform/Locations.hpp"
#include "platform/Ownership.hpp"
#include "ui/Texts.hpp"

#include <exception>
#include <utility>
#include <vector>

namespace ui {
namespace {

const std::vector<Menu> mainMenu = {
    {"",
     {{texts::aboutItem, Command::about, ""},
      {"", Command::about, ""},
      {texts::quitItem, Command::terminate, "q"}}},
    {texts::optionsTitle,
     {{texts::customizeItem, Command::customize, ""}, {texts::uninstallItem, Command::uninstall, ""}}}};

/// How a run ended: without an error it succeeded.
struct Outcome {
    std::optional<std::string> error;
};

Outcome outcomeOf(const std::function<std::string()>& work) {
    try {
        work();
        return {};
    } catch (...) {
        return {engine::localizedDescription(std::current_exception())};
    }
}

/// The pack's names; none when the catalogue cannot be read, which the next run reports.
std::vector<std::string> namesIn(const std::filesystem::path& payload) {
    try {
        return engine::PackInstaller(std::nullopt, payload).names();
    } catch (const std::exception&) {
        return {};
    }
}

Accessory chooserBoxes(const std::vector<std::string>& names, const InstallerDelegate::Selection& selection) {
    Accessory accessory{chooserGrid.width, chooserGrid.height, {}};
    std::int64_t index = 0;
    for (const std::string& name : names) {
        accessory.boxes.push_back({name, chooserGrid.box(index++), !selection || selection->contains(name)});
    }
    return accessory;
}

std::set<std::string> tickedNames(const std::vector<std::string>& names, const std::vector<bool>& boxes) {
    std::set<std::string> ticked;
    for (std::size_t index = 0; index < names.size(); ++index) {
        if (boxes.at(index)) {
            ticked.insert(names[index]);
        }
    }
    return ticked;
}

} // namespace

InstallerDelegate::InstallerDelegate(Toolkit& applicationToolkit, Perform runPerform)
    : payload(platform::payloadFolder()), toolkit(applicationToolkit), performRun(std::move(runPerform)) {}

void InstallerDelegate::applicationDidFinishLaunching() {
    toolkit.setCommandHandler([this](Command command) { perform(command); });
    toolkit.setReturnKey(returnKey);
    toolkit.becomeRegularApplication();
    toolkit.setApplicationIcon(payload.parent_path() / "Orvo.icns");
    optionsItem = &toolkit.installMainMenu(mainMenu);
    window = &toolkit.makeWindow(windowTable);
    toolkit.addIcon(controlTable.icon);
    heading = &toolkit.addLabel(controlTable.heading);
    subtitle = &toolkit.addLabel(controlTable.subtitle);
    symbol = &toolkit.addImageView(controlTable.symbol);
    spinner = &toolkit.addSpinner(controlTable.spinner);
    status = &toolkit.addLabel(controlTable.status);
    primary = &toolkit.addButton(controlTable.primary, Command::install);
    toolkit.addLabel(controlTable.footer);
    window->show();
}

void InstallerDelegate::perform(Command command) {
    switch (command) {
    case Command::about:
        return about();
    case Command::install:
        return install();
    case Command::customize:
        return customize();
    case Command::uninstall:
        return uninstall();
    case Command::terminate:
        return toolkit.terminate();
    }
}

void InstallerDelegate::about() {
    if (sheetIsUp) {
        return;
    }
    beginSheet({texts::aboutMessage, texts::aboutInformative, {}, std::nullopt}, [](const AlertResponse&) {});
}

void InstallerDelegate::install() {
    if (sheetIsUp) {
        return;
    }
    if (completed) {
        toolkit.terminate();
    } else {
        run(false);
    }
}

void InstallerDelegate::run(bool uninstall) {
    if (busy) {
        return;
    }
    busy = true;
    setControlsEnabled(false);
    symbol->clear();
    spinner->start();
    const Screen screen{uninstall ? texts::uninstalling : texts::installing, texts::runningSubtitle, ""};
    show(screen);
    announce(screen);

    // The worker gets copies, so that nothing of the delegate is read off the main thread.
    auto work = [run = performRun, folder = payload, chosen = selection, uninstall] {
        return run(folder, uninstall, chosen);
    };
    toolkit.runOnWorker([this, &queue = toolkit, work = std::move(work), uninstall] {
        const Outcome outcome = outcomeOf(work);
        queue.runOnMainQueue([this, outcome, uninstall] {
            busy = false;
            spinner->stop();
            setControlsEnabled(true);
            if (outcome.error) {
                showFailure(*outcome.error);
            } else {
                showSuccess(uninstall);
            }
        });
    });
}

void InstallerDelegate::show(const Screen& screen) {
    heading->setText(screen.heading);
    subtitle->setText(screen.subtitle);
    status->setText(screen.status);
}

void InstallerDelegate::announce(const Screen& screen) {
    toolkit.announce(screen.heading + "\n" + screen.subtitle +
                     (screen.status.empty() ? "" : "\n" + screen.status));
}

void InstallerDelegate::setControlsEnabled(bool enabled) {
    primary->setEnabled(enabled);
    optionsItem->setEnabled(enabled);
    window->setCloseButtonEnabled(enabled);
}

void InstallerDelegate::showSuccess(bool uninstall) {
    completed = true;
    const Screen screen = uninstall
                              ? Screen{texts::uninstalled, texts::uninstalledSubtitle, ""}
                              : Screen{texts::installed, texts::installedSubtitle, texts::installedStatus};
    show(screen);
    symbol->showSymbol(texts::successSymbol, texts::successDescription);
    primary->setTitle(texts::finishTitle);
    returnKey.resultAppeared();
    announce(screen);
}

void InstallerDelegate::showFailure(const std::string& description) {
    completed = false;
    show({texts::failed, texts::failedSubtitle, texts::failedStatus});
    primary->setTitle(texts::retryTitle);
    if (sheetIsUp) {
        afterSheet = [this, description] { showFailureSheet(description); };
    } else {
        showFailureSheet(description);
    }
}

void InstallerDelegate::showFailureSheet(const std::string& description) {
    returnKey.resultAppeared();
    beginSheet({texts::failureMessage, description, {texts::ok}, std::nullopt}, [](const AlertResponse&) {});
}

void InstallerDelegate::beginSheet(const Alert& alert,
                                   const std::function<void(const AlertResponse&)>& completion) {
    sheetIsUp = true;
    window->beginSheet(alert, [this, completion](const AlertResponse& response) {
        sheetIsUp = false;
        window->setCloseButtonEnabled(!busy); // a toolkit may have given it back with the sheet's end
        completion(response);
        if (afterSheet) {
            std::exchange(afterSheet, nullptr)();
        }
    });
}

void InstallerDelegate::customize() {
    if (busy || sheetIsUp) {
        return;
    }
    const std::vector<std::string> names = namesIn(payload);
    beginSheet(
        {texts::chooserMessage, "", {texts::chooserConfirm, texts::cancel}, chooserBoxes(names, selection)},
        [this, names](const AlertResponse& response) {
            if (response.first && !busy) {
                choose(tickedNames(names, response.boxes));
            }
        });
}

void InstallerDelegate::choose(std::set<std::string> names) {
    const Screen screen{std::string(controlTable.heading.text),
                        std::to_string(names.size()) + texts::selectedSuffix, ""};
    selection = std::move(names);
    completed = false;
    primary->setTitle(std::string(controlTable.primary.title));
    show(screen);
    symbol->clear();
    announce(screen);
}

void InstallerDelegate::uninstall() {
    if (busy || sheetIsUp) {
        return;
    }
    beginSheet({texts::confirmationMessage,
                texts::confirmationInformative,
                {texts::confirmationConfirm, texts::cancel},
                std::nullopt},
               [this](const AlertResponse& response) {
                   if (response.first) {
                       run(true);
                   }
               });
}

std::string InstallerDelegate::performWithEngine(const std::filesystem::path& payload, bool uninstall,
                                                 const Selection& selection) {
    const std::filesystem::path home = platform::becomeOwnerOf(platform::homeFolder());
    return engine::PackInstaller(home, payload).perform(uninstall, selection);
}

} // namespace ui
