#pragma once

#include "engine/PackRecords.hpp"
#include "engine/RunRecord.hpp"
#include "platform/FileLock.hpp"
#include "platform/FileManager.hpp"

#include <filesystem>
#include <optional>

namespace engine {

/// Another run is at work, or has just been; this one has changed nothing.
class AnotherRun : public InstallError {
public:
    using InstallError::InstallError;
};

/// What a run says that finds another one at work.
AnotherRun anotherRun();

/// The file in the support folder that tells, while a run changes things and after it was cut short, what the
/// run is going to touch. The run holds the file as long as it lives.
class RunJournal {
public:
    /// Writes the encoded record down durably, prepared under the name `draft` in a folder of the run's own.
    /// Throws AnotherRun when another run has begun.
    static RunJournal begin(const platform::FileManager& files, const std::filesystem::path& file,
                            const std::filesystem::path& draft, const platform::FileManager::Source& record);

    /// Takes over the journal of a run that was cut short; nothing when there is none. Throws AnotherRun
    /// when that run is alive.
    static std::optional<RunJournal> takeOver(const platform::FileManager& files,
                                              const std::filesystem::path& file);

    /// The record as it stands in the file.
    RunRecord read() const;

    /// Removes the file, durably.
    void end() const;

private:
    static RunJournal publish(const platform::FileManager& files, const std::filesystem::path& file,
                              const std::filesystem::path& draft);

    RunJournal(const platform::FileManager& fileManager, std::filesystem::path path, platform::FileLock hold)
        : files(&fileManager), file(std::move(path)), lock(std::move(hold)) {}

    const platform::FileManager* files;
    std::filesystem::path file;
    platform::FileLock lock;
};

} // namespace engine
