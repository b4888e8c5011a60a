#include "engine/PackRecords.hpp"
#include "platform/Locations.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/ui/RecordingToolkit.hpp"
#include "ui/InstallerDelegate.hpp"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace tests {
namespace {

using Names = std::set<std::string>;

const std::vector<std::string> elevenNames = {"Aube",    "Brume", "Comète", "Dérive",      "Éclipse", "Flot",
                                              "Galaxie", "Halo",  "Iris",   "Jour & Nuit", "Kaléido"};

void writeCatalog(const std::vector<std::string>& names) {
    std::string json;
    for (const std::string& name : names) {
        json += (json.empty() ? "" : ",") + ("{\"name\":\"" + name + "\"}");
    }
    writeFile(platform::payloadFolder() / "catalog.json", "[" + json + "]");
}

std::vector<ui::CheckBox> boxesOf(const RecordingToolkit::Sheet& sheet) {
    return sheet.alert.accessory.value().boxes;
}

struct Request {
    std::filesystem::path payload;
    bool uninstall;
    ui::InstallerDelegate::Selection selection;
};

class InstallerDelegateTest : public testing::Test {
protected:
    InstallerDelegateTest() {
        writeCatalog(elevenNames);
        delegate.applicationDidFinishLaunching();
    }

    std::string answer(const Request& request) {
        requests.push_back(request);
        if (failure) {
            throw engine::InstallError(*failure);
        }
        return "summary that nobody sees";
    }

    void expectScreen(const std::string& heading, const std::string& subtitle, const std::string& status,
                      const std::string& title) {
        EXPECT_EQ(toolkit.labels.at(0)->text, heading);
        EXPECT_EQ(toolkit.labels.at(1)->text, subtitle);
        EXPECT_EQ(toolkit.labels.at(2)->text, status);
        EXPECT_EQ(toolkit.primary.title, title);
        EXPECT_EQ(toolkit.labels.at(3)->text, "Apple Silicon · 2.3");
    }

    void expectIdle() {
        EXPECT_FALSE(delegate.busy);
        EXPECT_TRUE(toolkit.primary.enabled);
        EXPECT_TRUE(toolkit.optionsItem.enabled);
        EXPECT_TRUE(toolkit.window.closeButtonEnabled);
        EXPECT_FALSE(toolkit.spinner.turning);
        EXPECT_TRUE(delegate.applicationShouldTerminate());
    }

    void expectRunning(const std::string& heading) {
        EXPECT_TRUE(delegate.busy);
        EXPECT_FALSE(toolkit.primary.enabled);
        EXPECT_FALSE(toolkit.optionsItem.enabled);
        EXPECT_FALSE(toolkit.window.closeButtonEnabled);
        EXPECT_TRUE(toolkit.spinner.turning);
        EXPECT_EQ(toolkit.symbol.symbol, "");
        EXPECT_FALSE(delegate.applicationShouldTerminate());
        EXPECT_EQ(toolkit.labels.at(0)->text, heading);
        EXPECT_EQ(toolkit.labels.at(1)->text, "Cela ne prend que quelques instants.");
        EXPECT_EQ(toolkit.labels.at(2)->text, "");
    }

    void expectCheckMark() {
        EXPECT_EQ(toolkit.symbol.symbol, "checkmark.circle.fill");
        EXPECT_EQ(toolkit.symbol.description, "Opération réussie");
    }

    /// Opens the chooser, leaves only these names ticked and confirms.
    void choose(const Names& names) {
        delegate.customize();
        const auto sheet = toolkit.takeSheet();
        ui::AlertResponse response{true, {}};
        for (const ui::CheckBox& box : boxesOf(sheet)) {
            response.boxes.push_back(names.contains(box.title));
        }
        sheet.completion(response);
    }

    void startUninstall() {
        delegate.uninstall();
        toolkit.takeSheet().completion({true, {}});
    }

    void fail(const std::string& description) {
        failure = description;
        delegate.install();
        toolkit.finishRun();
        failure.reset();
    }

