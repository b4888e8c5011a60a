#include "tests/ui/qt/WindowFixture.hpp"
#include "ui/qt/AlertText.hpp"
#include "ui/qt/ChooserArea.hpp"
#include "ui/qt/ChooserBox.hpp"
#include "ui/qt/IconView.hpp"
#include "ui/qt/SpinnerView.hpp"
#include "ui/qt/SymbolView.hpp"
#include "ui/qt/TableReader.hpp"

#include <QAccessible>
#include <QClipboard>
#include <QFontInfo>
#include <QMenu>
#include <QScrollBar>
#include <QStyle>
#include <QTextDocument>
#include <cmath>
#include <set>

namespace tests {
namespace {

using ui::controlTable;

using Names = std::set<std::string>;

const std::vector<std::string> fourteenNames = {"A", "B", "C", "D", "E", "F", "G",
                                                "H", "I", "J", "K", "L", "M", "N"};

/// Whether no part of a control is cut off.
bool isWhole(const QWidget& control) {
    return control.visibleRegion() == QRegion(control.rect());
}

/// Where a frame of the table lies, computed apart from the program's own reader.
QRect expectedRect(const ui::Frame& frame) {
    return {static_cast<int>(frame.x), static_cast<int>(500 - frame.y - frame.height),
            static_cast<int>(frame.width), static_cast<int>(frame.height)};
}

void expectColor(const QColor& color, const ui::Color& expected, double tolerance = 1.0 / 255) {
    EXPECT_NEAR(color.redF(), expected.red, tolerance);
    EXPECT_NEAR(color.greenF(), expected.green, tolerance);
    EXPECT_NEAR(color.blueF(), expected.blue, tolerance);
    EXPECT_NEAR(color.alphaF(), expected.alpha, tolerance);
}

/// The background's colour at a point counted from the top left, by its definition.
ui::Color expectedBackground(double x, double y) {
    const double part = std::hypot(x - 230, y - 75) / std::hypot(230, 425);
    const auto mix = [part](double glow, double base) { return glow + (base - glow) * part; };
    return {mix(0.12, 0.055), mix(0.14, 0.065), mix(0.18, 0.085), 1};
}

class InstallerWindowTest : public WindowFixture {
protected:
    void expectLabel(int index, const ui::LabelControl& control) {
        const ui::qt::LabelView& view = label(index);
        EXPECT_EQ(view.geometry(), expectedRect(control.frame));
        EXPECT_EQ(view.text().toStdString(), control.text);
        EXPECT_EQ(view.font().pixelSize(), static_cast<int>(control.font.size));
        EXPECT_EQ(QFontInfo(view.font()).pixelSize(), static_cast<int>(control.font.size));
        EXPECT_EQ(view.font().weight(),
                  control.font.weight == ui::FontWeight::semibold ? QFont::DemiBold : QFont::Normal);
        EXPECT_TRUE(view.alignment() & Qt::AlignHCenter);
        EXPECT_TRUE(view.wordWrap());
        expectColor(view.palette().color(QPalette::WindowText), control.color);
    }

    QColor pixel(QWidget& widget, int x, int y) { return widget.grab().toImage().pixelColor(x, y); }

    /// Whether a light part of a control stands against what is behind it without a blur, at a scale of 1.5.
    void expectSharpSides(QWidget& control, const QRect& part) {
        constexpr double scale = 1.5;
        QImage picture(window().size() * scale, QImage::Format_RGB32);
        picture.setDevicePixelRatio(scale);
        window().render(&picture);
        const QRect place = part.translated(control.mapTo(&window(), QPoint()));
        const int middle = qRound(place.center().y() * scale);
        for (const double side : {place.x() * scale, (place.x() + place.width()) * scale}) {
            std::set<bool> seen;
            for (int x = qRound(side) - 5; x < qRound(side) + 5; ++x) {
                const double lightness = picture.pixelColor(x, middle).lightnessF();
                EXPECT_TRUE(lightness < 0.2 || lightness > 0.6) << x << " is a mixture";
                seen.insert(lightness > 0.6);
            }
            EXPECT_EQ(seen.size(), 2U);
        }
    }

