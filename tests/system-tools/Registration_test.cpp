#include "platform/Process.hpp"
#include "tests/support/TreeSnapshot.hpp"
#include "tests/system-tools/BundleFixture.hpp"

#include <algorithm>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

using tests::writeFile;

class RegistrationTest : public tests::BundleFixture {
protected:
    /// Runs a tool with this environment only.
    static platform::ProcessResult runWith(const std::vector<std::string>& environment,
                                           const std::string& tool,
                                           const std::vector<std::string>& arguments) {
        std::vector<std::string> all{"-i"};
        all.insert(all.end(), environment.begin(), environment.end());
        all.push_back(tool);
        all.insert(all.end(), arguments.begin(), arguments.end());
        return platform::run("/usr/bin/env", all);
    }

    platform::ProcessResult run(const std::string& tool, const std::vector<std::string>& arguments) const {
        return runWith({"HOME=" + (folder / "home").native(), "XDG_STATE_HOME=" + state.native()}, tool,
                       arguments);
    }

    void expectSuccess(const std::string& tool, const std::vector<std::string>& arguments) const {
        const auto result = run(tool, arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "");
    }

    std::string registered() const {
        const fs::path list = state / "orvo-installer/registrations";
        return fs::exists(list) ? tests::readFile(list) : "";
    }

    const fs::path state = folder / "state";
    const std::string applicationLine = "application\t" + application.native() + "\n";
    const std::string extensionLine = "extension\t" + extension().native() + "\n";
};

TEST_F(RegistrationTest, NotesAnApplicationAndItsExtension) {
    expectSuccess(LSREGISTER, {"-f", application});
    expectSuccess(PLUGINKIT, {"-a", extension()});
    EXPECT_EQ(registered(), applicationLine + extensionLine);
}

TEST_F(RegistrationTest, NotesThemOnce) {
    expectSuccess(LSREGISTER, {"-f", application});
    expectSuccess(LSREGISTER, {"-f", application / ""});
    EXPECT_EQ(registered(), applicationLine);
}

TEST_F(RegistrationTest, ForgetsAnExtension) {
    expectSuccess(LSREGISTER, {"-f", application});
    expectSuccess(PLUGINKIT, {"-a", extension()});
    expectSuccess(PLUGINKIT, {"-r", extension()});
    EXPECT_EQ(registered(), applicationLine);
}

TEST_F(RegistrationTest, ForgetsAnExtensionThatIsGone) {
    expectSuccess(PLUGINKIT, {"-a", extension()});
    fs::remove_all(extension());
    expectSuccess(PLUGINKIT, {"-r", extension()});
    EXPECT_EQ(registered(), "");
}

TEST_F(RegistrationTest, ForgettingAnExtensionThatIsNotRegisteredChangesNothing) {
    expectSuccess(LSREGISTER, {"-f", application});
    const auto before = tests::TreeSnapshot::of(state);
    expectSuccess(PLUGINKIT, {"-r", extension()});
    EXPECT_EQ(before, tests::TreeSnapshot::of(state));
}

TEST_F(RegistrationTest, RefusesWhatIsNoBundle) {
    EXPECT_EQ(run(LSREGISTER, {"-f", folder.path()}).output,
              "lsregister: " + folder.path().native() + ": not an application bundle\n");
    EXPECT_EQ(run(LSREGISTER, {"-f", folder / "rien.app"}).status, 1);
    EXPECT_EQ(run(PLUGINKIT, {"-a", application}).output,
              "pluginkit: " + application.native() + ": not an extension inside an application\n");
    EXPECT_EQ(run(PLUGINKIT, {"-a", contents() / "PlugIns/rien.pluginkit"}).status, 1);
    EXPECT_EQ(run(PLUGINKIT, {"-r", contents() / "PlugIns/rien.pluginkit"}).status, 1);
    EXPECT_EQ(registered(), "");
}

