#include "tests/support/TemporaryFolder.hpp"
#include "tests/ui/qt/WindowFixture.hpp"
#include "ui/qt/Conversions.hpp"
#include "ui/qt/Views.hpp"

#include <QAccessible>
#include <QClipboard>
#include <QElapsedTimer>
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
        const QLabel& view = label(index);
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

    /// Whether a light part of a control is set off against what is behind it without a blur, at a scale
    /// of 1.5.
    void expectSharpSides(QWidget& control, const QRect& part) {
        constexpr double scale = 1.5;
        QImage picture(window().size() * scale, QImage::Format_RGB32);
        picture.setDevicePixelRatio(scale);
        window().render(&picture);
        const QRect shown = part.translated(control.mapTo(&window(), QPoint()));
        const int middle = qRound(shown.center().y() * scale);
        for (const double side : {shown.x() * scale, (shown.x() + shown.width()) * scale}) {
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

    /// Starts a run with a press of Return that lasts, repeating itself, until a second after the result.
    void holdReturnOverARun(bool marked) {
        QWindow* receiver = window().windowHandle();
        QTest::keyPress(receiver, Qt::Key_Return);
        ASSERT_TRUE(delegate.busy);
        release("fait");
        ASSERT_TRUE(idle());
        QElapsedTimer held;
        for (held.start(); held.elapsed() < 1000; QTest::qWait(30)) {
            for (const QEvent::Type type : {QEvent::KeyRelease, QEvent::KeyPress}) {
                QKeyEvent repeated(type, Qt::Key_Return, Qt::NoModifier, "\r", marked);
                QApplication::sendEvent(receiver, &repeated);
            }
        }
    }

    bool idle() {
        return QTest::qWaitFor([this] { return !delegate.busy; }, patience);
    }

    void letTheResultBeRead() { QTest::qWait(550); }

    void fail(const std::string& description) {
        startRun();
        releaseWithError(description);
        ASSERT_TRUE(idle());
        ASSERT_TRUE(sheetIsDown());
        letTheResultBeRead();
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
    EXPECT_EQ(icon().geometry(), expectedRect(controlTable.icon.frame));
    expectLabel(0, controlTable.heading);
    expectLabel(1, controlTable.subtitle);
    expectLabel(2, controlTable.status);
    expectLabel(3, controlTable.footer);
    const auto& symbol = *child<ui::qt::SymbolView>(0);
    EXPECT_EQ(symbol.geometry(), expectedRect(controlTable.symbol.frame));
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
        if (control->isVisible() && control != &label(2)) { // the status line is still empty
            EXPECT_FALSE(interface->text(QAccessible::Name).isEmpty()) << interface->role();
        }
    }
    delegate.symbol->showSymbol("checkmark.circle.fill", "Opération réussie");
    QAccessibleInterface* symbol = QAccessible::queryAccessibleInterface(child<ui::qt::SymbolView>(0));
    EXPECT_EQ(symbol->text(QAccessible::Name), "Opération réussie");
    EXPECT_EQ(symbol->role(), QAccessible::Graphic);
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
    letTheResultBeRead();
    press(Qt::Key_Enter, Qt::KeypadModifier);
    EXPECT_TRUE(ended);
}

TEST_F(InstallerWindowTest, AReturnHeldDownDoesNotRunOnIntoQuitting) {
    holdReturnOverARun(true);
    EXPECT_FALSE(ended);
}

TEST_F(InstallerWindowTest, AReturnHeldDownDoesNotRunOnIntoQuittingWhereRepeatsAreNotMarked) {
    holdReturnOverARun(false);
    EXPECT_FALSE(ended);
}

TEST_F(InstallerWindowTest, ReturnDoesNothingUntilAResultCanBeRead) {
    startRun();
    release("fait");
    ASSERT_TRUE(idle());
    press(Qt::Key_Return);
    EXPECT_FALSE(ended);
    letTheResultBeRead();
    press(Qt::Key_Return);
    EXPECT_TRUE(ended);
}

TEST_F(InstallerWindowTest, TheMouseConfirmsAResultAtOnce) {
    startRun();
    release("fait");
    ASSERT_TRUE(idle());
    QTest::mouseClick(&primary(), Qt::LeftButton);
    EXPECT_TRUE(ended);
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
    letTheResultBeRead();
    press(Qt::Key_Return);
    EXPECT_EQ(sheet(), nullptr);
}

TEST_F(InstallerWindowTest, ASheetDropsFromTheTopAndTakesTheKeyboard) {
    action("Désinstaller la sélection…").trigger();
    ASSERT_NE(sheet(), nullptr);
    EXPECT_EQ(sheet()->geometry(), window().content().geometry());
    EXPECT_LT(panel().y(), 0);
    ASSERT_TRUE(sheetIsDown());
    EXPECT_TRUE(window().content().rect().contains(panel().geometry()));
    const auto buttons = children<QPushButton>(sheet());
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
    EXPECT_EQ(sheet()->accessibleName(), "Orvo Transitions 2.3");
    press(Qt::Key_Return);
    ASSERT_NE(sheet(), nullptr);
    EXPECT_EQ(sheet()->accessibleName(), "Installation interrompue");
    letTheResultBeRead();
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
    EXPECT_LE(panel().geometry().bottom(), window().content().rect().bottom());
    auto& text = *children<ui::qt::AlertText>(sheet()).front();
    EXPECT_EQ(text.toPlainText().toStdString(), description);
    QScrollBar& bar = *text.verticalScrollBar();
    EXPECT_GT(bar.maximum(), 0);
    EXPECT_EQ(bar.value(), bar.maximum()) << "what became of it all is at the end";
    EXPECT_LE(bar.width(), 12);
    EXPECT_LT(pixel(bar, bar.width() / 2, 3).lightnessF(), 0.2) << "no arrow, no groove";
    ASSERT_TRUE(pressUntil(Qt::Key_Tab, [&] { return focus() == &text; }));
    press(Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(text.verticalScrollBar()->value(), text.verticalScrollBar()->maximum());
}

TEST_F(InstallerWindowTest, MarkupInAnErrorIsShownAsItIs) {
    fail("<b>gras</b> & <img src=x>");
    EXPECT_EQ(children<ui::qt::AlertText>(sheet()).front()->toPlainText(), "<b>gras</b> & <img src=x>");
}

TEST_F(InstallerWindowTest, ChooserBoxesAreWholeAndInTheirColumns) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    const auto boxes = children<QCheckBox>(sheet());
    ASSERT_EQ(boxes.size(), 11U);
    const std::vector<int> tops = {2, 39, 76, 113, 150, 187}; // 240 - y - 28
    for (std::size_t index = 0; index < boxes.size(); ++index) {
        const QCheckBox& box = *boxes[index];
        EXPECT_EQ(box.geometry(), QRect(index < 6 ? 0 : 205, tops[index % 6], 200, 28));
        EXPECT_EQ(box.parentWidget()->height(), 240);
        EXPECT_TRUE(
            window().content().geometry().contains(QRect(box.mapTo(&window(), QPoint()), box.size())));
        EXPECT_TRUE(box.parentWidget()->rect().contains(box.geometry()));
        EXPECT_TRUE(box.isChecked());
    }
    EXPECT_EQ(QAccessible::queryAccessibleInterface(boxes[9])->text(QAccessible::Name), "Jour & Nuit");
}

TEST_F(InstallerWindowTest, ChooserBoxesAreSharpAtAScaleBetweenOneAndTwo) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    for (QCheckBox* box : children<QCheckBox>(sheet())) {
        expectSharpSides(*box, QRect(5, 5, 18, 18));
    }
}

