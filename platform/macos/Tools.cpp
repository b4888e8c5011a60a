#include "platform/Process.hpp"

namespace platform {

std::filesystem::path locateTool(const std::filesystem::path& fixedPath) {
    return fixedPath;
}

} // namespace platform