    std::vector<Request> requests;
    std::optional<std::string> failure;
    RecordingToolkit toolkit;
    ui::InstallerDelegate delegate{toolkit, [this](const std::filesystem::path& payload, bool uninstall,
                                                   const ui::InstallerDelegate::Selection& selection) {
                                       return answer({payload, uninstall, selection});
                                   }};
};

TEST_F(InstallerDelegateTest, BuildsMenuWindowAndControlsInOrder) {
    const std::vector<std::string> expected = {
        "command handler", "regular application", "application icon", "main menu", "window", "icon", "label",
        "label",           "image view",          "spinner",          "label",     "button", "label"};
    EXPECT_EQ(toolkit.calls, expected);
    EXPECT_TRUE(toolkit.window.shown);
    EXPECT_EQ(toolkit.iconFile, platform::resourceFolder().value() / "Orvo.icns");
    EXPECT_EQ(delegate.payload, platform::resourceFolder().value() / "Payload");
}

TEST_F(InstallerDelegateTest, StartsReadyForTheWholePack) {
    expectScreen("Orvo Transitions", "11 transitions pour Final Cut Pro", "", "Installer");
    expectIdle();
    EXPECT_EQ(toolkit.symbol.symbol, "");
    EXPECT_FALSE(delegate.completed);
    EXPECT_FALSE(delegate.selection.has_value());
    EXPECT_TRUE(requests.empty());
    EXPECT_TRUE(toolkit.window.sheets.empty());
}

TEST_F(InstallerDelegateTest, KeepsTheControlsUnderTheirNames) {
    EXPECT_EQ(delegate.window, &toolkit.window);
    EXPECT_EQ(delegate.heading, toolkit.labels.at(0).get());
    EXPECT_EQ(delegate.subtitle, toolkit.labels.at(1).get());
    EXPECT_EQ(delegate.status, toolkit.labels.at(2).get());
    EXPECT_EQ(delegate.symbol, &toolkit.symbol);
    EXPECT_EQ(delegate.spinner, &toolkit.spinner);
    EXPECT_EQ(delegate.primary, &toolkit.primary);
    EXPECT_EQ(delegate.optionsItem, &toolkit.optionsItem);
}

TEST_F(InstallerDelegateTest, HasNoControlsBeforeLaunch) {
    RecordingToolkit untouched;
    const ui::InstallerDelegate fresh(untouched);
    EXPECT_EQ(fresh.window, nullptr);
    EXPECT_EQ(fresh.heading, nullptr);
    EXPECT_EQ(fresh.subtitle, nullptr);
    EXPECT_EQ(fresh.status, nullptr);
    EXPECT_EQ(fresh.primary, nullptr);
    EXPECT_EQ(fresh.spinner, nullptr);
    EXPECT_EQ(fresh.symbol, nullptr);
    EXPECT_EQ(fresh.optionsItem, nullptr);
    EXPECT_FALSE(fresh.selection);
    EXPECT_FALSE(fresh.completed);
    EXPECT_FALSE(fresh.busy);
    EXPECT_TRUE(untouched.calls.empty());
}

TEST_F(InstallerDelegateTest, OffersTheApplicationMenuAndTheOptions) {
    ASSERT_EQ(toolkit.menus.size(), 2U);
    const ui::Menu& application = toolkit.menus[0];
    EXPECT_EQ(application.title, "");
    ASSERT_EQ(application.entries.size(), 3U);
    EXPECT_EQ(application.entries[0].title, "À propos de Orvo Transitions");
    EXPECT_EQ(application.entries[0].command, ui::Command::about);
    EXPECT_EQ(application.entries[0].key, "");
    EXPECT_EQ(application.entries[1].title, "");
    EXPECT_EQ(application.entries[2].title, "Quitter Orvo Transitions");
    EXPECT_EQ(application.entries[2].command, ui::Command::terminate);
    EXPECT_EQ(application.entries[2].key, "q");
    const ui::Menu& options = toolkit.menus[1];
    EXPECT_EQ(options.title, "Options");
    ASSERT_EQ(options.entries.size(), 2U);
    EXPECT_EQ(options.entries[0].title, "Choisir les transitions…");
    EXPECT_EQ(options.entries[0].command, ui::Command::customize);
    EXPECT_EQ(options.entries[0].key, "");
    EXPECT_EQ(options.entries[1].title, "Désinstaller la sélection…");
    EXPECT_EQ(options.entries[1].command, ui::Command::uninstall);
    EXPECT_EQ(options.entries[1].key, "");
}

TEST_F(InstallerDelegateTest, AboutTellsTheVersionAndChangesNothing) {
    toolkit.command(ui::Command::about);
    const auto sheet = toolkit.takeSheet();
    EXPECT_EQ(sheet.alert.message, "Orvo Transitions 2.3");
    EXPECT_EQ(sheet.alert.informative, "11 transitions natives pour Final Cut Pro.\n"
                                       "Version signée localement, non notarisée.");
    EXPECT_TRUE(sheet.alert.buttons.empty());
    EXPECT_FALSE(sheet.alert.accessory);
    sheet.completion({true, {}});
    expectScreen("Orvo Transitions", "11 transitions pour Final Cut Pro", "", "Installer");
    expectIdle();
    EXPECT_TRUE(requests.empty());
}

TEST_F(InstallerDelegateTest, ShowsARunningInstall) {
    toolkit.command(ui::Command::install);
    expectRunning("Installation…");
    EXPECT_FALSE(delegate.completed);
    EXPECT_EQ(toolkit.primary.title, "Installer");
    EXPECT_TRUE(requests.empty()) << "the engine must not work on the main thread";
}

TEST_F(InstallerDelegateTest, ShowsARunningUninstall) {
    startUninstall();
    expectRunning("Désinstallation…");
}

TEST_F(InstallerDelegateTest, StaysBusyUntilTheMainQueueHasTheResult) {
    delegate.install();
    toolkit.runWorker();
    expectRunning("Installation…");
    toolkit.runMainQueue();
    expectIdle();
}

TEST_F(InstallerDelegateTest, ShowsASuccessfulInstall) {
    delegate.install();
    toolkit.finishRun();
    expectScreen("C’est installé.", "Retrouvez vos transitions dans Final Cut Pro.",
                 "Transitions → Orvo Transitions", "Terminer");
    expectCheckMark();
    expectIdle();
    EXPECT_TRUE(delegate.completed);
    EXPECT_TRUE(toolkit.window.sheets.empty());
}

TEST_F(InstallerDelegateTest, ShowsASuccessfulUninstall) {
    startUninstall();
    toolkit.finishRun();
    expectScreen("C’est désinstallé.", "Vous pouvez fermer cette fenêtre.", "", "Terminer");
    expectCheckMark();
    expectIdle();
    EXPECT_TRUE(delegate.completed);
}

TEST_F(InstallerDelegateTest, ShowsAFailedInstallWithTheWholeDescription) {
    const std::string description =
        "Fichier modifié : A/A.motr\nSauvegarde : /tmp/x\n\nRestauration complète.";
    fail(description);
    expectScreen("À vérifier", "L’installation n’a pas pu se terminer.",
                 "Consultez le détail, puis réessayez.", "Réessayer");
    expectIdle();
    EXPECT_FALSE(delegate.completed);
    EXPECT_EQ(toolkit.symbol.symbol, "");
    const auto sheet = toolkit.takeSheet();
    EXPECT_EQ(sheet.alert.message, "Installation interrompue");
    EXPECT_EQ(sheet.alert.informative, description);
    EXPECT_EQ(sheet.alert.buttons, std::vector<std::string>{"OK"});
    EXPECT_FALSE(sheet.alert.accessory);
    sheet.completion({true, {}});
    expectScreen("À vérifier", "L’installation n’a pas pu se terminer.",
                 "Consultez le détail, puis réessayez.", "Réessayer");
}

TEST_F(InstallerDelegateTest, ShowsAFailedUninstallInTheSameWords) {
    failure = "Manifeste inconnu : /x";
    startUninstall();
    toolkit.finishRun();
    expectScreen("À vérifier", "L’installation n’a pas pu se terminer.",
                 "Consultez le détail, puis réessayez.", "Réessayer");
    EXPECT_EQ(toolkit.takeSheet().alert.message, "Installation interrompue");
}

TEST_F(InstallerDelegateTest, SurvivesErrorsOfEveryKind) {
    RecordingToolkit other;
    ui::InstallerDelegate surprised(other, [](const auto&, bool, const auto&) -> std::string { throw 42; });
    surprised.applicationDidFinishLaunching();
    surprised.install();
    other.finishRun();
    EXPECT_EQ(other.takeSheet().alert.informative, "Une erreur inattendue s’est produite.");
    EXPECT_FALSE(surprised.busy);

    RecordingToolkit third;
    ui::InstallerDelegate starved(
        third, [](const auto&, bool, const auto&) -> std::string { throw std::bad_alloc(); });
    starved.applicationDidFinishLaunching();
    starved.install();
    third.finishRun();
    EXPECT_EQ(third.takeSheet().alert.informative, "La mémoire manque.");

    RecordingToolkit fourth;
    ui::InstallerDelegate detailed(
        fourth, [](const auto&, bool, const auto&) -> std::string { throw std::runtime_error("détail"); });
    detailed.applicationDidFinishLaunching();
    detailed.install();
    fourth.finishRun();
    EXPECT_EQ(fourth.takeSheet().alert.informative, "Une erreur inattendue s’est produite : détail.");
}

TEST_F(InstallerDelegateTest, ASecondReturnBeforeTheResultStartsNothing) {
    toolkit.pressReturn();
    toolkit.pressReturn();
    EXPECT_EQ(toolkit.worker.size(), 1U);
    toolkit.finishRun();
    EXPECT_EQ(requests.size(), 1U);
    EXPECT_EQ(toolkit.terminations, 0);
}

TEST_F(InstallerDelegateTest, ASecondRequestPastTheDisabledButtonStartsNothing) {
    delegate.install();
    delegate.install();
    delegate.run(true);
    EXPECT_EQ(toolkit.worker.size(), 1U);
    toolkit.finishRun();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_FALSE(requests[0].uninstall);
}

TEST_F(InstallerDelegateTest, AReturnAfterTheResultQuits) {
    toolkit.pressReturn();
    toolkit.finishRun();
    toolkit.pressReturn();
    EXPECT_EQ(toolkit.terminations, 1);
    EXPECT_EQ(requests.size(), 1U);
    EXPECT_TRUE(toolkit.worker.empty());
}

TEST_F(InstallerDelegateTest, HandsTheEngineThePayloadAndNoSelection) {
    delegate.install();
    toolkit.finishRun();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].payload, delegate.payload);
    EXPECT_FALSE(requests[0].uninstall);
    EXPECT_FALSE(requests[0].selection.has_value());
}

