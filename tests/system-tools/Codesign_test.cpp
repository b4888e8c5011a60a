#include "platform/Process.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TreeSnapshot.hpp"

#include <gtest/gtest.h>

#include <regex>

namespace fs = std::filesystem;

namespace {

using tests::writeFile;

const std::string badResource = ": a sealed resource is missing or invalid\n";
const std::string badSignature = ": invalid signature (code or signature have been modified)";
const std::string badSeal = ": invalid resource directory (directory or signature have been modified)";
const std::string ownRules = ": resource envelope is obsolete (custom omit rules)";
const std::string notSigned = ": code object is not signed at all";
const std::string inExtension = "\nIn subcomponent: @/PlugIns/Fx.pluginkit";
const std::string inFramework = "\nIn subcomponent: @/Frameworks/Core.framework";

std::string list(const std::string& entries) {
    return "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>\n";
}

std::string info(const std::string& program) {
    return list("<key>CFBundleExecutable</key><string>" + program + "</string>");
}

struct Change {
    std::string name;
    std::string command;  ///< run in "Contents", with the tool as $0 and the extension as $e
    std::string expected; ///< the text after the application's path, where "@" is "Contents"
};

/// An application with programs, resources, a link, an extension and a framework.
struct Codesign : testing::TestWithParam<Change> {
    Codesign() {
        writeFile(contents / "Info.plist", info("Paris"));
        writeFile(contents / "PkgInfo", "APPL????");
        writeFile(contents / "MacOS/Paris", "main program");
        writeFile(contents / "MacOS/helper", "helper");
        writeFile(contents / "Resources/été.txt", "notes");
        writeFile(contents / "Resources/fr.lproj/a", "translation");
        fs::create_symlink("été.txt", contents / "Resources/lien");
        writeFile(extension / "Contents/Info.plist", info("Fx"));
        writeFile(extension / "Contents/MacOS/Fx", "extension");
        writeFile(extension / "Contents/Resources/data", "data");
        writeFile(framework / "Versions/A/Core", "library");
        writeFile(framework / "Versions/A/Resources/Info.plist", info("Core"));
        fs::create_directory_symlink("A", framework / "Versions/Current");
    }

    static std::string run(const platform::ProcessResult& result) {
        return std::to_string(result.status) + result.output;
    }
    static std::string seal(const fs::path& bundle) {
        return run(platform::run(CODESIGN, {"--force", "--sign", "-", bundle}));
    }
    static std::string verify(const fs::path& bundle) {
        return run(platform::run(CODESIGN, {"--verify", "--deep", "--strict", bundle}));
    }

    /// Changes the application and verifies it; no text is a success.
    void expectAfterChange() const {
        const std::string command = "set -e; cd \"$1\"; e=PlugIns/Fx.pluginkit; " + GetParam().command;
        ASSERT_EQ(run(platform::run("/bin/sh", {"-c", command, CODESIGN, contents})), "0");
        std::string text =
            std::regex_replace(GetParam().expected, std::regex("^file "), badResource + "file ");
        text = std::regex_replace(text, std::regex("@"), contents.native());
        EXPECT_EQ(verify(application), text.empty() ? "0" : "1" + application.native() + text + "\n");
    }

