#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tests {

/// Transitions of the small pack that the tests install. The last three have an older title too.
inline const std::vector<std::string> offeredTransitions{"01 Ink Drop", "02 Page Fold", "09 Dye Bloom",
                                                         "10 Box Turn", "11 Pane Burst"};
inline const std::string retiredTransition = "08 Lost Glow";

/// What is in a transition's files; `edition` tells one version of the pack from another.
std::string templateText(const std::string& transition, const std::string& edition);
std::string thumbnailText(const std::string& transition, const std::string& size, const std::string& edition);

/// Writes the three files of a transition below the folder, dated long ago.
void writeTransition(const std::filesystem::path& folder, const std::string& transition,
                     const std::string& edition);

/// Writes a companion application, dated long ago.
void writeApplication(const std::filesystem::path& application, const std::string& edition);

/// Dates everything below a folder, and the folder itself, long ago, so that a change shows in the date.
void dateLongAgo(const std::filesystem::path& item);

/// A private copy of the product: the built program, a payload that a test may change, and scripts instead
/// of the system's tools, which note each call and do what the test wants.
class Product {
public:
    explicit Product(const std::filesystem::path& path);

    std::filesystem::path folder;
    std::filesystem::path program;
    std::filesystem::path payload;
    std::filesystem::path catalog;
    std::filesystem::path templates;
    std::filesystem::path application;

    /// Shell commands that every tool runs. `$call` counts the calls from 1, `$tool` is the tool's name.
    void onToolCall(const std::string& commands) const;

    /// The calls so far, each the tool's name followed by its arguments.
    std::vector<std::vector<std::string>> toolCalls() const;

private:
    void writeTool(const std::filesystem::path& fixedPath) const;

    std::filesystem::path calls;
    std::filesystem::path behaviour;
};

} // namespace tests