TEST_F(InstallerDelegateTest, HandsTheEngineExactlyTheSelection) {
    choose({"Aube", "Iris", "Jour & Nuit", "Éclipse"});
    startUninstall();
    toolkit.finishRun();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_TRUE(requests[0].uninstall);
    EXPECT_EQ(requests[0].selection, (Names{"Aube", "Iris", "Jour & Nuit", "Éclipse"}));
}

TEST_F(InstallerDelegateTest, CopiesTheSelectionAtTheStartOfARun) {
    choose({"Aube"});
    delegate.install();
    delegate.selection = Names{"Iris"};
    toolkit.finishRun();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].selection, Names{"Aube"});
    EXPECT_EQ(delegate.selection, Names{"Iris"});
}

TEST_F(InstallerDelegateTest, RetryAfterAFailedUninstallInstallsTheSelection) {
    choose({"Flot", "Halo"});
    failure = "refus";
    startUninstall();
    toolkit.finishRun();
    toolkit.takeSheet().completion({true, {}});
    failure.reset();
    toolkit.pressReturn();
    expectRunning("Installation…");
    toolkit.finishRun();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_TRUE(requests[0].uninstall);
    EXPECT_FALSE(requests[1].uninstall);
    EXPECT_EQ(requests[1].selection, (Names{"Flot", "Halo"}));
    EXPECT_EQ(toolkit.primary.title, "Terminer");
}