    void startRun() {
        press(Qt::Key_Return);
        ASSERT_TRUE(delegate.busy);
    }

    bool idle() {
        return QTest::qWaitFor([this] { return !delegate.busy; }, patience);
    }

    void fail(const std::string& description) {
        startRun();
        releaseWithError(description);
        ASSERT_TRUE(idle());
        ASSERT_TRUE(sheetIsDown());
    }

    QAction& action(const char* title) {
        for (QAction* candidate : window().actions()) {
            if (candidate->text() == title) {
                return *candidate;
            }
        }
        throw std::runtime_error(title);
    }
};

TEST_F(InstallerWindowTest, HasAContentOfTheTablesSizeUnderTheMenuBar) {
    EXPECT_EQ(window().content().size(), QSize(460, 500));
    EXPECT_EQ(window().width(), 460);
    EXPECT_GT(window().height(), 500);
    EXPECT_EQ(window().minimumSize(), window().maximumSize());
    EXPECT_EQ(window().content().y() + 500, window().height());
    EXPECT_EQ(window().windowTitle(), "Orvo Transitions");
    EXPECT_FALSE(window().windowFlags() & Qt::WindowMaximizeButtonHint);
    EXPECT_TRUE(window().windowFlags() & Qt::WindowMinimizeButtonHint);
    EXPECT_TRUE(window().windowFlags() & Qt::WindowCloseButtonHint);
}

TEST_F(InstallerWindowTest, ShowsTheControlsOfTheTable) {
    EXPECT_EQ(child<ui::qt::IconView>(0)->geometry(), expectedRect(controlTable.icon.frame));
    expectLabel(0, controlTable.heading);
    expectLabel(1, controlTable.subtitle);
    expectLabel(2, controlTable.status);
    expectLabel(3, controlTable.footer);
    const auto& symbol = *child<ui::qt::SymbolView>(0);
    EXPECT_EQ(symbol.geometry(), expectedRect(controlTable.symbol.frame));
    expectColor(symbol.tint, *controlTable.symbol.tint);
    EXPECT_TRUE(symbol.isHidden());
    const auto& spinner = *child<ui::qt::SpinnerView>(0);
    EXPECT_EQ(spinner.geometry(), expectedRect(controlTable.spinner.frame));
    EXPECT_TRUE(spinner.isHidden());
    EXPECT_EQ(primary().geometry(), expectedRect(controlTable.primary.frame));
    EXPECT_EQ(primary().text(), "Installer");
    EXPECT_EQ(primary().font().pixelSize(), 17);
    EXPECT_EQ(primary().font().weight(), QFont::DemiBold);
}

TEST_F(InstallerWindowTest, PaintsTheButtonInTheTablesColours) {
    expectColor(pixel(primary(), 20, 24), controlTable.primary.bezel);
    const QImage picture = primary().grab().toImage();
    double darkest = 1;
    for (int x = 0; x < picture.width(); ++x) {
        darkest = std::min<double>(darkest, picture.pixelColor(x, 24).lightnessF());
    }
    EXPECT_LT(darkest, 0.1) << "the title is black";
}

TEST_F(InstallerWindowTest, ShowsEveryStateOfTheButton) {
    const QColor normal = pixel(primary(), 20, 24);
    QTest::mouseMove(&primary(), QPoint(20, 24));
    ASSERT_TRUE(QTest::qWaitFor([this] { return primary().underMouse(); }, patience));
    const QColor hovered = pixel(primary(), 20, 24);
    EXPECT_NE(hovered, normal);
    primary().setDown(true);
    const QColor pressed = pixel(primary(), 20, 24);
    EXPECT_NE(pressed, normal);
    EXPECT_NE(pressed, hovered);
    primary().setDown(false);
    primary().setEnabled(false);
    const QColor disabled = pixel(primary(), 20, 24);
    EXPECT_NE(disabled, normal);
    EXPECT_NE(disabled, pressed);
    primary().setEnabled(true);
    const QColor edge = pixel(primary(), 145, 1);
    press(Qt::Key_Tab);
    EXPECT_EQ(focus(), &primary());
    EXPECT_NE(pixel(primary(), 145, 1), edge) << "the focus ring";
}

TEST_F(InstallerWindowTest, TheButtonsSidesAreSharpAtAScaleBetweenOneAndTwo) {
    expectSharpSides(primary(), primary().rect());
}

TEST_F(InstallerWindowTest, PaintsTheGlow) {
    QWidget& background = window().content();
    for (QWidget* control : background.findChildren<QWidget*>()) {
        control->hide();
    }
    const QImage picture = background.grab().toImage();
    for (const QPoint point : {QPoint(230, 75), QPoint(0, 0), QPoint(459, 0), QPoint(0, 499),
                               QPoint(459, 499), QPoint(230, 250), QPoint(230, 499), QPoint(100, 400)}) {
        SCOPED_TRACE(testing::Message() << point.x() << ", " << point.y());
        expectColor(picture.pixelColor(point), expectedBackground(point.x() + 0.5, point.y() + 0.5));
    }
}

TEST_F(InstallerWindowTest, RepaintsAPartLikeTheWhole) {
    QWidget& background = window().content();
    const QImage whole = background.grab().toImage();
    const QRect part(300, 20, 90, 70);
    EXPECT_EQ(background.grab(part).toImage(), whole.copy(part));
}

TEST_F(InstallerWindowTest, IsDarkThroughoutUnderAThemeThatIsNot) {
    EXPECT_GT(QApplication::style()->standardPalette().color(QPalette::Window).lightnessF(), 0.5);
    EXPECT_LT(QApplication::palette().color(QPalette::Window).lightnessF(), 0.2);
    EXPECT_LT(pixel(window(), 2, 2).lightnessF(), 0.2);
    EXPECT_LT(pixel(window(), 455, window().height() - 4).lightnessF(), 0.2);
    QMenu& options = *window().findChildren<QMenu*>().at(1);
    EXPECT_LT(pixel(options, options.sizeHint().width() - 3, 3).lightnessF(), 0.3);
}

TEST_F(InstallerWindowTest, NamesEveryControlForScreenReaders) {
    for (QWidget* control : window().content().findChildren<QWidget*>()) {
        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(control);
        ASSERT_NE(interface, nullptr);
        if (dynamic_cast<ui::qt::SymbolView*>(control) == nullptr) {
            EXPECT_FALSE(interface->text(QAccessible::Name).isEmpty()) << interface->role();
        }
    }
    delegate.symbol->showSymbol("checkmark.circle.fill", "Opération réussie");
    QAccessibleInterface* symbol = QAccessible::queryAccessibleInterface(child<ui::qt::SymbolView>(0));
    EXPECT_EQ(symbol->text(QAccessible::Name), "Opération réussie");
    EXPECT_EQ(symbol->role(), QAccessible::Graphic);
}

TEST_F(InstallerWindowTest, TheStatusLineIsANotificationForScreenReaders) {
    QAccessibleInterface* status = QAccessible::queryAccessibleInterface(&label(2));
    EXPECT_EQ(status->role(), QAccessible::Notification);
    EXPECT_EQ(status->text(QAccessible::Name), "État") << "an empty line has a name all the same";
    delegate.status->setText("Transitions → Orvo Transitions");
    EXPECT_EQ(status->text(QAccessible::Name), "Transitions → Orvo Transitions");
}

TEST_F(InstallerWindowTest, BuildsTheMenus) {
    std::vector<QMenu*> menus;
    for (QMenu* menu : window().findChildren<QMenu*>()) {
        menus.push_back(menu);
    }
    ASSERT_EQ(menus.size(), 2U);
    EXPECT_EQ(menus[0]->title(), "Orvo Transitions");
    ASSERT_EQ(menus[0]->actions().size(), 3);
    EXPECT_EQ(menus[0]->actions()[0]->text(), "À propos de Orvo Transitions");
    EXPECT_TRUE(menus[0]->actions()[1]->isSeparator());
    EXPECT_EQ(menus[0]->actions()[2]->text(), "Quitter Orvo Transitions");
    EXPECT_EQ(menus[0]->actions()[2]->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
    EXPECT_EQ(menus[1]->title(), "Options");
    ASSERT_EQ(menus[1]->actions().size(), 2);
    EXPECT_EQ(menus[1]->actions()[0]->text(), "Choisir les transitions…");
    EXPECT_EQ(menus[1]->actions()[1]->text(), "Désinstaller la sélection…");
}

TEST_F(InstallerWindowTest, ReturnInstallsThenQuits) {
    startRun();
    EXPECT_FALSE(primary().isEnabled());
    EXPECT_TRUE(child<ui::qt::SpinnerView>(0)->isVisible());
    press(Qt::Key_Return);
    EXPECT_FALSE(ended);
    release("fait");
    ASSERT_TRUE(idle());
    EXPECT_EQ(label(0).text(), "C’est installé.");
    EXPECT_TRUE(child<ui::qt::SymbolView>(0)->isVisible());
    EXPECT_FALSE(child<ui::qt::SpinnerView>(0)->isVisible());
    press(Qt::Key_Enter, Qt::KeypadModifier);
    EXPECT_TRUE(ended);
}

TEST_F(InstallerWindowTest, AHeldReturnDoesNotRunOnIntoQuitting) {
    startRun();
    release("fait");
    ASSERT_TRUE(idle());
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r", true);
    QApplication::sendEvent(&window(), &repeated);
    EXPECT_FALSE(ended);
}

TEST_F(InstallerWindowTest, RefusesToCloseOnlyWhileBusy) {
    startRun();
    window().close();
    EXPECT_TRUE(window().isVisible());
    press(Qt::Key_Q, Qt::ControlModifier);
    EXPECT_FALSE(ended);
    EXPECT_FALSE(window().windowHandle()->flags() & Qt::WindowCloseButtonHint);
    EXPECT_TRUE(window().isVisible()) << "the window must not be made anew for its close button";
    release("fait");
    ASSERT_TRUE(idle());
    EXPECT_TRUE(window().windowHandle()->flags() & Qt::WindowCloseButtonHint);
    press(Qt::Key_Q, Qt::ControlModifier);
    EXPECT_TRUE(ended);
}

TEST_F(InstallerWindowTest, ClosesWhenIdle) {
    window().close();
    EXPECT_TRUE(ended);
    EXPECT_FALSE(window().isVisible());
}

TEST_F(InstallerWindowTest, OptionsMenuIsOutOfReachDuringARun) {
    QMenu& options = *window().findChildren<QMenu*>().at(1);
    startRun();
    EXPECT_FALSE(options.menuAction()->isEnabled());
    delegate.about();
    press(Qt::Key_Escape);
    EXPECT_FALSE(options.menuAction()->isEnabled()) << "a sheet that closes gives the menu bar back";
    action("Choisir les transitions…").trigger();
    EXPECT_EQ(sheet(), nullptr);
    release("fait");
    ASSERT_TRUE(idle());
    EXPECT_TRUE(options.menuAction()->isEnabled());
}

TEST_F(InstallerWindowTest, AFailureClosesTheMenuThatIsOpen) {
    QMenu& menu = *window().findChildren<QMenu*>().front();
    startRun();
    menu.popup(window().pos());
    ASSERT_TRUE(menu.isVisible());
    releaseWithError("refus");
    ASSERT_TRUE(idle());
    EXPECT_FALSE(menu.isVisible());
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    ASSERT_NE(sheet(), nullptr);
    press(Qt::Key_Return);
    EXPECT_EQ(sheet(), nullptr);
}

TEST_F(InstallerWindowTest, ASheetDropsFromTheTopAndTakesTheKeyboard) {
    action("Désinstaller la sélection…").trigger();
    ASSERT_NE(sheet(), nullptr);
    EXPECT_EQ(sheet()->geometry(), window().content().rect());
    auto& panel = *children<ui::qt::SheetPanel>(sheet()).front();
    EXPECT_LT(panel.y(), 0);
    ASSERT_TRUE(sheetIsDown());
    EXPECT_TRUE(window().content().rect().contains(panel.geometry()));
    const auto buttons = children<ui::qt::PushButton>(sheet());
    ASSERT_EQ(buttons.size(), 2U);
    EXPECT_EQ(buttons[0]->text(), "Désinstaller");
    EXPECT_EQ(focus(), buttons[0]);
    for (int step = 0; step < 12; ++step) {
        press(step < 6 ? Qt::Key_Tab : Qt::Key_Backtab);
        EXPECT_TRUE(sheet()->isAncestorOf(focus()));
    }
    press(Qt::Key_Escape);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_FALSE(delegate.busy);
    EXPECT_EQ(focus(), &primary());
}

TEST_F(InstallerWindowTest, ReturnUnderASheetPressesItsFirstButtonOnly) {
    delegate.about();
    ASSERT_TRUE(sheetIsDown());
    press(Qt::Key_Return);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_FALSE(delegate.busy) << "the window's own button was pressed too";
    delegate.uninstall();
    ASSERT_TRUE(sheetIsDown());
    press(Qt::Key_Return);
    EXPECT_TRUE(delegate.busy);
    EXPECT_EQ(label(0).text(), "Désinstallation…");
}

TEST_F(InstallerWindowTest, ReturnReachesTheSheetEvenWithoutFocus) {
    delegate.about();
    ASSERT_TRUE(sheetIsDown());
    focus()->clearFocus();
    press(Qt::Key_Return);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_FALSE(delegate.busy);
}

TEST_F(InstallerWindowTest, ReturnOnTheCancelButtonCancels) {
    delegate.uninstall();
    ASSERT_TRUE(sheetIsDown());
    ASSERT_TRUE(pressUntil(Qt::Key_Backtab,
                           [&] { return dynamic_cast<QPushButton*>(focus())->text() == "Annuler"; }));
    press(Qt::Key_Return);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_FALSE(delegate.busy);
}

TEST_F(InstallerWindowTest, TheWindowBehindASheetTakesNoMouse) {
    delegate.about();
    ASSERT_TRUE(sheetIsDown());
    QTest::mouseClick(window().windowHandle(), Qt::LeftButton, {},
                      primary().mapTo(&window(), primary().rect().center()));
    EXPECT_FALSE(delegate.busy);
    EXPECT_FALSE(window().findChild<QMenuBar*>()->isEnabled());
}

TEST_F(InstallerWindowTest, QuitsAtOnceUnderASheet) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    press(Qt::Key_Q, Qt::ControlModifier);
    EXPECT_TRUE(ended);
}

TEST_F(InstallerWindowTest, AFailureWaitsForTheSheetThatIsUp) {
    startRun();
    delegate.about();
    ASSERT_TRUE(sheetIsDown());
    releaseWithError("refus");
    ASSERT_TRUE(idle());
    EXPECT_EQ(sheet()->message, "Orvo Transitions 2.3");
    press(Qt::Key_Return);
    ASSERT_NE(sheet(), nullptr);
    EXPECT_EQ(sheet()->message, "Installation interrompue");
    press(Qt::Key_Return);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(focus(), &primary());
}

TEST_F(InstallerWindowTest, AnErrorsTextIsWholeAndCanBeCopied) {
    const std::string description = "Fichier modifié : /un/chemin\nSauvegarde : /un/autre\n\nRestauré.";
    fail(description);
    const auto& text = *children<ui::qt::AlertText>(sheet()).front();
    EXPECT_EQ(text.toPlainText().toStdString(), description);
    EXPECT_EQ(text.verticalScrollBar()->maximum(), 0) << "all of it shows without scrolling";
    ASSERT_TRUE(pressUntil(Qt::Key_Tab, [&] { return focus() == &text; }));
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), description);
    press(Qt::Key_Return);
    EXPECT_EQ(sheet(), nullptr);
}

