#include "tests/support/TemporaryFolder.hpp"

#include "platform/Uuid.hpp"

#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tests {

TemporaryFolder::TemporaryFolder(const std::filesystem::path& parent)
    : folder(std::filesystem::canonical(parent) / ("orvo-test-" + platform::freshUuid())) {
    std::filesystem::create_directory(folder);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

bool areOnTwoFileSystems(const std::filesystem::path& one, const std::filesystem::path& other) {
    struct stat first {};
    struct stat second {};
    return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
           first.st_dev != second.st_dev;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot read " + path.string());
    }
    std::ostringstream contents;
    contents << stream.rdbuf();
    return contents.str();
}

void writeFile(const std::filesystem::path& path, const std::string& contents) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << contents;
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

} // namespace tests
