#pragma once

#include "tests/support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace tests {

/// An Info.plist with an identifier and the name of the main program.
std::string infoList(const std::string& identifier, const std::string& program);

/// A test with an application in a temporary folder: programs, resources, a translation, a link, an extension
/// and a framework. Names hold blanks, accents and a line feed.
class BundleFixture : public testing::Test {
protected:
    BundleFixture();

    std::filesystem::path contents() const { return application / "Contents"; }
    std::filesystem::path extension() const { return contents() / "PlugIns" / "Effets.pluginkit"; }
    std::filesystem::path framework() const { return contents() / "Frameworks" / "Core.framework"; }

    TemporaryFolder folder;
    const std::filesystem::path application = folder / "L’été à Paris.app";
};

} // namespace tests
