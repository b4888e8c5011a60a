#include "tests/end-to-end/EndToEnd.hpp"
#include "tests/support/BuiltProduct.hpp"

namespace fs = std::filesystem;

namespace {

using namespace tests;

const fs::path built = builtProduct();
const fs::path shipped = built / "Resources/Payload";

/// The product as it was built, with its own pack and tools.
struct ShippedProduct : EndToEnd {
    const std::string application = home.application.string();
    const std::string extension = application + "/Contents/PlugIns/OrvoTransitions.pluginkit";

    Launch builtProgram(const Arguments& arguments) const {
        Launch launch = program(arguments);
        launch.words.front() = (built / "orvo-installer").string();
        return launch;
    }

    std::string registrations() const { return readFile(folder / "state/orvo-installer/registrations"); }
};

TEST_F(ShippedProduct, InstallsItsPackAndUninstallsIt) {
    fs::create_directories(home.category);
    fs::create_directories(home.application.parent_path());
    const TreeSnapshot before = home.kept();
    succeed(builtProgram({"--install"}), home, installedText(11));
    EXPECT_EQ(difference(TreeSnapshot::of(shipped / "MotionTemplates").undated(),
                         TreeSnapshot::of(home.category).without(".orvo-transitions.json").undated()),
              "");
    EXPECT_EQ(
        difference(TreeSnapshot::of(shipped / "Orvo Transitions.app"), TreeSnapshot::of(home.application)),
        "");
    EXPECT_EQ(manifestAt(home.manifest).size(), 33U);
    EXPECT_EQ(registrations(), "application\t" + application + "\nextension\t" + extension + "\n");

    succeed(builtProgram({"--uninstall"}), home, uninstalledText);
    EXPECT_EQ(difference(before, home.kept()), "");
    EXPECT_EQ(registrations(), "application\t" + application + "\n"); // macOS forgets those that are gone
}

TEST_F(ShippedProduct, RegistersNothingWhenToldSo) {
    succeed(builtProgram({"--install", "--no-register"}), home, installedText(11));
    succeed(builtProgram({"--uninstall", "--no-register"}), home, uninstalledText);
    EXPECT_FALSE(fs::exists(folder / "state"));
}

TEST_F(ShippedProduct, RefusesAnApplicationWhoseSealIsBroken) {
    const fs::path copy = programs / "copy";
    fs::copy(built, copy, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    const fs::path broken = copy / "Resources/Payload/Orvo Transitions.app";
    const fs::path list = broken / "Contents/Resources/orvo-owned.plist";
    writeFile(list, readFile(list) + " ");
    Launch launch = builtProgram({"--install"});
    launch.words.front() = (copy / "orvo-installer").string();
    const TreeSnapshot before = home.everything();
    const Outcome outcome = Child(launch).wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, broken.string() + ": a sealed resource is missing or invalid\nfile modified: " +
                                 list.string() + "\n\n");
    EXPECT_EQ(difference(before, home.everything()), "");
}

TEST_F(ShippedProduct, MarksATemplateAsMotionWritesIt) {
    const std::string older = "11 Box Turn/11 Box Turn.motr";
    const std::string text = readFile(shipped / "MotionTemplates/10 Box Turn/10 Box Turn.motr");
    writeFile(home.legacy / older, text);
    writeManifest(home.legacyManifest, {{older, digestOf(text)}});
    succeed(builtProgram({"--install"}), home, installedText(11));
    const std::string marked = readFile(home.legacy / older);
    EXPECT_NE(marked.find("<!DOCTYPE ozxmlscene>"), std::string::npos);
    EXPECT_NE(marked.find("<flags>2</flags>"), std::string::npos);
    EXPECT_EQ(manifestAt(home.legacyManifest), (Digests{{older, digestOf(marked)}}));
}

} // namespace