TEST_F(InstallerDelegateTest, UninstallsFromASuccess) {
    delegate.install();
    toolkit.finishRun();
    startUninstall();
    expectRunning("Désinstallation…");
    EXPECT_TRUE(delegate.completed) << "unchanged while running";
    EXPECT_EQ(toolkit.primary.title, "Terminer");
    toolkit.finishRun();
    expectScreen("C’est désinstallé.", "Vous pouvez fermer cette fenêtre.", "", "Terminer");
    expectCheckMark();
    toolkit.pressReturn();
    EXPECT_EQ(toolkit.terminations, 1);
}

TEST_F(InstallerDelegateTest, AFailureAfterASuccessMakesTheButtonInstallAgain) {
    delegate.install();
    toolkit.finishRun();
    failure = "refus";
    startUninstall();
    EXPECT_TRUE(delegate.completed);
    toolkit.finishRun();
    EXPECT_FALSE(delegate.completed);
    EXPECT_EQ(toolkit.symbol.symbol, "");
    toolkit.takeSheet().completion({false, {}});
    toolkit.pressReturn();
    EXPECT_EQ(toolkit.terminations, 0);
    EXPECT_TRUE(delegate.busy);
}

TEST_F(InstallerDelegateTest, AnInstallRequestedWhileRunningFromASuccessIsRefusedByTheOnlyWayOut) {
    delegate.install();
    toolkit.finishRun();
    startUninstall();
    delegate.install();
    EXPECT_EQ(toolkit.worker.size(), 1U);
    EXPECT_EQ(toolkit.terminations, 1);
    EXPECT_FALSE(delegate.applicationShouldTerminate());
}