TEST_F(InstallerWindowTest, AThirdColumnIsReachedByKeyboard) {
    writeCatalog(fourteenNames);
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    const auto boxes = children<QCheckBox>(sheet());
    ASSERT_EQ(boxes.size(), 14U);
    EXPECT_TRUE(isWhole(*boxes[0]));
    EXPECT_TRUE(isWhole(*boxes[11]));
    EXPECT_FALSE(isWhole(*boxes[12]));
    for (QCheckBox* box : boxes) {
        press(Qt::Key_Tab);
        EXPECT_EQ(focus(), box);
        EXPECT_TRUE(isWhole(*box)) << box->text().toStdString();
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
    const auto boxes = children<QCheckBox>(sheet());
    QWidget& area = *children<ui::qt::ChooserArea>(sheet()).front()->viewport();
    const QPointF point(10, 10);
    for (int notch = 0; notch < 20; ++notch) {
        QWheelEvent turn(point, area.mapToGlobal(point), {}, {0, -120}, {}, {}, Qt::NoScrollPhase, false);
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
    const auto boxes = children<QCheckBox>(sheet());
    QTextDocument shown;
    ASSERT_TRUE(Qt::mightBeRichText(boxes.at(0)->toolTip())) << "it would be shown with its marks";
    shown.setHtml(boxes.at(0)->toolTip());
    EXPECT_EQ(shown.toPlainText().toStdString(), name);
    EXPECT_EQ(boxes.at(1)->toolTip(), "") << "it fits";
}

TEST_F(InstallerWindowTest, TheLastPointsOfABoxAnswerToTheMouse) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    QCheckBox& box = *children<QCheckBox>(sheet()).at(6);
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
    EXPECT_EQ(focus(), children<QCheckBox>(sheet()).front());
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
    EXPECT_TRUE(dialog->state().modal);
    QAccessibleInterface* all = QAccessible::queryAccessibleInterface(&window());
    ASSERT_EQ(all->childCount(), 1);
    EXPECT_EQ(all->child(0), dialog);
    for (const auto* button : children<QPushButton>(sheet())) {
        EXPECT_FALSE(QAccessible::queryAccessibleInterface(const_cast<QPushButton*>(button))
                         ->text(QAccessible::Name)
                         .isEmpty());
    }
}

TEST_F(InstallerWindowTest, OnlyADragMovesTheWindow) {
    const QPoint before = window().pos();
    const QPoint grip(20, 400);
    QTest::mousePress(&window(), Qt::LeftButton, {}, grip);
    QTest::mouseMove(&window(), grip + QPoint(QApplication::startDragDistance() - 1, 0));
    EXPECT_EQ(window().pos(), before);
    QTest::mouseRelease(&window(), Qt::LeftButton, {}, grip);
    QTest::mouseMove(&window(), grip + QPoint(50, 50));
    EXPECT_EQ(window().pos(), before) << "the button is up";

    ASSERT_FALSE(window().windowHandle()->startSystemMove()) << "this screen moves no windows";
    QTest::mousePress(&window(), Qt::LeftButton, {}, grip);
    QTest::mouseMove(&window(), grip + QPoint(30, 40));
    EXPECT_EQ(window().pos(), before + QPoint(30, 40));
    QTest::mouseRelease(&window(), Qt::LeftButton, {}, grip);
}

TEST_F(InstallerWindowTest, F10OpensTheFirstMenu) {
    press(Qt::Key_F10);
    QMenu& first = *window().findChildren<QMenu*>().front();
    EXPECT_TRUE(QTest::qWaitFor([&] { return first.isVisible(); }, patience));
    first.close();
    delegate.about();
    press(Qt::Key_F10);
    EXPECT_FALSE(first.isVisible());
}

TEST_F(InstallerWindowTest, ColumnsAreWholeAndWhereTheyAreWithoutScrolling) {
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    const auto left = [this] { return children<QCheckBox>(sheet()).front()->mapTo(&window(), QPoint()).x(); };
    const int withEleven = left();
    press(Qt::Key_Escape);
    writeCatalog(fourteenNames);
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    EXPECT_EQ(left(), withEleven);
    QScrollBar& bar = *children<ui::qt::ChooserArea>(sheet()).front()->horizontalScrollBar();
    bar.setValue(90);
    EXPECT_EQ(bar.value(), 0);
    bar.setValue(110);
    EXPECT_EQ(bar.value(), 205);
    const auto boxes = children<QCheckBox>(sheet());
    EXPECT_TRUE(isWhole(*boxes[6]));
    EXPECT_TRUE(isWhole(*boxes[12]));
    EXPECT_TRUE(boxes[0]->visibleRegion().isEmpty());
}

TEST_F(InstallerWindowTest, ArrowsGoByRowsAndColumns) {
    writeCatalog(fourteenNames);
    delegate.customize();
    ASSERT_TRUE(sheetIsDown());
    const auto boxes = children<QCheckBox>(sheet());
    press(Qt::Key_Tab);
    const std::vector<std::pair<Qt::Key, std::size_t>> steps = {
        {Qt::Key_Up, 0},     {Qt::Key_Left, 0},  {Qt::Key_Down, 1},   {Qt::Key_Right, 7},
        {Qt::Key_Right, 13}, {Qt::Key_Down, 13}, {Qt::Key_Right, 13}, {Qt::Key_Up, 12},
        {Qt::Key_Left, 6},   {Qt::Key_Up, 6},    {Qt::Key_Left, 0}};
    for (const auto& [key, box] : steps) {
        press(key);
        EXPECT_EQ(focus(), boxes[box]) << box;
        EXPECT_TRUE(isWhole(*boxes[box])) << box;
    }
}

TEST_F(InstallerWindowTest, TheIconIsSharpAtEveryScale) {
    toolkit.setApplicationIcon(ORVO_RESOURCES "/Orvo.icns");
    const QIcon shown = QApplication::windowIcon();
    for (const int points : {16, 48, 128}) {
        for (const int scale : {1, 2, 3}) {
            const QSize pixels = QSize(points, points) * scale;
            EXPECT_EQ(shown.actualSize(pixels), pixels); // which is never more than a picture has
        }
    }
    QApplication::setWindowIcon({});
}

TEST_F(InstallerWindowTest, AnIconThatCannotBeReadIsNone) {
    const TemporaryFolder folder;
    toolkit.setApplicationIcon(folder / "Orvo.icns");
    EXPECT_TRUE(QApplication::windowIcon().isNull());
    writeFile(folder / "Orvo-128.png", readFile(ORVO_RESOURCES "/Orvo-128.png").substr(0, 100));
    toolkit.setApplicationIcon(folder / "Orvo.icns");
    EXPECT_TRUE(QApplication::windowIcon().isNull());
}

TEST_F(InstallerWindowTest, ASheetWithoutAnIconLeavesNoGapForIt) {
    QPixmap picture(48, 48);
    picture.fill(Qt::red);
    QApplication::setWindowIcon(picture);
    const auto messageLeft = [this] {
        delegate.about();
        const int left = children<QLabel>(sheet()).back()->x();
        press(Qt::Key_Escape);
        return left;
    };
    const int beside = messageLeft();
    QApplication::setWindowIcon({});
    EXPECT_EQ(messageLeft(), beside - 48 - 16);
}

} // namespace
} // namespace tests
