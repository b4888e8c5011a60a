#include "platform/Process.hpp"
#include "tests/support/TreeSnapshot.hpp"
#include "tests/system-tools/BundleFixture.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using tests::writeFile;

const std::string badResource = ": a sealed resource is missing or invalid";
const std::string badSignature = ": invalid signature (code or signature have been modified)";
const std::string usage = "usage: codesign [--force] --sign - BUNDLE...\n"
                          "       codesign --verify [--deep] [--strict] BUNDLE...\n"
                          "       codesign --help\n";

platform::ProcessResult codesign(const std::vector<std::string>& arguments) {
    return platform::run(CODESIGN, arguments);
}

class CodesignTest : public tests::BundleFixture {
protected:
    void seal() const {
        const auto result = codesign({"--force", "--sign", "-", application});
        ASSERT_EQ(result.status, 0) << result.output;
        ASSERT_EQ(result.output, "");
    }

    static platform::ProcessResult verify(const fs::path& bundle) {
        return codesign({"--verify", "--deep", "--strict", bundle});
    }

    void expectIntact() const {
        const auto result = verify(application);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "");
    }

    /// Expects the text that follows the application's path.
    void expectFailure(const std::string& text) const {
        const auto result = verify(application);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, application.native() + text + "\n");
    }

    fs::path resource(const std::string& name) const { return contents() / "Resources" / name; }
};

TEST_F(CodesignTest, AFreshSealVerifies) {
    seal();
    expectIntact();
}

TEST_F(CodesignTest, VerifyingChangesNothing) {
    seal();
    const auto before = tests::TreeSnapshot::of(folder.path());
    expectIntact();
    EXPECT_EQ(before, tests::TreeSnapshot::of(folder.path()));
}

TEST_F(CodesignTest, SealsWhatIsNestedToo) {
    seal();
    EXPECT_EQ(verify(extension()).status, 0);
    EXPECT_EQ(verify(framework()).status, 0);
    EXPECT_TRUE(fs::exists(extension() / "Contents/_CodeSignature/CodeResources"));
    EXPECT_TRUE(fs::exists(framework() / "Versions/A/_CodeSignature/CodeResources"));
}

TEST_F(CodesignTest, SealingTwiceGivesTheSameSeal) {
    seal();
    const std::string first = tests::readFile(contents() / "_CodeSignature/CodeResources");
    seal();
    EXPECT_EQ(first, tests::readFile(contents() / "_CodeSignature/CodeResources"));
    expectIntact();
}

TEST_F(CodesignTest, ACopyThatKeepsLinksVerifies) {
    seal();
    const fs::path copy = folder / "copie.app";
    ASSERT_EQ(platform::run("/bin/cp", {"-a", application, copy}).status, 0);
    EXPECT_EQ(verify(copy).status, 0);
}

TEST_F(CodesignTest, NoticesAModifiedFile) {
    seal();
    writeFile(resource("notes en français.txt"), "Notes");
    expectFailure(badResource + "\nfile modified: " + resource("notes en français.txt").native());
}

TEST_F(CodesignTest, NoticesAModifiedFileWithALineFeedInItsName) {
    seal();
    writeFile(resource("two\nlines"), "");
    expectFailure(badResource + "\nfile modified: " + resource("two\nlines").native());
}

TEST_F(CodesignTest, NoticesAMissingFile) {
    seal();
    fs::remove(resource("notes en français.txt"));
    expectFailure(badResource + "\nfile missing: " + resource("notes en français.txt").native());
}

TEST_F(CodesignTest, NoticesAnAddedFile) {
    seal();
    writeFile(resource("nouveau"), "");
    expectFailure(badResource + "\nfile added: " + resource("nouveau").native());
}

TEST_F(CodesignTest, NoticesAHiddenAddedFile) {
    seal();
    writeFile(resource(".nouveau"), "");
    expectFailure(badResource + "\nfile added: " + resource(".nouveau").native());
}

TEST_F(CodesignTest, NamesEveryDifference) {
    seal();
    writeFile(resource("a"), "");
    writeFile(resource("b"), "");
    writeFile(resource("two\nlines"), "");
    fs::remove(resource("lien"));
    expectFailure(badResource + "\nfile added: " + resource("a").native() + "\nfile added: " +
                  resource("b").native() + "\nfile modified: " + resource("two\nlines").native() +
                  "\nfile missing: " + resource("lien").native());
}