TEST_F(InstallerWindowTest, AnErrorTooLongForTheWindowScrolls) {
    std::string description;
    for (int line = 0; line < 60; ++line) {
        description += "/un/très/long/chemin/sans/le/moindre/blanc/qui/ne/tient/pas/sur/une/ligne/" +
                       std::to_string(line) + "\n";
    }
    fail(description);
    const auto& panel = *children<ui::qt::SheetPanel>(sheet()).front();
    EXPECT_LE(panel.geometry().bottom(), window().content().rect().bottom());
    auto& text = *children<ui::qt::AlertText>(sheet()).front();
    EXPECT_EQ(text.toPlainText().toStdString(), description);
    QScrollBar& bar = *text.verticalScrollBar();
    EXPECT_GT(bar.maximum(), 0);
    EXPECT_LE(bar.width(), 12);
    EXPECT_LT(pixel(bar, bar.width() / 2, bar.height() - 3).lightnessF(), 0.2) << "no arrow, no groove";
    ASSERT_TRUE(pressUntil(Qt::Key_Tab, [&] { return focus() == &text; }));
    press(Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(text.verticalScrollBar()->value(), text.verticalScrollBar()->maximum());
}

TEST_F(InstallerWindowTest, MarkupInAnErrorIsShownAsItIs) {
    fail("<b>gras</b> & <img src=x>");
    EXPECT_EQ(children<ui::qt::AlertText>(sheet()).front()->toPlainText(), "<b>gras</b> & <img src=x>");
}

TEST_F(InstallerWindowTest, ChooserBoxesStandWholeAtTheirPlaces) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    const auto boxes = children<ui::qt::ChooserBox>(sheet());
    ASSERT_EQ(boxes.size(), 11U);
    const std::vector<int> tops = {2, 39, 76, 113, 150, 187}; // 240 - y - 28
    for (std::size_t index = 0; index < boxes.size(); ++index) {
        const ui::qt::ChooserBox& box = *boxes[index];
        EXPECT_EQ(box.geometry(), QRect(index < 6 ? 0 : 205, tops[index % 6], 200, 28));
        EXPECT_EQ(box.parentWidget()->height(), 240);
        EXPECT_TRUE(
            window().content().rect().contains(QRect(box.mapTo(&window().content(), QPoint()), box.size())));
        EXPECT_TRUE(box.parentWidget()->rect().contains(box.geometry()));
        EXPECT_TRUE(box.isChecked());
    }
    EXPECT_EQ(boxes[9]->accessibleName(), "Jour & Nuit");
}

