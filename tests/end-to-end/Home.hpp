#pragma once

#include "tests/support/TreeSnapshot.hpp"

#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace tests {

/// A path relative to a category, and the file's SHA-256.
using Digests = std::map<std::string, std::string>;

std::string digestOf(const std::string& contents);

/// The digests of a transition's three files.
Digests digestsOf(const std::string& transition, const std::string& edition);

Digests operator+(Digests left, const Digests& right);

/// A home folder, with what the tests put in it and look up in it.
class Home {
public:
    /// Makes the folder with a user's things in it.
    explicit Home(const std::filesystem::path& path);

    std::filesystem::path folder;
    std::filesystem::path transitions;
    std::filesystem::path category;
    std::filesystem::path legacy;
    std::filesystem::path manifest;
    std::filesystem::path legacyManifest;
    std::filesystem::path application;
    std::filesystem::path support;
    std::filesystem::path backups;
    std::filesystem::path journal;
    std::filesystem::path hiddenList;

    /// Everything, to the date of each file.
    TreeSnapshot everything() const;

    /// Everything that a run that fails leaves alone: all but the support folder.
    TreeSnapshot kept() const;

    /// What can be compared with another home: without the support folder, manifests and dates.
    TreeSnapshot comparable() const;

    std::set<std::string> backupNames() const;

    /// The names of what is in the support folder.
    std::set<std::string> supportNames() const;

    /// A home as a long-standing user has it: an earlier edition of the pack with a retired transition, one
    /// under its older title and files of the user's own, an earlier application, the older pack's category,
    /// hidden, partly marked.
    void fillAsLongUsed() const;
};

/// The digests that a manifest lists, whose owner must be the pack's.
Digests manifestAt(const std::filesystem::path& file);

void writeManifest(const std::filesystem::path& file, const Digests& digests,
                   const std::string& owner = "orvo.lumopack01");

} // namespace tests
