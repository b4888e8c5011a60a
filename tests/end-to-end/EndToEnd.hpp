#pragma once

#include "tests/end-to-end/Child.hpp"
#include "tests/end-to-end/Home.hpp"
#include "tests/end-to-end/Product.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace tests {

using Arguments = std::vector<std::string>;

/// What the program says after it installed all of the small pack, or so many transitions.
std::string installedText(int count = 5);

inline const std::string uninstalledText =
    "Sélection désinstallée. Le composant commun est conservé si d’autres transitions Orvo en dépendent.";

/// Where homes are made: in memory where the system offers that, which spares the tests the wait for the
/// disk.
std::filesystem::path memoryOrDisk();

/// A product and a home of the test's own, and the program run as a user would run it.
class EndToEnd : public testing::Test {
protected:
    TemporaryFolder folder{memoryOrDisk()}; ///< for homes
    TemporaryFolder programs;               ///< for what is executed
    Product product{programs / "product"};
    Home home{folder / "home"};

    /// The program with these arguments, the home being the user's.
    Launch program(const Arguments& arguments) const;

    Outcome run(const Arguments& arguments) const;

    /// Runs the program, which must do what was asked, print this text with the place of its backup, and
    /// leave nothing else in the support folder. Returns the backup folder.
    std::filesystem::path succeed(const Arguments& arguments, const std::string& text) const;
    std::filesystem::path succeed(const Launch& launch, const Home& changed, const std::string& text) const;

    /// The same for an install of so many transitions, and for an uninstall.
    std::filesystem::path install(const Arguments& more = {}, int count = 5) const;
    std::filesystem::path uninstall(const Arguments& more = {}) const;

    /// Runs the program, which must say this on the standard error and nothing else, exit with 1 and change
    /// nothing at all.
    void expectRefusal(const Arguments& arguments, const std::string& message) const;

    /// Runs the program, which must fail for this reason after it began, put everything back and say so.
    void expectRestored(const Arguments& arguments, const std::string& reason) const;
    void expectRestored(const Launch& launch, const Home& changed, const std::string& reason) const;

    /// The home must hold what the other does, dates, manifests and support folder apart.
    static void expectSame(const Home& actual, const Home& expected);

    /// Puts the payload's transitions into a home, as an install should.
    void putTransitions(const Home& place, const std::vector<std::string>& transitions) const;
    void putApplication(const Home& place) const;

    /// The digests that the payload's transitions have.
    static Digests payloadDigests(const std::vector<std::string>& transitions);
};

/// Whether system calls can be made to fail here.
bool canInject();

/// The launch under a tracer that makes system calls fail; `what` is in strace's words.
Launch injecting(const Launch& launch, const Arguments& what);

/// Where the backup of the only run that is not among the earlier ones lies.
std::filesystem::path newBackup(const Home& home, const std::set<std::string>& earlier);

} // namespace tests