TEST_F(InstallerWindowTest, ChooserBoxesAreSharpAtAScaleBetweenOneAndTwo) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    for (ui::qt::ChooserBox* box : children<ui::qt::ChooserBox>(sheet())) {
        expectSharpSides(*box, QRect(5, 5, 18, 18));
    }
}

TEST_F(InstallerWindowTest, AThirdColumnIsReachedByKeyboard) {
    writeCatalog(fourteenNames);
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    const auto boxes = children<ui::qt::ChooserBox>(sheet());
    ASSERT_EQ(boxes.size(), 14U);
    EXPECT_TRUE(isWhole(*boxes[0]));
    EXPECT_TRUE(isWhole(*boxes[11]));
    EXPECT_FALSE(isWhole(*boxes[12]));
    for (ui::qt::ChooserBox* box : boxes) {
        press(Qt::Key_Tab);
        EXPECT_EQ(focus(), box);
        EXPECT_TRUE(isWhole(*box)) << box->accessibleName().toStdString();
    }
    press(Qt::Key_Space);
    for (int button = 0; button < 2; ++button) {
        press(Qt::Key_Tab);
    }
    press(Qt::Key_Tab);
    EXPECT_EQ(focus(), boxes[0]);
    EXPECT_TRUE(isWhole(*boxes[0])) << "around and back to the first";
    press(Qt::Key_Return);
    EXPECT_EQ(delegate.selection, Names(fourteenNames.begin(), fourteenNames.end() - 1));
}

