#include "platform/Digest.hpp"
#include "platform/Process.hpp"
#include "tests/support/BuiltProduct.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TreeSnapshot.hpp"
#include "tests/ui/qt/Screen.hpp"
#include "tests/ui/qt/SessionManager.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <thread>
#include <utility>

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace tests {
namespace {

/// By how much the window may differ from the kept pictures.
struct Tolerance {
    double difference = 0;
    int shift = 0; ///< of text, in pixels
};

/// Antialiasing that differs from machine to machine stays well below, one letter that differs goes beyond.
constexpr Tolerance sameFont{10, 0};

/// Another version of the font than the pictures were taken with: its letters are up to three pixels
/// elsewhere at each scale (the ellipsis of Inter 4 is wider than that of Inter 3), and are drawn a little
/// otherwise (its arrow is).
constexpr Tolerance otherFont{50, 3};

std::string fontDigest(const fs::path& product) {
    platform::Sha256 digest;
    for (const std::string name : {"Inter-Regular", "Inter-SemiBold"}) {
        for (const std::string extension : {".otf", ".ttf"}) {
            const fs::path file = product / "Resources/Fonts" / (name + extension);
            digest.update(fs::exists(file) ? readFile(file) : "");
        }
    }
    return platform::hexadecimal(digest.finish());
}

constexpr int barHeight = 30;
const QRect spinnerMask(210, barHeight + 300, 40, 40);
const QRect sheetMask(0, 0, 460, barHeight + 245);

/// Qt and the desktop keep files of their own in a home folder.
TreeSnapshot withoutCaches(const TreeSnapshot& snapshot) {
    return snapshot.without(".cache").without(".config");
}

/// The products and homes that a test works with, and what the command line makes of the same request.
class Workshop {
public:
    Workshop() {
        fs::copy(builtProduct(), product(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        const fs::path codesign = product() / "SystemTools/usr/bin/codesign";
        fs::rename(codesign, folder / "codesign");
        writeFile(codesign, "#!/bin/sh\nwhile [ -e '" + pause().string() +
                                "' ]; do sleep 0.05; done\nexec '" + (folder / "codesign").string() +
                                "' \"$@\"\n");
        fs::permissions(codesign, fs::perms::owner_all);
        fs::create_directory(home());
    }

    fs::path product() const { return folder / "product"; }
    fs::path program() const { return product() / "orvo-installer"; }
    fs::path home() const { return folder / "home"; }
    fs::path output() const { return folder / "output"; }

    /// While this file exists, a run does not go on past its first signature check.
    fs::path pause() const { return folder / "pause"; }

    platform::ProcessResult commandLine(const std::vector<std::string>& arguments) const {
        std::vector<std::string> words = {
            "-u", "DISPLAY", "-u", "XDG_STATE_HOME", "HOME=" + home().string(), program().string()};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return platform::run("/usr/bin/env", words);
    }

    /// The home folder, with the random names of the backups left out and their number added.
    TreeSnapshot snapshot() const {
        static const std::string backups = "Library/Application Support/OrvoTransitions/Backups/";
        TreeSnapshot nameless;
        std::set<std::string> names;
        for (const auto& [path, description] : TreeSnapshot::of(home()).undated().items) {
            std::string name = path;
            if (path.starts_with(backups)) {
                const std::size_t end = std::min(path.find('/', backups.size()), path.size());
                names.insert(path.substr(0, end));
                name = backups + "*" + path.substr(end);
            }
            nameless.items[name] = description;
        }
        if (!names.empty()) {
            nameless.items[backups] = std::to_string(names.size()) + " backups";
        }
        return withoutCaches(nameless);
    }

    /// The home folder as the command line leaves it after these requests, from nothing.
    TreeSnapshot expected(const std::vector<std::vector<std::string>>& requests) const {
        fs::rename(home(), folder / "set-aside");
        fs::create_directory(home());
        for (const auto& request : requests) {
            const platform::ProcessResult result = commandLine(request);
            EXPECT_EQ(result.status, 0) << result.output;
        }
        const TreeSnapshot result = snapshot();
        fs::remove_all(home());
        fs::rename(folder / "set-aside", home());
        return result;
    }

private:
    TemporaryFolder folder;
};

class RealProgramTest : public testing::Test {
protected:
    void start(int windowScale = 1) {
        scale = windowScale;
        environment.insert({{"DISPLAY", screen.display()},
                            {"HOME", workshop.home()},
                            {"XDG_STATE_HOME", ""},
                            {"QT_QPA_PLATFORM", "xcb"},
                            {"QT_SCALE_FACTOR", std::to_string(scale)},
                            {"LSAN_OPTIONS", "print_suppressions=0:suppressions=" ORVO_LEAKS}});
        program = std::make_unique<ChildProcess>(std::vector<std::string>{workshop.program()}, environment,
                                                 workshop.output());
        const bool shown = eventually([this] {
            window = screen.findWindow("Orvo Transitions");
            return !window.empty();
        });
        ASSERT_TRUE(shown) << readFile(workshop.output());
        screen.activate(window);
        screen.leave();
        waitFor("ready");
    }

    QImage picture(const std::string& state) const {
        const std::string folder = scale == 1 ? ORVO_PICTURES : ORVO_LARGE_PICTURES;
        return QImage(QString::fromStdString(folder + "/" + state + ".png"));
    }

    double differenceFrom(const std::string& state, const QImage& shown,
                          const std::vector<QRect>& masks = {}) const {
        return difference(shown, picture(state), masks, tolerance.shift * scale);
    }

    /// Waits until the window looks like the kept picture, and Return has rested after a result.
    void waitFor(const std::string& state, const std::vector<QRect>& masks = {}) {
        ASSERT_FALSE(picture(state).isNull()) << state;
        QImage last;
        double distance = 255;
        const bool alike = eventually([&] {
            last = screen.capture(window);
            distance = differenceFrom(state, last, masks);
            return distance < tolerance.difference;
        });
        const QString kept = QString::fromStdString(std::string(ORVO_FAILURES) + "/" + state + ".png");
        ASSERT_TRUE(alike) << state << " differs by " << distance
                           << (last.save(kept) ? ", see " : ", not saved: ") << kept.toStdString();
        std::this_thread::sleep_for(600ms);
    }

    /// Waits until a sheet has come to rest over the window that was ready.
    void waitForSheet() {
        QImage last;
        const bool resting = eventually([&] {
            const QImage before = std::exchange(last, screen.capture(window));
            return last == before && differenceFrom("ready", last) > tolerance.difference;
        });
        ASSERT_TRUE(resting);
    }

    /// Later than a repeat of an earlier press would come.
    void press(const std::vector<std::string>& keys) {
        std::this_thread::sleep_for(100ms);
        screen.press(keys);
    }
    void click(int x, int y) {
        screen.click(window, x * scale, y * scale);
        screen.leave();
    }

    /// Opens a menu of the bar with the mouse and chooses an entry, counted from 1, by keyboard.
    void choose(int x, int entry) {
        screen.click(window, x * scale, barHeight / 2 * scale);
        std::vector<std::string> keys(static_cast<std::size_t>(entry), "Down");
        keys.emplace_back("Return");
        press(keys);
        screen.leave();
    }
    void chooseAbout() { choose(70, 1); }
    void chooseTransitions() { choose(170, 1); }
    void chooseUninstall() { choose(170, 2); }

    void expectHome(const std::vector<std::vector<std::string>>& requests) {
        const TreeSnapshot actual = workshop.snapshot();
        const TreeSnapshot expected = workshop.expected(requests);
        EXPECT_EQ(difference(expected, actual), "");
        EXPECT_GT(actual.items.size(), 5U);
    }

    void installFourChosenByKeyboard() {
        start();
        chooseTransitions();
        waitForSheet(); // keys pressed while the menu closes would be its own
        // From the default button the first Tab leads to the first box; the first seven are unticked.
        std::vector<std::string> keys;
        for (int box = 0; box < 7; ++box) {
            keys.insert(keys.end(), {"Tab", "space"});
        }
        keys.emplace_back("Return");
        press(keys);
        press({"Return"});
        waitFor("succeeded");
        press({"Return"});
        EXPECT_EQ(program->exitStatus(), 0);
        expectHome({{"--install", "--only", "08 Ripple Wave,09 Dye Bloom,10 Box Turn,11 Pane Burst"}});
    }

    Workshop workshop;
    const Tolerance tolerance =
        readFile(ORVO_PICTURES "/font.sha256") == fontDigest(workshop.product()) + "\n" ? sameFont
                                                                                        : otherFont;
    Screen screen;
    std::map<std::string, std::string> environment;
    std::unique_ptr<ChildProcess> program;
    std::string window;
    int scale = 1;
};

TEST_F(RealProgramTest, InstallsByReturnAndQuitsByReturn) {
    start();
    press({"Return"});
    waitFor("succeeded");
    press({"Return"});
    EXPECT_EQ(program->exitStatus(), 0);
    expectHome({{"--install"}});
    EXPECT_EQ(readFile(workshop.output()), "") << "the window's run prints nothing";
}

TEST_F(RealProgramTest, InstallsTheChosenTransitions) {
    start();
    chooseTransitions();
    waitForSheet();
    click(40, 190);
    click(40, 227);
    click(245, 153);
    waitFor("chooser");
    press({"Return"});
    waitFor("selected");
    press({"Return"});
    waitFor("succeeded");
    press({"ctrl+q"});
    EXPECT_EQ(program->exitStatus(), 0);
    expectHome({{"--install", "--only",
                 "01 Silk Fade,02 Light Curtain,05 Flash Zoom,06 Cross Blinds,07 Mosaic Flip,09 Dye Bloom,"
                 "10 Box Turn,11 Pane Burst"}});
}

TEST_F(RealProgramTest, InstallsFourTransitionsChosenByKeyboard) {
    installFourChosenByKeyboard();
}

TEST_F(RealProgramTest, ReturnConfirmsOnADesktopWhereItPressesTheFocusedButton) {
    environment["XDG_CURRENT_DESKTOP"] = "GNOME";
    installFourChosenByKeyboard();
}

TEST_F(RealProgramTest, UninstallsAfterASuccess) {
    start();
    press({"Return"});
    waitFor("succeeded");
    chooseUninstall();
    press({"Return"});
    waitFor("uninstalled");
    press({"alt+F4"});
    EXPECT_EQ(program->exitStatus(), 0);
    expectHome({{"--install"}, {"--uninstall"}});
}

TEST_F(RealProgramTest, AFailureShowsTheWholeTextAndLeavesTheFileAlone) {
    ASSERT_EQ(workshop.commandLine({"--install"}).status, 0);
    const fs::path changed = workshop.home() / "Movies/Motion Templates.localized/Transitions.localized" /
                             "Orvo Transitions/01 Silk Fade/01 Silk Fade.motr";
    std::ofstream(changed, std::ios::app) << "<!-- mine -->\n";
    const TreeSnapshot before = withoutCaches(TreeSnapshot::of(workshop.home()));
    const std::string description = workshop.commandLine({"--install"}).output;
    ASSERT_NE(description.find(changed.string()), std::string::npos);

    start();
    press({"Return"});
    waitFor("failed", {sheetMask});
    press({"Tab", "ctrl+a", "ctrl+c"});
    EXPECT_TRUE(eventually([&] { return screen.clipboard() + "\n" == description; })) << screen.clipboard();
    press({"Return"}); // closes the alert
    press({"Return"}); // tries again, in vain
    waitFor("failed", {sheetMask});
    press({"Escape", "ctrl+q"});
    EXPECT_EQ(program->exitStatus(), 0);
    const TreeSnapshot after = withoutCaches(TreeSnapshot::of(workshop.home()));
    EXPECT_EQ(difference(before, after), "");
}

TEST_F(RealProgramTest, RefusesToQuitDuringARun) {
    start();
    writeFile(workshop.pause(), "");
    press({"Return"});
    waitFor("running", {spinnerMask});
    press({"ctrl+q", "alt+F4", "Return"});
    choose(70, 2);
    waitFor("running", {spinnerMask});
    EXPECT_TRUE(program->running());
    fs::remove(workshop.pause());
    waitFor("succeeded");
    press({"ctrl+q"});
    EXPECT_EQ(program->exitStatus(), 0);
    expectHome({{"--install"}});
}

TEST_F(RealProgramTest, QuitsFromTheMenuAndUnderASheet) {
    start();
    chooseAbout();
    waitFor("about");
    press({"Escape"});
    waitFor("ready");
    choose(70, 2);
    EXPECT_EQ(program->exitStatus(), 0);
    start();
    chooseUninstall();
    waitFor("confirmation");
    press({"ctrl+q"});
    EXPECT_EQ(program->exitStatus(), 0);
    EXPECT_TRUE(workshop.snapshot().items.empty());
}

TEST_F(RealProgramTest, RefusesTheEndOfTheSessionOnlyDuringARun) {
    SessionManager session;
    environment["SESSION_MANAGER"] = session.address();
    start();
    ASSERT_TRUE(eventually([&] { return session.hasClient(); }));
    writeFile(workshop.pause(), "");
    press({"Return"});
    waitFor("running", {spinnerMask});
    session.askToEnd();
    EXPECT_TRUE(eventually([&] { return session.refused(); }));
    fs::remove(workshop.pause());
    waitFor("succeeded");
    session.end();
    EXPECT_EQ(program->exitStatus(), 0);
}

TEST_F(RealProgramTest, AgreesToTheEndOfTheSessionWhenIdle) {
    SessionManager session;
    environment["SESSION_MANAGER"] = session.address();
    start();
    ASSERT_TRUE(eventually([&] { return session.hasClient(); }));
    session.askToEnd();
    EXPECT_TRUE(eventually([&] { return session.agreed(); }));
    session.end();
    EXPECT_EQ(program->exitStatus(), 0);
}

TEST_F(RealProgramTest, ReturnHeldDownInstallsAndDoesNotQuit) {
    start();
    screen.hold("Return", 3s);
    waitFor("succeeded");
    EXPECT_TRUE(program->running());
    press({"Return"});
    EXPECT_EQ(program->exitStatus(), 0);
    expectHome({{"--install"}});
}

TEST_F(RealProgramTest, LooksTheSameOnADesktopWithoutFonts) {
    const fs::path fonts = workshop.home().parent_path() / "fonts.conf";
    writeFile(fonts, "<fontconfig><cachedir>" + fonts.string() + ".cache</cachedir></fontconfig>\n");
    environment["FONTCONFIG_FILE"] = fonts;
    start();
    chooseUninstall();
    waitFor("confirmation");
    press({"Escape"});
    waitFor("ready");
    press({"ctrl+q"});
    EXPECT_EQ(program->exitStatus(), 0);
}

TEST_F(RealProgramTest, LooksTheSameAtTwiceTheScale) {
    start(2);
    chooseAbout();
    waitFor("about");
    press({"Return"});
    waitFor("ready");
    chooseUninstall();
    waitFor("confirmation");
    press({"Escape"});
    waitFor("ready");
    press({"Return"});
    waitFor("succeeded");
    press({"Return"});
    EXPECT_EQ(program->exitStatus(), 0);
}

TEST(WithoutAWindowTest, NamesTheOptionsThatNeedNoDisplay) {
    const Workshop workshop;
    for (const std::string display : {"DISPLAY=", "DISPLAY=:4242"}) {
        ChildProcess program(
            {"env", "-u", "WAYLAND_DISPLAY", "-u", "QT_QPA_PLATFORM", display, workshop.program().string()},
            {{"HOME", workshop.home()}}, workshop.output());
        EXPECT_EQ(program.exitStatus(), 1);
        const std::string output = readFile(workshop.output());
        EXPECT_TRUE(
            output.starts_with("La fenêtre ne peut pas s’ouvrir : aucun affichage n’est disponible.\n"))
            << output;
        EXPECT_NE(output.find("« --install »"), std::string::npos);
        EXPECT_NE(output.find("« --uninstall »"), std::string::npos);
        EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 2)
            << "nothing of the toolkit's own: " << output;
    }
}

TEST(WithoutAWindowTest, StopsAtOnceAndSilentlyWithoutItsResources) {
    const Workshop workshop;
    fs::remove_all(workshop.product() / "Resources");
    ChildProcess program({workshop.program()}, {{"HOME", workshop.home()}, {"QT_QPA_PLATFORM", "offscreen"}},
                         workshop.output());
    ASSERT_TRUE(eventually([&] { return !program.running(); }));
    EXPECT_EQ(program.exitStatus(), -1) << "a signal ends it";
    EXPECT_EQ(readFile(workshop.output()), "");
}

TEST(WithoutAWindowTest, TheCommandLineNeedsNeitherTheWindowNorItsToolkit) {
    const Workshop workshop;
    fs::remove(workshop.product() / "orvo-window.so");
    EXPECT_EQ(workshop.commandLine({"--install"}).status, 0);
    const platform::ProcessResult opened = workshop.commandLine({});
    EXPECT_EQ(opened.status, 1);
    EXPECT_TRUE(opened.output.starts_with("La fenêtre ne peut pas s’ouvrir : ")) << opened.output;
    EXPECT_NE(opened.output.find("« --install »"), std::string::npos);
    const platform::ProcessResult libraries = platform::run("/usr/bin/ldd", {workshop.program().string()});
    EXPECT_EQ(libraries.output.find("libQt"), std::string::npos);
}

} // namespace
} // namespace tests