    tests::TemporaryFolder folder;
    const fs::path application = folder / "L’été à Paris.app";
    const fs::path contents = application / "Contents";
    const fs::path extension = contents / "PlugIns/Fx.pluginkit";
    const fs::path framework = contents / "Frameworks/Core.framework";
};

TEST_F(Codesign, SealsAndVerifiesAndChangesNothingMore) {
    EXPECT_EQ(verify(application), "1" + application.native() + notSigned + "\n");
    EXPECT_EQ(seal(application), "0");
    const auto before = tests::TreeSnapshot::of(folder.path()).undated();
    for (const fs::path& bundle : {application, application / "", extension, framework}) {
        EXPECT_EQ(verify(bundle), "0");
    }
    EXPECT_EQ(seal(application), "0");
    EXPECT_EQ(before, tests::TreeSnapshot::of(folder.path()).undated());
}

TEST_F(Codesign, RefusesWhatItDoesNotKnow) {
    const std::string path = folder.path();
    EXPECT_EQ(verify(path), "1" + path + ": bundle format unrecognized, invalid, or unsuitable\n");
    EXPECT_EQ(platform::run(CODESIGN, {"--sign", "Maker", application}).status, 2);
    EXPECT_EQ(platform::run(CODESIGN, {}).output.rfind("A portable stand-in", 0), 0U);
}

TEST_P(Codesign, FindsWhatChanged) {
    ASSERT_EQ(seal(application), "0");
    expectAfterChange();
}

const std::vector<Change> changes{
    {"AModifiedFile", "echo >Resources/été.txt", "file modified: @/Resources/été.txt"},
    {"EveryDifference", "echo >a; echo >.b; rm Resources/lien",
     "file added: @/.b\nfile added: @/a\nfile missing: @/Resources/lien"},
    {"AnAddedPipe", "mkfifo Resources/tube", "file added: @/Resources/tube"},
    {"AFileAsAFolder", "cd Resources; rm été.txt; mkdir été.txt", "file missing: @/Resources/été.txt"},
    {"AFileAsALink", "cd Resources; mv été.txt ../../../f; ln -s ../../../f été.txt",
     "file modified: @/Resources/été.txt"},
    {"ALinkAsAFile", "cd Resources; rm lien; cp été.txt lien", "file modified: @/Resources/lien"},
    {"ALinkElsewhere", "ln -sf / Resources/lien", "file modified: @/Resources/lien"},
    {"ARemovedTranslation", "rm -r Resources/fr.lproj", ""},
    {"NotesOfTheFileBrowser", "touch .DS_Store Resources/.DS_Store ../.DS_Store", ""},
    {"AFileBesideContents", "touch ../note", ": unsealed contents present in the bundle root"},
    {"AModifiedProgram", "echo >MacOS/Paris", badSignature},
    {"AModifiedInfoList", "echo >>Info.plist", badSignature},
    {"AModifiedSecondProgram", "echo >MacOS/helper", "file modified: @/MacOS/helper"},
    {"AModifiedFileOfAnExtension", "echo >$e/Contents/Resources/data",
     "file modified: @/PlugIns/Fx.pluginkit/Contents/Resources/data" + inExtension},
    {"AModifiedProgramOfAnExtension", "echo >$e/Contents/MacOS/Fx", badSignature + inExtension},
    {"AModifiedLibrary", "echo >Frameworks/Core.framework/Versions/A/Core", badSignature + inFramework},
    {"AnExtensionSealedAnew", "echo >$e/Contents/Resources/data; \"$0\" --force --sign - $e",
     "file modified: @/PlugIns/Fx.pluginkit"},
    {"AnAddedExtension", "cp -a $e PlugIns/New.pluginkit", "file added: @/PlugIns/New.pluginkit"},
    {"ALostSeal", "rm -r _CodeSignature", notSigned},
    {"ALostResourceSeal", "rm _CodeSignature/CodeResources", notSigned},
    {"ALostPortableSeal", "rm _CodeSignature/PortableSeal", badSignature},
    {"AModifiedResourceSeal", "echo >>_CodeSignature/CodeResources", badSignature},
    {"AModifiedPortableSeal", "echo >>_CodeSignature/PortableSeal", badSignature},
    {"ALostSealOfAnExtension", "rm -r $e/Contents/_CodeSignature", notSigned + inExtension},
    {"ALostPortableSealOfAnExtension", "rm $e/Contents/_CodeSignature/PortableSeal",
     badSignature + inExtension}};

std::string nameOf(const testing::TestParamInfo<Change>& change) {
    return change.param.name;
}

INSTANTIATE_TEST_SUITE_P(After, Codesign, testing::ValuesIn(changes), nameOf);

const std::string rules = R"(</dict><key>rules2</key><dict>
<key>.*\.dSYM($|/)</key><dict><key>weight</key><real>11</real></dict>
<key>^(.*/)?\.DS_Store$</key><dict><key>omit</key><true/><key>weight</key><real>2000</real></dict>
<key>^(Frameworks|SharedFrameworks|PlugIns|Plug-ins|XPCServices|Helpers|MacOS|Library/(Automator|Spotlight|LoginItems))/</key>
<dict><key>nested</key><true/><key>weight</key><real>10</real></dict><key>^.*</key><true/>
<key>^Info\.plist$</key><dict><key>omit</key><true/><key>weight</key><real>20</real></dict>
<key>^PkgInfo$</key><dict><key>omit</key><true/><key>weight</key><real>20</real></dict>
<key>^Resources/</key><dict><key>weight</key><real>20</real></dict>
<key>^Resources/.*\.lproj/</key><dict><key>optional</key><true/><key>weight</key><real>1000</real></dict>
<key>^Resources/.*\.lproj/locversion.plist$</key><dict><key>omit</key><true/><key>weight</key><real>1100</real></dict>
<key>^Resources/Base\.lproj/</key><dict><key>weight</key><real>1010</real></dict>
<key>^[^/]+$</key><dict><key>nested</key><true/><key>weight</key><real>10</real></dict>
<key>^version\.plist$</key><dict><key>weight</key><real>20</real></dict></dict>)";

