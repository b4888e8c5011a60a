#pragma once

#include "tests/end-to-end/Child.hpp"
#include "tests/end-to-end/Home.hpp"
#include "tests/end-to-end/Product.hpp"
#include "tests/end-to-end/Tracer.hpp"
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

    /// Runs the program, which must do what was asked, print this text with the path of its backup, and
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

    /// Runs the program, has a tool kill it at this call, and returns the folder with its backup.
    std::filesystem::path cutShort(const Arguments& arguments, int call) const;

    /// Runs the program, which undoes what was cut short and then stops at the signature of its own
    /// application.
    Outcome onlyUndo(const Arguments& more = {}) const;

    /// What a run says first that has undone the run with this backup, moving these items of the user's.
    std::string undoneText(const std::filesystem::path& backup,
                           const std::vector<std::filesystem::path>& kept = {}) const;

    /// Where an undo of the run with this backup moves an item of the user's, and what it says of that.
    std::filesystem::path keptPath(const std::filesystem::path& backup,
                                   const std::filesystem::path& item) const;
    std::string keptText(const std::filesystem::path& backup, const std::filesystem::path& item) const;

    /// The home must contain what the other does, dates, manifests and support folder apart.
    static void expectSame(const Home& actual, const Home& expected);

    /// Puts the payload's transitions into a home, as an install should.
    void putTransitions(const Home& filled, const std::vector<std::string>& transitions) const;
    void putApplication(const Home& filled) const;

    /// The digests that the payload's transitions have.
    static Digests payloadDigests(const std::vector<std::string>& transitions);
};

/// Where the backup of the only run that is not among the earlier ones lies.
std::filesystem::path newBackup(const Home& home, const std::set<std::string>& earlier);

} // namespace tests
