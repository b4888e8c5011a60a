#include "platform/FileManager.hpp"
#include "platform/Json.hpp"
#include "platform/Process.hpp"
#include "platform/PropertyList.hpp"
#include "platform/XmlDocument.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

using platform::XmlDocument;
using testing::HasSubstr;
using testing::StartsWith;

const fs::path payload = PAYLOAD;
const fs::path templates = payload / "MotionTemplates";
const fs::path application = payload / "Orvo Transitions.app";

platform::Json catalogue() {
    return platform::parseJson(tests::readFile(payload / "catalog.json"), "catalog.json");
}

/// The names of the entries that are retired, or of those that are not.
std::vector<std::string> names(bool retired) {
    std::vector<std::string> result;
    for (const auto& entry : catalogue()) {
        if (entry.value("retired", false) == retired) {
            result.push_back(entry.at("name").get<std::string>());
        }
    }
    return result;
}

std::string templateOf(const std::string& name) {
    return tests::readFile(templates / name / (name + ".motr"));
}

/// The width and the height that a PNG declares.
std::pair<unsigned, unsigned> sizeOf(const std::string& png) {
    const auto number = [&](std::size_t offset) {
        unsigned value = 0;
        for (std::size_t index = offset; index < offset + 4; ++index) {
            value = value << 8U | static_cast<unsigned char>(png.at(index));
        }
        return value;
    };
    return {number(16), number(20)};
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

TEST(SamplePackTest, OffersElevenTransitionsInTheOrderOfTheirNumbers) {
    const std::vector<std::string> offered = names(false);
    ASSERT_EQ(offered.size(), 11U);
    for (std::size_t index = 0; index < offered.size(); ++index) {
        EXPECT_EQ(std::stoul(offered[index]), index + 1);
        EXPECT_EQ(offered[index].find(' '), 2U);
    }
    EXPECT_EQ(offered[8], "09 Dye Bloom");
    EXPECT_EQ(offered[9], "10 Box Turn");
    EXPECT_EQ(offered[10], "11 Pane Burst");
}

TEST(SamplePackTest, HasOneRetiredTransitionThatItDoesNotShip) {
    const std::vector<std::string> retired = names(true);
    ASSERT_EQ(retired.size(), 1U);
    EXPECT_FALSE(fs::exists(templates / retired.front()));
}

TEST(SamplePackTest, ShipsThreeFilesForEachTransitionAndNothingElse) {
    std::set<std::string> expected;
    for (const std::string& name : names(false)) {
        const fs::path own = name;
        expected.insert({own, own / (name + ".motr"), own / "small.png", own / "large.png"});
    }
    std::set<std::string> found;
    platform::FileManager::defaultManager().enumerate(templates,
                                                      [&](const fs::path& item, const platform::ItemStatus&) {
                                                          found.insert(fs::relative(item, templates));
                                                      });
    EXPECT_EQ(found, expected);
}

TEST(SamplePackTest, TemplatesAreScenesAsMotionWritesThem) {
    for (const std::string& name : names(false)) {
        const std::string text = templateOf(name);
        EXPECT_THAT(text, StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE ozxmlscene>\n"
                                     "<ozml version=\"5.13\">\n"));
        EXPECT_THAT(text, HasSubstr("<build></build>"));
        const XmlDocument document(text);
        ASSERT_TRUE(document.root() && document.root()->firstChild("factory"));
        ASSERT_TRUE(document.root()->firstChild("build"));
        EXPECT_EQ(document.root()->firstChild("build")->text(), "");
        EXPECT_TRUE(document.root()->firstChild("scene")->firstChild("layer"));
        EXPECT_LT(text.size(), 100'000U) << name;
    }
}

TEST(SamplePackTest, TemplatesHaveOneDropZoneForEachClip) {
    for (const std::string& name : names(false)) {
        const std::string text = templateOf(name);
        EXPECT_EQ(count(text, "<scenenode name=\"Transition A\""), 1U) << name;
        EXPECT_EQ(count(text, "<scenenode name=\"Transition B\""), 1U) << name;
        EXPECT_EQ(count(text, "<parameter name=\"Drop Zone\""), 2U) << name;
    }
}

TEST(SamplePackTest, ThumbnailsAreDifferentPicturesOfTheirSizes) {
    std::set<std::string> pictures;
    for (const std::string& name : names(false)) {
        const std::string small = tests::readFile(templates / name / "small.png");
        const std::string large = tests::readFile(templates / name / "large.png");
        EXPECT_THAT(small, StartsWith("\x89PNG\r\n\x1a\n"));
        EXPECT_THAT(large, StartsWith("\x89PNG\r\n\x1a\n"));
        EXPECT_EQ(sizeOf(small), std::make_pair(150U, 84U));
        EXPECT_EQ(sizeOf(large), std::make_pair(480U, 270U));
        pictures.insert({small, large});
    }
    EXPECT_EQ(pictures.size(), 22U);
}

TEST(SamplePackTest, TheCompanionApplicationIsOwnedByThePack) {
    const fs::path file = application / "Contents/Resources/orvo-owned.plist";
    const auto list = platform::parsePropertyList(tests::readFile(file), file);
    EXPECT_TRUE(list.isDictionaryOfStrings);
    EXPECT_EQ(list.strings.at("owner"), "orvo.lumopack01");
}

TEST(SamplePackTest, TheCompanionApplicationCarriesTheExtension) {
    for (const fs::path& bundle : {application, application / "Contents/PlugIns/OrvoTransitions.pluginkit"}) {
        const fs::path file = bundle / "Contents/Info.plist";
        const auto list = platform::parsePropertyList(tests::readFile(file), file);
        EXPECT_THAT(list.strings.at("CFBundleIdentifier"), StartsWith("fr.orvo.transitions"));
        const fs::path program = bundle / "Contents/MacOS" / list.strings.at("CFBundleExecutable");
        EXPECT_NE(fs::status(program).permissions() & fs::perms::owner_exec, fs::perms::none);
        EXPECT_EQ(platform::run(program, {}).status, 0);
    }
}

TEST(SamplePackTest, TheCompanionApplicationVerifies) {
    const auto result = platform::run(CODESIGN, {"--verify", "--deep", "--strict", application});
    EXPECT_EQ(result.status, 0) << result.output;
}

} // namespace
