#include "platform/Process.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <thread>

namespace fs = std::filesystem;

namespace {

struct Registration : testing::Test {
    Registration() { tests::writeFile(extension / "Contents/Info.plist", ""); }

    /// Runs a command with nothing but this variable; returns its status and what it wrote.
    static std::string run(const std::string& variable, const std::vector<std::string>& command) {
        std::vector<std::string> words{"-i", variable};
        words.insert(words.end(), command.begin(), command.end());
        const auto result = platform::run("/usr/bin/env", words);
        return std::to_string(result.status) + result.output;
    }
    std::string run(const std::vector<std::string>& command) const {
        return run("XDG_STATE_HOME=" + state.native(), command);
    }

    std::string registered() const { return tests::readFile(state / "orvo-installer/registrations"); }

    tests::TemporaryFolder folder;
    const fs::path state = folder / "state";
    const fs::path application = folder / "Orvo.app";
    const fs::path extension = application / "Contents/PlugIns/Orvo.pluginkit";
    const std::string extensionLine = "extension\t" + extension.native() + "\n";
};

TEST_F(Registration, KeepsOneLineAnItem) {
    tests::writeFile(application / "Contents/Info.plist", "");
    fs::create_directory_symlink(application, folder / "alias.app");
    for (const fs::path& path : {application, application / "", folder / "alias.app"}) {
        EXPECT_EQ(run({LSREGISTER, "-f", path}), "0");
    }
    EXPECT_EQ(run({PLUGINKIT, "-a", extension}), "0");
    EXPECT_EQ(registered(), "application\t" + application.native() + "\n" + extensionLine);
}

TEST_F(Registration, ForgetsAnExtensionAlsoWhenItIsGone) {
    EXPECT_EQ(run({PLUGINKIT, "-a", extension}), "0");
    fs::remove_all(application);
    EXPECT_EQ(run({PLUGINKIT, "-r", extension}), "0");
    EXPECT_EQ(run({PLUGINKIT, "-r", extension}), "0");
    EXPECT_EQ(registered(), "");
}

TEST_F(Registration, RefusesWhatItDoesNotKnow) {
    const std::string path = folder / "a";
    EXPECT_EQ(run({LSREGISTER, "-f", path}), "1lsregister: " + path + ": not an application\n");
    EXPECT_EQ(run({PLUGINKIT, "-a", path}), "1pluginkit: " + path + ": not an extension\n");
    EXPECT_EQ(run({LSREGISTER, "-r", extension}).rfind("2A portable stand-in", 0), 0U);
    EXPECT_EQ(run({PLUGINKIT, "-f", extension}).rfind("2A portable stand-in", 0), 0U);
    EXPECT_FALSE(fs::exists(state));
}

TEST_F(Registration, LosesNothingWhenManyRegisterAtOnce) {
    std::string expected;
    std::vector<std::thread> runs;
    for (char name = 'a'; name <= 'z'; ++name) {
        const fs::path path = folder / (name + std::string(".app"));
        tests::writeFile(path / "Contents/Info.plist", "");
        expected += "application\t" + path.native() + "\n";
        runs.emplace_back([this, path] { EXPECT_EQ(run({LSREGISTER, "-f", path}), "0"); });
    }
    for (std::thread& running : runs) {
        running.join();
    }
    EXPECT_EQ(registered(), expected);
}

TEST_F(Registration, KeepsTheListInTheHomeFolder) {
    EXPECT_EQ(run("HOME=" + folder.path().native(), {PLUGINKIT, "-a", extension}), "0");
    EXPECT_EQ(tests::readFile(folder / ".local/state/orvo-installer/registrations"), extensionLine);
}

TEST_F(Registration, KeepsTheListInTheHomeFolderOfTheAccountWithoutHome) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root's rights";
    }
    fs::permissions(folder.path(), fs::perms(0755));
    fs::copy_file(PLUGINKIT, folder / "pluginkit");
    const std::string home = ::getpwnam("nobody")->pw_dir;
    const std::string output = run("LANG=C", {"setpriv", "--clear-groups", "--regid=65534", "--reuid=nobody",
                                              folder / "pluginkit", "-a", extension});
    EXPECT_NE(output.find(home), std::string::npos) << output;
}

} // namespace
