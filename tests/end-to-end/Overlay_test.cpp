#include "tests/end-to-end/EndToEnd.hpp"

#include <sched.h>
#include <sys/mount.h>

namespace fs = std::filesystem;

namespace {

using namespace tests;

/// A home in the lower layer of an overlay, as a container image has it: its folders cannot be renamed.
struct Overlay : EndToEnd {
    bool isMounted = false;

    /// In name spaces of this process, where nobody else sees it.
    void SetUp() override {
        home.fillAsLongUsed();
        fs::remove_all(home.category / "Mes essais");
        putOnOverlay();
        if (!isMounted) {
            GTEST_SKIP() << "needs root's rights and overlays";
        }
    }

    void TearDown() override { unmount(); }

    void putOnOverlay() {
        for (const char* layer : {"upper", "work"}) {
            fs::remove_all(folder / layer);
            fs::create_directory(folder / layer);
        }
        fs::rename(home.folder, folder / "lower");
        fs::create_directory(home.folder);
        const std::string options = "lowerdir=" + (folder / "lower").string() +
                                    ",upperdir=" + (folder / "upper").string() +
                                    ",workdir=" + (folder / "work").string();
        isMounted = ::unshare(CLONE_NEWNS) == 0 &&
                    ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                    ::mount("overlay", home.folder.c_str(), "overlay", 0, options.c_str()) == 0;
    }

    void unmount() {
        if (isMounted) {
            EXPECT_EQ(::umount(home.folder.c_str()), 0);
            isMounted = false;
        }
    }
};

TEST_F(Overlay, LosesTheApplicationByAnUninstall) {
    const TreeSnapshot application = TreeSnapshot::of(home.application);
    const fs::path backup = uninstall();
    EXPECT_FALSE(fs::exists(home.application));
    EXPECT_EQ(difference(application, TreeSnapshot::of(backup / "Orvo Transitions.app")), "");
    EXPECT_FALSE(fs::exists(home.category / "10 Dye Bloom"));
    EXPECT_EQ(readFile(home.category / retiredTransition / "notes.txt"), "à garder");
    EXPECT_FALSE(fs::exists(home.manifest));
}

TEST_F(Overlay, TakesAnInstallOverAnother) {
    install();
    EXPECT_EQ(difference(TreeSnapshot::of(product.application), TreeSnapshot::of(home.application)), "");
    EXPECT_EQ(manifestAt(home.manifest), payloadDigests(offeredTransitions));
    install();
    uninstall();
    EXPECT_FALSE(fs::exists(home.application));
}

TEST_F(Overlay, IsRestoredAfterAFailure) {
    for (const char* call : {"2", "3", "4"}) {
        product.onToolCall("[ $call = " + std::string(call) + " ] && { printf non; exit 1; }; :");
        expectRestored({"--install"}, "non");
    }
    product.onToolCall("printf non; exit 1");
    expectRestored({"--uninstall"}, "non");
}

TEST_F(Overlay, IsRestoredAfterACut) {
    const TreeSnapshot before = home.kept();
    for (int call = 2; call <= 4; ++call) {
        const fs::path backup = cutShort({"--install"}, call);
        EXPECT_EQ(onlyUndo().error, undoneText(backup) + "mal signée\n");
        EXPECT_EQ(difference(before, home.kept()), "");
    }
    const fs::path backup = cutShort({"--uninstall"}, 1);
    EXPECT_EQ(onlyUndo().error, undoneText(backup) + "mal signée\n");
    EXPECT_EQ(difference(before, home.kept()), "");
}

} // namespace