TEST_F(InstallerDelegateTest, RefusesToTerminateOnlyWhileBusy) {
    EXPECT_TRUE(delegate.applicationShouldTerminate());
    EXPECT_TRUE(delegate.applicationShouldTerminateAfterLastWindowClosed());
    delegate.install();
    EXPECT_FALSE(delegate.applicationShouldTerminate());
    EXPECT_TRUE(delegate.applicationShouldTerminateAfterLastWindowClosed());
    toolkit.runWorker();
    EXPECT_FALSE(delegate.applicationShouldTerminate());
    toolkit.runMainQueue();
    EXPECT_TRUE(delegate.applicationShouldTerminate());
}

TEST_F(InstallerDelegateTest, QuitCommandAsksTheToolkit) {
    toolkit.command(ui::Command::terminate);
    EXPECT_EQ(toolkit.terminations, 1);
}

TEST_F(InstallerDelegateTest, ChooserOffersEveryNameTickedInTwoColumns) {
    toolkit.command(ui::Command::customize);
    const auto sheet = toolkit.takeSheet();
    EXPECT_EQ(sheet.alert.message, "Vos transitions");
    EXPECT_EQ(sheet.alert.informative, "");
    EXPECT_EQ(sheet.alert.buttons, (std::vector<std::string>{"Valider", "Annuler"}));
    const ui::Accessory accessory = sheet.alert.accessory.value();
    EXPECT_EQ(accessory.width, 400);
    EXPECT_EQ(accessory.height, 240);
    ASSERT_EQ(accessory.boxes.size(), 11U);
    const std::vector<double> rows = {210, 173, 136, 99, 62, 25};
    for (std::size_t index = 0; index < 11; ++index) {
        EXPECT_EQ(accessory.boxes[index].title, elevenNames[index]);
        EXPECT_TRUE(accessory.boxes[index].on);
        EXPECT_EQ(accessory.boxes[index].frame,
                  (ui::Frame{index < 6 ? 0.0 : 205.0, rows[index % 6], 200, 28}));
    }
}

TEST_F(InstallerDelegateTest, ConfirmingEverythingStoresEveryName) {
    choose(Names(elevenNames.begin(), elevenNames.end()));
    EXPECT_EQ(delegate.selection, Names(elevenNames.begin(), elevenNames.end()));
    expectScreen("Orvo Transitions", "11 transitions sélectionnées", "", "Installer");
}

TEST_F(InstallerDelegateTest, ConfirmingNothingStoresAnEmptySelection) {
    choose({});
    ASSERT_TRUE(delegate.selection.has_value());
    EXPECT_TRUE(delegate.selection->empty());
    expectScreen("Orvo Transitions", "0 transitions sélectionnées", "", "Installer");
    delegate.customize();
    for (const ui::CheckBox& box : boxesOf(toolkit.takeSheet())) {
        EXPECT_FALSE(box.on);
    }
}

TEST_F(InstallerDelegateTest, KeepsThePluralForOne) {
    choose({"Halo"});
    EXPECT_EQ(toolkit.labels.at(1)->text, "1 transitions sélectionnées");
}

TEST_F(InstallerDelegateTest, ChooserReopensWithTheSelection) {
    choose({"Aube", "Kaléido"});
    delegate.customize();
    for (const ui::CheckBox& box : boxesOf(toolkit.takeSheet())) {
        EXPECT_EQ(box.on, box.title == "Aube" || box.title == "Kaléido") << box.title;
    }
}

