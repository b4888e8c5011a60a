#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TreeSnapshot.hpp"
#include "tests/ui/RecordingToolkit.hpp"
#include "ui/InstallerDelegate.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

namespace tests {
namespace {

constexpr uid_t owner = 54321;
constexpr uid_t stranger = 54322;

/// What the window of a user whose HOME is this folder says of its first run. The program itself may lie
/// where only root can look, as this test's does on a machine that builds as root.
std::string failureIn(const std::filesystem::path& home) {
    ::setenv("HOME", home.c_str(), 1);
    RecordingToolkit toolkit;
    ui::InstallerDelegate delegate(toolkit);
    if (::geteuid() == 0 && (::setgid(stranger) != 0 || ::setuid(stranger) != 0)) {
        return "the rights could not be given up";
    }
    delegate.applicationDidFinishLaunching();
    delegate.install();
    toolkit.finishRun();
    const ui::Alert alert = toolkit.takeSheet().alert;
    return toolkit.labels.at(0)->text + "|" + alert.message + "|" + alert.informative;
}

TEST(ForeignHome, IsRefusedInASheet) {
    const TemporaryFolder folder;
    const bool isRoot = ::geteuid() == 0;
    const std::filesystem::path home = isRoot ? folder.path() : "/";
    if (isRoot) {
        ASSERT_EQ(::chown(home.c_str(), owner, owner), 0);
    }
    const std::string expected = "À vérifier|Installation interrompue|Impossible de modifier « " +
                                 home.string() + " » : ce dossier appartient à l’utilisateur " +
                                 (isRoot ? std::to_string(owner) : "root") +
                                 ", et vous n’êtes ni cet utilisateur ni l’administrateur.";
    const TreeSnapshot before = TreeSnapshot::of(folder.path());
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string failure = failureIn(home);
        std::cerr << failure << std::endl;
        ::_exit(failure == expected ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(difference(before, TreeSnapshot::of(folder.path())), "");
}

} // namespace
} // namespace tests