TEST_F(InstallerWindowTest, AThirdColumnIsReachedByMouse) {
    writeCatalog(fourteenNames);
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    const auto boxes = children<ui::qt::ChooserBox>(sheet());
    QWidget& area = *children<ui::qt::ChooserArea>(sheet()).front()->viewport();
    const QPointF place(10, 10);
    for (int notch = 0; notch < 20; ++notch) {
        QWheelEvent turn(place, area.mapToGlobal(place), {}, {0, -120}, {}, {}, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&area, &turn);
    }
    ASSERT_TRUE(isWhole(*boxes[13]));
    QTest::mouseClick(window().windowHandle(), Qt::LeftButton, {},
                      boxes[13]->mapTo(&window(), QPoint(190, 14)));
    press(Qt::Key_Return);
    EXPECT_EQ(delegate.selection, Names(fourteenNames.begin(), fourteenNames.end() - 1));
}

TEST_F(InstallerWindowTest, ALongNameIsWholeAndWithoutMarkupInItsTip) {
    const std::string name = "<b>Aube</b> & <img src=x> d’un été qui ne finirait pas avant l’automne";
    writeCatalog({name, "Brume"});
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    const auto boxes = children<ui::qt::ChooserBox>(sheet());
    QTextDocument shown;
    ASSERT_TRUE(Qt::mightBeRichText(boxes.at(0)->toolTip())) << "it would be shown with its marks";
    shown.setHtml(boxes.at(0)->toolTip());
    EXPECT_EQ(shown.toPlainText().toStdString(), name);
    EXPECT_EQ(boxes.at(1)->toolTip(), "") << "it fits";
}

