#pragma once

#include "tests/end-to-end/EndToEnd.hpp"

namespace tests {

inline constexpr uid_t odile = 54321; // two accounts that no system knows
inline constexpr uid_t robert = 54322;

/// Gives the folder with all in it to the user and the group of the same number.
void giveWhole(const std::filesystem::path& folder, uid_t user);

/// The same for one item, a link itself and not what it leads to.
void give(const std::filesystem::path& item, uid_t user);

/// The items of the folder, itself included, that have another owner or group, a line each.
std::string itemsNotOf(const std::filesystem::path& folder, uid_t user);

/// An administrator, whose scripts run as root, works on the home of another user.
class Administrator : public EndToEnd {
protected:
    void SetUp() override;

    /// Makes everything in the home Odile's.
    void giveHome() const { giveWhole(home.folder, odile); }

    /// The program as a script of root's starts it.
    Launch scripted(const Arguments& arguments) const;

    Outcome runScripted(const Arguments& arguments) const { return Child(scripted(arguments)).wait(); }

    void expectAllOfOdile() const { EXPECT_EQ(itemsNotOf(home.folder, odile), ""); }
};

} // namespace tests
