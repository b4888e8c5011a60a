#pragma once

#include <filesystem>
#include <string>

namespace tests {

/// A fresh folder, removed with the object.
class TemporaryFolder {
public:
    /// Made inside `parent`, the system's temporary folder by default.
    explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path());
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }
    std::filesystem::path operator/(const std::filesystem::path& name) const { return folder / name; }

private:
    std::filesystem::path folder;
};

/// Whether both folders exist, each on a file system of its own.
bool areOnTwoFileSystems(const std::filesystem::path& one, const std::filesystem::path& other);

std::string readFile(const std::filesystem::path& path);

/// Writes the file and the folders above it.
void writeFile(const std::filesystem::path& path, const std::string& contents);

} // namespace tests