TEST_F(InstallerDelegateTest, ConfirmingTheChooserAfterASuccessMakesTheWindowReadyAgain) {
    delegate.install();
    toolkit.finishRun();
    choose({"Aube", "Brume", "Halo", "Iris"});
    expectScreen("Orvo Transitions", "4 transitions sélectionnées", "", "Installer");
    EXPECT_EQ(toolkit.symbol.symbol, "");
    EXPECT_FALSE(delegate.completed);
    expectIdle();
    toolkit.pressReturn();
    EXPECT_EQ(toolkit.terminations, 0);
    toolkit.finishRun();
    EXPECT_EQ(requests.at(1).selection, (Names{"Aube", "Brume", "Halo", "Iris"}));
}

TEST_F(InstallerDelegateTest, ConfirmingTheChooserAfterAFailureMakesTheWindowReadyAgain) {
    fail("refus");
    toolkit.takeSheet().completion({true, {}});
    choose({"Halo", "Iris"});
    expectScreen("Orvo Transitions", "2 transitions sélectionnées", "", "Installer");
}

TEST_F(InstallerDelegateTest, CancellingTheChooserChangesNothing) {
    delegate.install();
    toolkit.finishRun();
    delegate.customize();
    toolkit.takeSheet().completion({false, std::vector<bool>(11, false)});
    EXPECT_FALSE(delegate.selection.has_value());
    EXPECT_TRUE(delegate.completed);
    expectScreen("C’est installé.", "Retrouvez vos transitions dans Final Cut Pro.",
                 "Transitions → Orvo Transitions", "Terminer");
    expectCheckMark();
}

TEST_F(InstallerDelegateTest, CancellingTheChooserKeepsAnEarlierSelection) {
    choose({"Halo"});
    delegate.customize();
    toolkit.takeSheet().completion({false, std::vector<bool>(11, true)});
    EXPECT_EQ(delegate.selection, Names{"Halo"});
}

TEST_F(InstallerDelegateTest, LeavesOutRetiredTransitions) {
    writeFile(platform::payloadFolder() / "catalog.json",
              R"([{"name":"Neuve"},{"name":"Vieille","retired":true},{"name":"Autre","retired":false}])");
    delegate.customize();
    const auto boxes = boxesOf(toolkit.takeSheet());
    ASSERT_EQ(boxes.size(), 2U);
    EXPECT_EQ(boxes[0].title, "Neuve");
    EXPECT_EQ(boxes[1].title, "Autre");
}

TEST_F(InstallerDelegateTest, ChooserWithoutACatalogueIsEmptyAndSaysNothing) {
    std::filesystem::remove(platform::payloadFolder() / "catalog.json");
    delegate.customize();
    const auto sheet = toolkit.takeSheet();
    EXPECT_EQ(sheet.alert.message, "Vos transitions");
    EXPECT_TRUE(boxesOf(sheet).empty());
    EXPECT_TRUE(toolkit.window.sheets.empty());
    sheet.completion({true, {}});
    EXPECT_EQ(delegate.selection, Names{});
    expectScreen("Orvo Transitions", "0 transitions sélectionnées", "", "Installer");
}

TEST_F(InstallerDelegateTest, AsksBeforeUninstalling) {
    toolkit.command(ui::Command::uninstall);
    const auto sheet = toolkit.takeSheet();
    EXPECT_EQ(sheet.alert.message, "Retirer les transitions sélectionnées ?");
    EXPECT_EQ(sheet.alert.informative, "Les autres effets sont conservés.");
    EXPECT_EQ(sheet.alert.buttons, (std::vector<std::string>{"Désinstaller", "Annuler"}));
    EXPECT_FALSE(sheet.alert.accessory);
    EXPECT_TRUE(toolkit.worker.empty());
    sheet.completion({false, {}});
    EXPECT_TRUE(toolkit.worker.empty());
    expectScreen("Orvo Transitions", "11 transitions pour Final Cut Pro", "", "Installer");
    expectIdle();
}

TEST_F(InstallerDelegateTest, UninstallsTheSelectionAsItIsWhenConfirmed) {
    delegate.uninstall();
    delegate.selection = Names{"Iris"};
    toolkit.takeSheet().completion({true, {}});
    toolkit.finishRun();
    EXPECT_EQ(requests.at(0).selection, Names{"Iris"});
}

