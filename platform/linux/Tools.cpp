#include "platform/FileManager.hpp"
#include "platform/Process.hpp"
#include "platform/linux/Program.hpp"

namespace platform {

std::filesystem::path locateTool(const std::filesystem::path& fixedPath) {
    return FileManager::defaultManager().exists(fixedPath)
               ? fixedPath
               : programFolder() / "SystemTools" / fixedPath.relative_path();
}

} // namespace platform
