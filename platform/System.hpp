#pragma once

#include "platform/FileManager.hpp"
#include "platform/Process.hpp"
#include "platform/RunningApplications.hpp"

#include <functional>

namespace platform {

/// What the engine asks of the system it runs on. The members are the real services unless a test puts
/// something else instead.
struct System {
    const FileManager& files = FileManager::defaultManager();
    std::function<std::vector<std::string>()> runningApplications = platform::runningApplications;
    std::function<ProcessResult(const std::filesystem::path&, const std::vector<std::string>&)> run =
        [](const std::filesystem::path& tool, const std::vector<std::string>& arguments) {
            return platform::run(locateTool(tool), arguments);
        };
};

} // namespace platform