TEST_F(InstallerDelegateTest, NeitherDialogOpensDuringARun) {
    delegate.install();
    delegate.customize();
    delegate.uninstall();
    EXPECT_TRUE(toolkit.window.sheets.empty());
    toolkit.finishRun();
    delegate.customize();
    EXPECT_EQ(toolkit.window.sheets.size(), 1U);
}

TEST_F(InstallerDelegateTest, AConfirmationLeftOpenCannotStartASecondRun) {
    delegate.uninstall();
    delegate.install();
    toolkit.takeSheet().completion({true, {}});
    EXPECT_EQ(toolkit.worker.size(), 1U);
}

TEST_F(InstallerDelegateTest, RefusesEveryCommandButQuittingWhileASheetIsUp) {
    const std::vector<std::function<void()>> sheets = {
        [this] { delegate.about(); }, [this] { delegate.customize(); }, [this] { delegate.uninstall(); },
        [this] { fail("refus"); }};
    for (const auto& open : sheets) {
        open();
        ASSERT_EQ(toolkit.window.sheets.size(), 1U);
        for (const ui::Command command :
             {ui::Command::about, ui::Command::install, ui::Command::customize, ui::Command::uninstall}) {
            toolkit.command(command);
        }
        EXPECT_EQ(toolkit.window.sheets.size(), 1U);
        EXPECT_TRUE(toolkit.worker.empty());
        EXPECT_FALSE(delegate.busy);
        toolkit.takeSheet().completion({false, {}});
    }
    delegate.about();
    toolkit.command(ui::Command::terminate);
    EXPECT_EQ(toolkit.terminations, 1);
}

TEST_F(InstallerDelegateTest, TheButtonBehindASheetDoesNotQuitAfterASuccess) {
    delegate.install();
    toolkit.finishRun();
    delegate.customize();
    toolkit.pressReturn();
    EXPECT_EQ(toolkit.terminations, 0);
    toolkit.takeSheet().completion({false, std::vector<bool>(11, true)});
    toolkit.pressReturn();
    EXPECT_EQ(toolkit.terminations, 1);
}

TEST_F(InstallerDelegateTest, AChooserConfirmedDuringARunChangesNothing) {
    delegate.customize();
    delegate.run(false);
    toolkit.takeSheet().completion({true, std::vector<bool>(11, false)});
    expectRunning("Installation…");
    EXPECT_FALSE(delegate.selection.has_value());
    toolkit.finishRun();
    EXPECT_EQ(toolkit.labels.at(0)->text, "C’est installé.");
}

TEST_F(InstallerDelegateTest, AFailureUnderASheetIsShownWhenThatSheetIsGone) {
    failure = "refus";
    delegate.install();
    delegate.about();
    toolkit.finishRun();
    ASSERT_EQ(toolkit.window.sheets.size(), 1U);
    const auto about = toolkit.takeSheet();
    EXPECT_EQ(about.alert.message, "Orvo Transitions 2.3");
    about.completion({true, {}});
    const auto shown = toolkit.takeSheet();
    EXPECT_EQ(shown.alert.informative, "refus");
    shown.completion({true, {}});
    EXPECT_TRUE(toolkit.window.sheets.empty());
}

TEST_F(InstallerDelegateTest, TheEndOfASheetDuringARunLeavesTheCloseButtonDisabled) {
    delegate.install();
    delegate.about();
    toolkit.window.setCloseButtonEnabled(true); // as some toolkits do when a sheet ends
    toolkit.takeSheet().completion({true, {}});
    EXPECT_FALSE(toolkit.window.closeButtonEnabled);
    toolkit.finishRun();
    EXPECT_TRUE(toolkit.window.closeButtonEnabled);
}

TEST_F(InstallerDelegateTest, AnnouncesEveryChangeOfStateOnce) {
    using Texts = std::vector<std::string>;
    EXPECT_EQ(toolkit.takeAnnouncements(), Texts{}) << "a window that opens is read out by itself";
    delegate.install();
    EXPECT_EQ(toolkit.takeAnnouncements(), Texts{"Installation…\nCela ne prend que quelques instants."});
    toolkit.finishRun();
    EXPECT_EQ(toolkit.takeAnnouncements(),
              Texts{"C’est installé.\nRetrouvez vos transitions dans Final Cut Pro.\n"
                    "Transitions → Orvo Transitions"});
    startUninstall();
    EXPECT_EQ(toolkit.takeAnnouncements(), Texts{"Désinstallation…\nCela ne prend que quelques instants."});
    toolkit.finishRun();
    EXPECT_EQ(toolkit.takeAnnouncements(), Texts{"C’est désinstallé.\nVous pouvez fermer cette fenêtre."});
    choose({"Aube", "Brume", "Halo", "Iris"});
    EXPECT_EQ(toolkit.takeAnnouncements(), Texts{"Orvo Transitions\n4 transitions sélectionnées"});
}

