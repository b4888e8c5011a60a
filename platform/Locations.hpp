#pragma once

#include <filesystem>
#include <optional>

namespace platform {

/// The resource folder of the running program, or nothing when it has none. It does not depend on the working
/// directory.
std::optional<std::filesystem::path> resourceFolder();

/// The "Payload" folder inside the resource folder. A program without resources stops abnormally here: it was
/// put together wrongly, and nothing that a user does can mend it.
std::filesystem::path payloadFolder();

/// The current user's home folder.
std::filesystem::path homeFolder();

} // namespace platform
