#pragma once

#include <filesystem>
#include <map>
#include <ostream>
#include <string>

namespace tests {

/// A whole folder: each path below it with kind, permissions, and the contents and modification date of files
/// or the target of links. Two snapshots compare equal when nothing changed in between.
struct TreeSnapshot {
    std::map<std::string, std::string> items;

    static TreeSnapshot of(const std::filesystem::path& folder);

    /// The same without the items below this path.
    TreeSnapshot without(const std::string& path) const;

    /// The same without modification dates, to compare two folders.
    TreeSnapshot undated() const;

    friend bool operator==(const TreeSnapshot&, const TreeSnapshot&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const TreeSnapshot& snapshot);
};

/// What differs, a line each, for a failing test.
std::string difference(const TreeSnapshot& before, const TreeSnapshot& after);

} // namespace tests