TEST_F(InstallerDelegateTest, LeavesAFailureToItsSheet) {
    failure = "refus";
    delegate.install();
    toolkit.takeAnnouncements();
    toolkit.finishRun();
    toolkit.takeSheet().completion({true, {}});
    EXPECT_EQ(toolkit.takeAnnouncements(), std::vector<std::string>{});
}

TEST_F(InstallerDelegateTest, LetsTheReturnKeyRestOnceAResultAppears) {
    delegate.install();
    EXPECT_TRUE(toolkit.returnKey->press(false)) << "a run that begins is no result";
    toolkit.finishRun();
    EXPECT_EQ(toolkit.labels.at(0)->text, "C’est installé.");
    toolkit.returnKey->release();
    EXPECT_FALSE(toolkit.returnKey->press(false));
    toolkit.pressReturn();
    EXPECT_EQ(toolkit.terminations, 1) << "only the key rests, not the button";
}

TEST_F(InstallerDelegateTest, LetsTheReturnKeyRestOnceAFailureAppears) {
    fail("refus");
    EXPECT_FALSE(toolkit.returnKey->press(false));
}

TEST(ChooserGridTest, RefusesAColumnOutOfReach) {
    EXPECT_EQ(ui::chooserGrid.box(6), (ui::Frame{205, 210, 200, 28}));
    EXPECT_THROW(ui::chooserGrid.box(std::numeric_limits<std::int64_t>::max()), std::overflow_error);
}

TEST(ControlTableTest, HoldsTheEightControlsAsDesigned) {
    const ui::ControlTable& table = ui::controlTable;
    EXPECT_EQ(ui::windowTable.title, "Orvo Transitions");
    EXPECT_EQ(ui::windowTable.width, 460);
    EXPECT_EQ(ui::windowTable.height, 500);
    EXPECT_EQ(table.icon.frame, (ui::Frame{166, 302, 128, 128}));
    EXPECT_EQ(table.heading.frame, (ui::Frame{35, 250, 390, 40}));
    EXPECT_EQ(table.subtitle.frame, (ui::Frame{35, 213, 390, 30}));
    EXPECT_EQ(table.symbol.frame, (ui::Frame{217, 169, 26, 26}));
    EXPECT_EQ(table.spinner.frame, (ui::Frame{219, 171, 22, 22}));
    EXPECT_EQ(table.status.frame, (ui::Frame{35, 140, 390, 27}));
    EXPECT_EQ(table.primary.frame, (ui::Frame{85, 76, 290, 48}));
    EXPECT_EQ(table.footer.frame, (ui::Frame{35, 30, 390, 20}));
    EXPECT_EQ(table.heading.font.size, 30);
    EXPECT_EQ(table.heading.font.weight, ui::FontWeight::semibold);
    EXPECT_EQ(table.subtitle.font.size, 15);
    EXPECT_EQ(table.status.font.size, 13);
    EXPECT_EQ(table.primary.font.size, 17);
    EXPECT_EQ(table.primary.font.weight, ui::FontWeight::semibold);
    EXPECT_EQ(table.footer.font.size, 11);
    EXPECT_EQ(table.heading.color, ui::Color::white(1));
    EXPECT_EQ(table.subtitle.color, ui::Color::white(0.72));
    EXPECT_EQ(table.status.color, ui::Color::white(0.70));
    EXPECT_EQ(table.footer.color, ui::Color::white(0.44));
    EXPECT_EQ(table.symbol.tint, (ui::Color{0.45, 0.85, 0.65, 1.0}));
    EXPECT_EQ(table.primary.bezel, (ui::Color{1.0, 0.56, 0.28, 1.0}));
    EXPECT_EQ(table.primary.tint, ui::Color::white(0));
    EXPECT_TRUE(table.status.accessibilityElement);
    EXPECT_EQ(table.footer.text, "Apple Silicon · 2.3");
}

} // namespace
} // namespace tests