const std::string entries = R"(<key>files</key><dict/><key>files2</key><dict>
<key>Frameworks/Core.framework</key><dict><key>cdhash</key><data>jTyM5YfIXSbQYI6s+tG6dDW+PYw=</data></dict>
<key>MacOS/helper</key><dict><key>cdhash</key><data>PYwpLOnx0V1DPtBzN2uR5qyZ0ck=</data></dict>
<key>Resources/fr.lproj/a</key><dict><key>hash2</key><data>g5zRFpLoKzU5mAJ3ig1LCPshaQ63V6fZ5QMNmivMK5c=</data><key>optional</key><true/></dict>
<key>Resources/lien</key><dict><key>symlink</key><string>été.txt</string></dict>
<key>Resources/été.txt</key><dict><key>hash2</key><data>q1qpcHTEVKBjIFfnBCINmmZ4+/dzoKWAb8CbgXOwcwk=</data></dict>)";

const std::string frameworkEntries = R"(<key>files2</key><dict>
<key>Resources/Info.plist</key><dict><key>hash2</key><data>hPZooV00GRHaOjRNGitfDJU241pMqDBgk/edTsKWgJo=</data></dict>)";

/// The same as macOS signs it ad hoc: what its seal does not cover carries its own signature.
struct CodesignOfAMac : Codesign {};

TEST_P(CodesignOfAMac, FindsWhatChanged) {
    fs::remove_all(extension);
    writeFile(contents / "_CodeSignature/CodeResources", list(entries + rules));
    writeFile(framework / "Versions/A/_CodeSignature/CodeResources", list(frameworkEntries + rules));
    expectAfterChange();
}

const std::vector<Change> changesOfAMac{
    {"Nothing", "true", ""},
    {"AModifiedFile", "echo >Resources/été.txt", "file modified: @/Resources/été.txt"},
    {"ALinkElsewhere", "ln -sf / Resources/lien", "file modified: @/Resources/lien"},
    {"AProgramWithItsOwnSignature", "echo >MacOS/helper; echo >MacOS/Paris", ""},
    {"AMissingProgram", "rm MacOS/helper", "file missing: @/MacOS/helper"},
    {"ALinkToAFramework", "cd Frameworks; mv * ../../..; ln -s ../../../Core.framework",
     "file modified: @/Frameworks/Core.framework"},
    {"AnAddedFileOfAFramework", "touch Frameworks/Core.framework/Versions/A/Resources/new",
     "file added: @/Frameworks/Core.framework/Versions/A/Resources/new" + inFramework},
    {"ARuleOfItsOwn", "sed -i 's|<key>^vers|<key>^a</key><false/>&|' _CodeSignature/CodeResources", ownRules},
    {"ARuleOfAnotherWeight", "sed -i s/1000/2000/ _CodeSignature/CodeResources", ownRules},
    {"AnOlderVersion", "sed -i s/rules2/rules/ _CodeSignature/CodeResources", badSeal},
    {"ASealThatIsNoList", "echo >_CodeSignature/CodeResources", badSeal},
    {"APortableSealInstead", "\"$0\" --force --sign - ..; echo >MacOS/Paris", badSignature}};

INSTANTIATE_TEST_SUITE_P(After, CodesignOfAMac, testing::ValuesIn(changesOfAMac), nameOf);

} // namespace
