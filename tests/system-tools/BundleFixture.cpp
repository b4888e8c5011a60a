#include "tests/system-tools/BundleFixture.hpp"

namespace fs = std::filesystem;

namespace tests {

std::string infoList(const std::string& identifier, const std::string& program) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>CFBundleExecutable</key>
	<string>)" +
           program + R"(</string>
	<key>CFBundleIdentifier</key>
	<string>)" +
           identifier + R"(</string>
</dict>
</plist>
)";
}

BundleFixture::BundleFixture() {
    writeFile(contents() / "Info.plist", infoList("org.example.paris", "Paris"));
    writeFile(contents() / "PkgInfo", "APPL????");
    writeFile(contents() / "MacOS" / "Paris", "main program");
    writeFile(contents() / "MacOS" / "helper", "helper");
    writeFile(contents() / "Resources" / "notes en français.txt", "notes");
    writeFile(contents() / "Resources" / "two\nlines", "two lines");
    writeFile(contents() / "Resources" / "fr.lproj" / "Localizable.strings", "fr");
    fs::create_symlink("notes en français.txt", contents() / "Resources" / "lien");

    writeFile(extension() / "Contents" / "Info.plist", infoList("org.example.paris.effects", "Effets"));
    writeFile(extension() / "Contents" / "MacOS" / "Effets", "extension");
    writeFile(extension() / "Contents" / "Resources" / "data", "data");

    writeFile(framework() / "Versions" / "A" / "Core", "library");
    writeFile(framework() / "Versions" / "A" / "Resources" / "Info.plist",
              infoList("org.example.core", "Core"));
    fs::create_directory_symlink("A", framework() / "Versions" / "Current");
    fs::create_symlink("Versions/Current/Core", framework() / "Core");
}

} // namespace tests
