#include "tests/end-to-end/EndToEnd.hpp"

namespace fs = std::filesystem;

namespace {

using namespace tests;

/// Runs in which an allocation fails, once or for good.
struct FailingMemory : EndToEnd {
    static constexpr long samples = 60;
    const std::string count = (folder / "count").string();

    FailingMemory() {
        home.fillAsLongUsed();
        fs::remove_all(home.category / "Mes essais");
    }

    Launch withMemory(const Arguments& arguments, const std::string& failing) const {
        Launch launch = program(arguments);
        launch.environment["LD_PRELOAD"] = ORVO_FAILING_MEMORY;
        launch.environment["FAILING_ALLOCATION"] = failing;
        launch.environment["ALLOCATION_COUNT"] = count;
        return launch;
    }

    /// However it ends, what was asked is done or the state before is there, at the latest after the next
    /// run, and what it says is true. Returns whether it has failed.
    bool isWhole(const Launch& launch, const TreeSnapshot& done) const {
        const TreeSnapshot before = home.kept();
        const Outcome outcome = Child(launch).wait();
        const bool isSaidToBeRestored = outcome.error.find("État précédent restauré.") != std::string::npos;
        if (fs::exists(home.journal)) {
            EXPECT_FALSE(isSaidToBeRestored) << outcome.error;
            onlyUndo();
            product.onToolCall("");
        }
        const std::string changes = difference(before, home.kept());
        if (outcome.status == 0 || (!changes.empty() && !isSaidToBeRestored)) {
            EXPECT_EQ(difference(done, home.comparable()), "") << outcome.error;
        } else {
            EXPECT_EQ(changes, "") << outcome.error;
        }
        return outcome.status != 0;
    }

    void tryAll(const Arguments& arguments, const std::string& ending) const {
        const auto options = fs::copy_options::recursive | fs::copy_options::copy_symlinks;
        fs::copy(home.folder, folder / "copy", options);
        EXPECT_EQ(Child(withMemory(arguments, "1000000")).wait().status, 0);
        const TreeSnapshot done = home.comparable();
        const long all = std::stol(readFile(count));
        long failed = 0;
        for (long sample = 1; sample <= samples; ++sample) {
            fs::remove_all(home.folder);
            fs::copy(folder / "copy", home.folder, options);
            const std::string failing = std::to_string(all * sample / (samples + 1)) + ending;
            SCOPED_TRACE("allocation " + failing);
            failed += isWhole(withMemory(arguments, failing), done) ? 1 : 0;
        }
        EXPECT_GT(failed, samples / 4); // the other allocations can be done without
    }
};

TEST_F(FailingMemory, OnceLosesNothingOfAnInstall) {
    tryAll({"--install"}, "");
}

TEST_F(FailingMemory, OnceLosesNothingOfAnUninstall) {
    tryAll({"--uninstall"}, "");
}

TEST_F(FailingMemory, ForGoodLosesNothingOfAnInstall) {
    tryAll({"--install"}, "+");
}

TEST_F(FailingMemory, ForGoodLosesNothingOfAnUninstall) {
    tryAll({"--uninstall"}, "+");
}

} // namespace