TEST_F(InstallerWindowTest, TheLastPointsOfABoxAnswerToTheMouse) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    ui::qt::ChooserBox& box = *children<ui::qt::ChooserBox>(sheet()).at(6);
    QTest::mouseClick(window().windowHandle(), Qt::LeftButton, {}, box.mapTo(&window(), QPoint(198, 14)));
    EXPECT_FALSE(box.isChecked());
    press(Qt::Key_Return);
    EXPECT_EQ(delegate.selection.value().size(), 10U);
    EXPECT_FALSE(delegate.selection->contains("Galaxie"));
    EXPECT_EQ(label(1).text(), "10 transitions sélectionnées");
}

TEST_F(InstallerWindowTest, TheChooserWorksByKeyboardAlone) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    press(Qt::Key_Tab);
    EXPECT_EQ(focus(), children<ui::qt::ChooserBox>(sheet()).front());
    press(Qt::Key_Space);
    press(Qt::Key_Tab);
    press(Qt::Key_Space);
    press(Qt::Key_Return);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(delegate.selection.value().size(), 9U);
    EXPECT_FALSE(delegate.selection->contains("Aube"));
    EXPECT_FALSE(delegate.selection->contains("Brume"));
}

TEST_F(InstallerWindowTest, ASheetIsADialogForScreenReaders) {
    delegate.uninstall();
    ASSERT_TRUE(sheetIsDown());
    QAccessibleInterface* dialog = QAccessible::queryAccessibleInterface(sheet());
    EXPECT_EQ(dialog->role(), QAccessible::Dialog);
    EXPECT_EQ(dialog->text(QAccessible::Name), "Retirer les transitions sélectionnées ?");
    for (const auto* button : children<ui::qt::PushButton>(sheet())) {
        EXPECT_FALSE(QAccessible::queryAccessibleInterface(const_cast<ui::qt::PushButton*>(button))
                         ->text(QAccessible::Name)
                         .isEmpty());
    }
}

} // namespace
} // namespace tests
