#include "tests/end-to-end/Product.hpp"

#include "tests/support/BuiltProduct.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

namespace tests {
namespace {

constexpr const char* catalogText = R"([
  {"name": "01 Ink Drop", "note": "keys that nobody knows are ignored"},
  {"name": "02 Page Fold", "retired": false},
  {"name": "08 Lost Glow", "retired": true},
  {"name": "09 Dye Bloom", "retired": null},
  {"name": "10 Box Turn"},
  {"name": "11 Pane Burst"}
])";

constexpr const char* ownershipList = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>owner</key><string>orvo.lumopack01</string></dict></plist>
)";

void copyProgram(const fs::path& program) {
    fs::create_directories(program.parent_path());
    std::error_code failure;
    const fs::path built = builtProduct() / "orvo-installer";
    fs::create_hard_link(built, program, failure); // the program looks at the name it was started by
    if (failure) {
        fs::copy_file(built, program);
    }
}

} // namespace

std::string templateText(const std::string& transition, const std::string& edition) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE ozxmlscene>\n<ozml version=\"5.13\">\n"
           "    <displayversion>5.13</displayversion>\n    <build></build>\n    <scene>\n"
           "        <name>" +
           transition + "</name>\n        <edition>" + edition + "</edition>\n    </scene>\n</ozml>\n";
}

std::string thumbnailText(const std::string& transition, const std::string& size,
                          const std::string& edition) {
    return size + " picture of " + transition + ", " + edition + "\n";
}

void writeTransition(const fs::path& folder, const std::string& transition, const std::string& edition) {
    const fs::path inner = folder / transition;
    writeFile(inner / (transition + ".motr"), templateText(transition, edition));
    writeFile(inner / "small.png", thumbnailText(transition, "small", edition));
    writeFile(inner / "large.png", thumbnailText(transition, "large", edition));
    dateLongAgo(inner);
}

void writeApplication(const fs::path& application, const std::string& edition) {
    const fs::path contents = application / "Contents";
    const fs::path program = contents / "MacOS/Orvo Transitions";
    writeFile(contents / "Info.plist", "edition " + edition + "\n");
    writeFile(program, "#!/bin/sh\nexit 0\n");
    fs::permissions(program, fs::perms(0755));
    writeFile(contents / "PlugIns/OrvoTransitions.pluginkit/Contents/Info.plist", "extension " + edition);
    writeFile(contents / "Resources/orvo-owned.plist", ownershipList);
    fs::create_symlink("orvo-owned.plist", contents / "Resources/current.plist");
    dateLongAgo(application);
}

void dateLongAgo(const fs::path& item) {
    if (fs::is_symlink(item)) {
        return;
    }
    if (fs::is_directory(item)) {
        for (const auto& inner : fs::directory_iterator(item)) {
            dateLongAgo(inner.path());
        }
    }
    constexpr std::array<timespec, 2> date{{{1'582'934'400, 123'456'789}, {1'582'934'400, 123'456'789}}};
    if (::utimensat(AT_FDCWD, item.c_str(), date.data(), 0) != 0) {
        throw std::runtime_error("cannot date " + item.string());
    }
}

Product::Product(const fs::path& path)
    : folder(path), program(path / "orvo-installer"), payload(path / "Resources/Payload"),
      catalog(payload / "catalog.json"), templates(payload / "MotionTemplates"),
      application(payload / "Orvo Transitions.app"), calls(path / "tool-calls"),
      behaviour(path / "tool-behaviour") {
    copyProgram(program);
    writeFile(path / "Resources/Orvo.icns", "icon");
    writeFile(catalog, catalogText);
    for (const std::string& transition : offeredTransitions) {
        writeTransition(templates, transition, "2.3");
    }
    writeApplication(application, "2.3");
    writeFile(behaviour, "");
    writeTool("usr/bin/codesign");
    writeTool("usr/bin/pluginkit");
    writeTool("System/Library/Frameworks/CoreServices.framework/Frameworks/LaunchServices.framework/Support/"
              "lsregister");
}

void Product::onToolCall(const std::string& commands) const {
    fs::remove(calls);
    writeFile(behaviour, commands);
}

std::vector<std::vector<std::string>> Product::toolCalls() const {
    std::vector<std::vector<std::string>> result;
    std::istringstream lines(fs::exists(calls) ? readFile(calls) : "");
    std::vector<std::string> call;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            result.push_back(std::exchange(call, {}));
        } else {
            call.push_back(line);
        }
    }
    return result;
}

/// A word a line, and an empty line after each call.
void Product::writeTool(const fs::path& fixedPath) const {
    const fs::path tool = folder / "SystemTools" / fixedPath;
    writeFile(tool, "#!/bin/sh\ntool=" + tool.filename().string() +
                        "\nprintf '%s\\n' \"$tool\" \"$@\" '' >>'" + calls.string() +
                        "'\ncall=$(grep -c '^$' '" + calls.string() + "')\n. '" + behaviour.string() + "'\n");
    fs::permissions(tool, fs::perms(0755));
}

} // namespace tests