TEST_F(CodesignTest, NoticesAFileThatBecameAFolder) {
    seal();
    fs::remove(resource("two\nlines"));
    fs::create_directory(resource("two\nlines"));
    expectFailure(badResource + "\nfile missing: " + resource("two\nlines").native());
}

TEST_F(CodesignTest, NoticesAnAddedPipe) {
    seal();
    ASSERT_EQ(::mkfifo(resource("tube").c_str(), 0600), 0);
    expectFailure(badResource + "\nfile added: " + resource("tube").native());
}

TEST_F(CodesignTest, NoticesALinkToAnotherPlace) {
    seal();
    fs::remove(resource("lien"));
    fs::create_symlink("two\nlines", resource("lien"));
    expectFailure(badResource + "\nfile modified: " + resource("lien").native());
}

TEST_F(CodesignTest, NoticesALinkReplacedByWhatItPointsTo) {
    seal();
    fs::remove(resource("lien"));
    fs::copy_file(resource("notes en français.txt"), resource("lien"));
    expectFailure(badResource + "\nfile modified: " + resource("lien").native());
}

TEST_F(CodesignTest, NoticesAFileReplacedByALinkToACopy) {
    seal();
    fs::rename(resource("two\nlines"), folder / "elsewhere");
    fs::create_symlink(folder / "elsewhere", resource("two\nlines"));
    expectFailure(badResource + "\nfile modified: " + resource("two\nlines").native());
}

TEST_F(CodesignTest, NoticesAModifiedMainProgram) {
    seal();
    writeFile(contents() / "MacOS/Paris", "another program");
    expectFailure(badSignature);
}

TEST_F(CodesignTest, NoticesAMissingMainProgram) {
    seal();
    fs::remove(contents() / "MacOS/Paris");
    expectFailure(badSignature);
}

TEST_F(CodesignTest, NoticesAModifiedInfoList) {
    seal();
    writeFile(contents() / "Info.plist", tests::infoList("org.example.london", "Paris"));
    expectFailure(": invalid Info.plist (plist or signature have been modified)");
}

TEST_F(CodesignTest, NoticesAModifiedSecondProgram) {
    seal();
    writeFile(contents() / "MacOS/helper", "another helper");
    expectFailure(badResource + "\nfile modified: " + (contents() / "MacOS/helper").native());
}

TEST_F(CodesignTest, NoticesAChangeInANestedBundle) {
    seal();
    writeFile(extension() / "Contents/Resources/data", "changed");
    expectFailure(badResource + "\nIn subcomponent: " + extension().native() +
                  "\nfile modified: " + (extension() / "Contents/Resources/data").native());
}

TEST_F(CodesignTest, NoticesAModifiedProgramOfANestedBundle) {
    seal();
    writeFile(extension() / "Contents/MacOS/Effets", "changed");
    expectFailure(badSignature + "\nIn subcomponent: " + extension().native());
}

TEST_F(CodesignTest, NoticesAModifiedLibraryOfAFramework) {
    seal();
    writeFile(framework() / "Versions/A/Core", "changed");
    expectFailure(badSignature + "\nIn subcomponent: " + framework().native());
}

TEST_F(CodesignTest, NoticesANestedBundleThatWasSealedAnew) {
    seal();
    writeFile(extension() / "Contents/Resources/data", "changed");
    ASSERT_EQ(codesign({"--force", "--sign", "-", extension()}).status, 0);
    EXPECT_EQ(verify(extension()).status, 0);
    expectFailure(": nested code is modified or invalid\nfile modified: " + extension().native());
}

TEST_F(CodesignTest, NoticesANestedBundleThatLostItsSeal) {
    seal();
    fs::remove_all(extension() / "Contents/_CodeSignature");
    expectFailure(": code object is not signed at all\nIn subcomponent: " + extension().native());
}

TEST_F(CodesignTest, NoticesAMissingNestedBundle) {
    seal();
    fs::remove_all(extension());
    expectFailure(badResource + "\nfile missing: " + extension().native());
}

TEST_F(CodesignTest, NoticesAnAddedNestedBundle) {
    seal();
    fs::copy(extension(), contents() / "PlugIns/Autre.pluginkit", fs::copy_options::recursive);
    expectFailure(badResource + "\nfile added: " + (contents() / "PlugIns/Autre.pluginkit").native());
}

TEST_F(CodesignTest, NoticesAFileBesideContents) {
    seal();
    writeFile(application / "note", "");
    expectFailure(": unsealed contents present in the bundle root");
}

TEST_F(CodesignTest, NoticesAChangedSeal) {
    seal();
    const fs::path file = contents() / "_CodeSignature/CodeResources";
    writeFile(file, tests::readFile(file) + "\n");
    expectFailure(badSignature);
}

