#include "tests/end-to-end/EndToEnd.hpp"

#include <unistd.h>

#include <optional>

namespace fs = std::filesystem;

namespace {

using namespace tests;

const std::string message = "Fermez Final Cut Pro et Motion, puis réessayez.";

/// A real process in an application bundle. Nothing else of the product may run beside these tests, which
/// would see the editor too.
struct RunningEditor : EndToEnd {
    std::optional<Child> editor;

    int starts = 0;

    void start(const std::string& information) {
        const fs::path contents = programs / ("Editor " + std::to_string(++starts) + ".app/Contents");
        const fs::path executable = contents / "MacOS/editor";
        fs::create_directories(executable.parent_path());
        fs::copy_file(fs::canonical("/bin/sleep"), executable);
        writeFile(contents / "Info.plist", information);
        editor.emplace(Launch{{executable.string(), "60"}});
        // The child is the editor once it runs its own executable.
        for (int tries = 0; tries < 1000 && !isRunning(executable); ++tries) {
            ::usleep(1000);
        }
        ASSERT_TRUE(isRunning(executable));
    }

    void startNamed(const std::string& identifier) {
        start("<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" + identifier +
              "</string></dict></plist>");
    }

    bool isRunning(const fs::path& executable) const {
        std::error_code failure;
        return fs::read_symlink("/proc/" + std::to_string(editor->id()) + "/exe", failure) == executable;
    }
};

TEST_F(RunningEditor, IsRefusedByAnyIdentifierOfFinalCut) {
    home.fillAsLongUsed();
    for (const char* identifier :
         {"com.apple.FinalCut", "com.apple.FinalCutTrial", "com.apple.FinalCut.beta"}) {
        startNamed(identifier);
        expectRefusal({"--install"}, message);
        expectRefusal({"--uninstall"}, message);
    }
}

TEST_F(RunningEditor, IsRefusedByTheIdentifierOfMotion) {
    startNamed("com.apple.motionapp");
    expectRefusal({"--install"}, message);
}

TEST_F(RunningEditor, IsTheFirstThingLookedAt) {
    startNamed("com.apple.motionapp");
    fs::remove(product.catalog);
    expectRefusal({"--install", "--only", ","}, message);
}

TEST_F(RunningEditor, IsNoObstacleWithoutRegistration) {
    startNamed("com.apple.FinalCut");
    install({"--no-register"});
    uninstall({"--no-register"});
}

TEST_F(RunningEditor, IsNoObstacleOnceItEnded) {
    startNamed("com.apple.FinalCut");
    expectRefusal({"--install"}, message);
    editor.reset();
    install();
}

TEST_F(RunningEditor, IsNotTakenForOneByASimilarIdentifier) {
    for (const char* identifier : {"com.apple.motionappX", "com.apple.motionap", "com.apple.MotionApp",
                                   "com.apple.finalcut", "org.com.apple.FinalCut", "com.apple.FinalCu", ""}) {
        startNamed(identifier);
        install({"--only", "01 Ink Drop"}, 1);
    }
}

TEST_F(RunningEditor, IsNotTakenForOneWithoutIdentifier) {
    for (const char* information :
         {"", "no property list", "<plist version=\"1.0\"><dict></dict></plist>",
          "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><integer>1</integer></dict></plist>"}) {
        start(information);
        install({"--only", "01 Ink Drop"}, 1);
    }
}

TEST_F(RunningEditor, IsRecognisedBesideOtherKeysOfItsBundle) {
    start("<plist "
          "version=\"1.0\"><dict><key>LSRequiresNativeExecution</key><true/><key>CFBundleIdentifier</key>"
          "<string>com.apple.FinalCut</string><key>CFBundleDocumentTypes</key><array/></dict></plist>");
    expectRefusal({"--install"}, message);
}

} // namespace