TEST_F(RegistrationTest, RefusesABundleWhoseInfoListCannotBeRead) {
    for (const std::string text : {"", "<plist", "<plist version=\"1.0\"><dict/></plist>"}) {
        writeFile(contents() / "Info.plist", text);
        EXPECT_EQ(run(LSREGISTER, {"-f", application}).status, 1);
    }
    EXPECT_EQ(registered(), "");
}

TEST_F(RegistrationTest, KeepsOneLineForAPathWithALineFeed) {
    const fs::path odd = folder / "a\tb\nc\\d.app";
    fs::copy(application, odd, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    expectSuccess(LSREGISTER, {"-f", odd});
    EXPECT_EQ(registered(), "application\t" + (folder / "a\\tb\\nc\\\\d.app").native() + "\n");
}

TEST_F(RegistrationTest, ResolvesLinksSoThatAPlaceHasOneName) {
    fs::create_directory_symlink(application, folder / "alias.app");
    expectSuccess(LSREGISTER, {"-f", folder / "alias.app"});
    EXPECT_EQ(registered(), applicationLine);
}

TEST_F(RegistrationTest, LosesNothingWhenManyRegisterAtOnce) {
    constexpr int count = 24;
    std::vector<std::string> expected;
    expected.reserve(count);
    for (int index = 0; index < count; ++index) {
        const fs::path copy = folder / ("copie " + std::to_string(index) + ".app");
        writeFile(copy / "Contents/Info.plist", tests::infoList("org.example.copy", "Copy"));
        expected.push_back("application\t" + copy.native() + "\n");
    }
    std::vector<std::thread> runs;
    runs.reserve(count);
    for (int index = 0; index < count; ++index) {
        runs.emplace_back([&, index] {
            expectSuccess(LSREGISTER, {"-f", folder / ("copie " + std::to_string(index) + ".app")});
        });
    }
    for (std::thread& running : runs) {
        running.join();
    }
    std::sort(expected.begin(), expected.end());
    std::string text;
    for (const std::string& line : expected) {
        text += line;
    }
    EXPECT_EQ(registered(), text);
}

TEST_F(RegistrationTest, KeepsTheListBelowTheHomeFolderByDefault) {
    const fs::path home = folder / "home";
    for (const auto& environment : std::vector<std::vector<std::string>>{
             {"HOME=" + home.native()}, {"HOME=" + home.native(), "XDG_STATE_HOME=relative"}}) {
        EXPECT_EQ(runWith(environment, LSREGISTER, {"-f", application}).status, 0);
        EXPECT_EQ(tests::readFile(home / ".local/state/orvo-installer/registrations"), applicationLine);
        fs::remove_all(home);
    }
}

TEST_F(RegistrationTest, FailsWithATextWhenThereIsNoPlaceForTheList) {
    const auto homeless = runWith({}, LSREGISTER, {"-f", application});
    EXPECT_EQ(homeless.status, 1);
    EXPECT_EQ(homeless.output, "lsregister: HOME is not set, so there is no place to keep registrations\n");
    writeFile(state, "a file where the folder should be");
    const auto blocked = run(PLUGINKIT, {"-a", extension()});
    EXPECT_EQ(blocked.status, 1);
    EXPECT_EQ(blocked.output.rfind("pluginkit: ", 0), 0U);
}

TEST_F(RegistrationTest, ExplainsItsUseWhenTheArgumentsMakeNoSense) {
    for (const std::string tool : {LSREGISTER, PLUGINKIT}) {
        for (const auto& arguments : std::vector<std::vector<std::string>>{
                 {}, {"-f"}, {"-x", application}, {"-a", application, "more"}}) {
            const auto result = run(tool, arguments);
            EXPECT_EQ(result.status, 2);
            EXPECT_EQ(result.output.rfind("usage: ", 0), 0U);
        }
        EXPECT_NE(run(tool, {"--help"}).output.find("portable stand-in"), std::string::npos);
    }
}

} // namespace