TEST_F(CodesignTest, NoticesASealThatIsNoPropertyList) {
    seal();
    fs::remove(contents() / "_CodeSignature/PortableSeal");
    for (const std::string text : {"", "<plist", "<plist version=\"1.0\"><array/></plist>", "bplist00"}) {
        writeFile(contents() / "_CodeSignature/CodeResources", text);
        expectFailure(": invalid resource directory (directory or signature have been modified)");
    }
}

TEST_F(CodesignTest, NoticesADamagedPortableSeal) {
    seal();
    writeFile(contents() / "_CodeSignature/PortableSeal", "?");
    expectFailure(badSignature);
}

TEST_F(CodesignTest, IgnoresTheNotesOfTheFileBrowser) {
    seal();
    writeFile(resource(".DS_Store"), "icons");
    writeFile(contents() / ".DS_Store", "icons");
    writeFile(application / ".DS_Store", "icons");
    expectIntact();
}

TEST_F(CodesignTest, AcceptsARemovedTranslation) {
    seal();
    fs::remove_all(resource("fr.lproj"));
    expectIntact();
}

TEST_F(CodesignTest, NoticesAModifiedTranslation) {
    seal();
    writeFile(resource("fr.lproj/Localizable.strings"), "en");
    expectFailure(badResource + "\nfile modified: " + resource("fr.lproj/Localizable.strings").native());
}

TEST_F(CodesignTest, SealsNoEmptyFolders) {
    seal();
    fs::create_directory(resource("vide"));
    expectIntact();
}

TEST_F(CodesignTest, VerifiesThroughARelativePathAndATrailingSlash) {
    seal();
    EXPECT_EQ(verify(application / "").status, 0);
    const std::string command = "cd \"$1\" && exec \"$2\" --verify --deep --strict \"$3\"";
    EXPECT_EQ(platform::run("/bin/sh", {"-c", command, "sh", folder.path(), CODESIGN, application.filename()})
                  .status,
              0);
}

TEST_F(CodesignTest, RefusesABundleWithoutSeal) {
    expectFailure(": code object is not signed at all");
}

TEST_F(CodesignTest, RefusesWhatIsNotThere) {
    const auto result = verify(folder / "nulle part.app");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, (folder / "nulle part.app").native() + ": No such file or directory\n");
}

TEST_F(CodesignTest, RefusesWhatIsNoBundle) {
    const auto result = verify(folder.path());
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output,
              folder.path().native() + ": bundle format unrecognized, invalid, or unsuitable\n");
}

TEST_F(CodesignTest, DoesNotSealANestedFolderThatIsNoBundle) {
    fs::create_directories(contents() / "PlugIns/Vide.pluginkit");
    const auto result = codesign({"--force", "--sign", "-", application});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, application.native() + ": bundle format unrecognized, invalid, or unsuitable\n" +
                                 "In subcomponent: " + (contents() / "PlugIns/Vide.pluginkit").native() +
                                 "\n");
}

TEST_F(CodesignTest, SealsASealedBundleOnlyWithForce) {
    seal();
    const auto result = codesign({"--sign", "-", application});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, application.native() + ": is already signed\n");
}

TEST_F(CodesignTest, HasNoIdentityButTheAdHocOne) {
    const auto result = codesign({"--force", "--sign", "Developer ID", application});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "Developer ID: no identity found\n");
}

TEST_F(CodesignTest, ReportsFailuresOnStandardErrorOnly) {
    const std::string command = "exec \"$1\" --verify \"$2\" 2>/dev/null";
    const auto result = platform::run("/bin/sh", {"-c", command, "sh", CODESIGN, application});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
}

TEST_F(CodesignTest, ExplainsItsUseWhenTheArgumentsMakeNoSense) {
    const std::vector<std::vector<std::string>> wrong = {{},
                                                         {"--verify"},
                                                         {application},
                                                         {"--sign"},
                                                         {"--sign", "-"},
                                                         {"--verify", "--sign", "-", application},
                                                         {"-"},
                                                         {"--verify", "--what", application}};
    for (const auto& arguments : wrong) {
        const auto result = codesign(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, usage);
    }
}

TEST_F(CodesignTest, SaysThatItIsAStandIn) {
    const auto result = codesign({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.output.find("portable stand-in"), std::string::npos);
    EXPECT_NE(result.output.find("does not evaluate certificates"), std::string::npos);
}

} // namespace
