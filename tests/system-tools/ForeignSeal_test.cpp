#include "platform/Process.hpp"
#include "tests/system-tools/BundleFixture.hpp"

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

using tests::writeFile;

const std::string listHead = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
)";
const std::string listTail = "</dict>\n</plist>\n";

const std::string version1 = R"(	<key>files</key>
	<dict>
		<key>Resources/bonjour.txt</key>
		<data>
		3ZNIhstlSgd2qRgohhnmAJVbXj8=
		</data>
		<key>Resources/en.lproj/Localizable.strings</key>
		<dict>
			<key>hash</key>
			<data>
			Qx8ALbDu3KgxZY3FtJg3FEmvwfw=
			</data>
			<key>optional</key>
			<true/>
		</dict>
	</dict>
	<key>rules</key>
	<dict>
		<key>^Resources/</key>
		<true/>
		<key>^Resources/.*\.lproj/</key>
		<dict>
			<key>optional</key>
			<true/>
			<key>weight</key>
			<real>1000</real>
		</dict>
		<key>^version.plist$</key>
		<true/>
	</dict>
)";

const std::string files2 = R"(	<key>files2</key>
	<dict>
		<key>Frameworks/Léger.framework</key>
		<dict>
			<key>cdhash</key>
			<data>
			jTyM5YfIXSbQYI6s+tG6dDW+PYw=
			</data>
			<key>requirement</key>
			<string>cdhash H"8d3c8ce587c85d26d0608eacfad1ba7435be3d8c"</string>
		</dict>
		<key>MacOS/assistant</key>
		<dict>
			<key>cdhash</key>
			<data>
			PYwpLOnx0V1DPtBzN2uR5qyZ0ck=
			</data>
			<key>requirement</key>
			<string>cdhash H"3d8c292ce9f1d15d433ed073376b91e6ac99d1c9"</string>
		</dict>
		<key>Resources/bonjour.txt</key>
		<dict>
			<key>hash</key>
			<data>
			3ZNIhstlSgd2qRgohhnmAJVbXj8=
			</data>
			<key>hash2</key>
			<data>
			jcKmlm8b4WROxrH3Ij9H5T3lrQXhyXZzbZSOeXehPdM=
			</data>
		</dict>
		<key>Resources/en.lproj/Localizable.strings</key>
		<dict>
			<key>hash2</key>
			<data>
			ufKibYk0o2cTtoj6vdqATn/BGv3yPl5S7PBN/ZcVTx4=
			</data>
			<key>optional</key>
			<true/>
		</dict>
		<key>Resources/salut.txt</key>
		<dict>
			<key>symlink</key>
			<string>bonjour.txt</string>
		</dict>
	</dict>
)";

const std::string rules2 = R"(	<key>rules2</key>
	<dict>
		<key>.*\.dSYM($|/)</key>
		<dict>
			<key>weight</key>
			<real>11</real>
		</dict>
		<key>^(.*/)?\.DS_Store$</key>
		<dict>
			<key>omit</key>
			<true/>
			<key>weight</key>
			<real>2000</real>
		</dict>
		<key>^(Frameworks|SharedFrameworks|PlugIns|Plug-ins|XPCServices|Helpers|MacOS|Library/(Automator|Spotlight|LoginItems))/</key>
		<dict>
			<key>nested</key>
			<true/>
			<key>weight</key>
			<real>10</real>
		</dict>
		<key>^.*</key>
		<true/>
		<key>^Info\.plist$</key>
		<dict>
			<key>omit</key>
			<true/>
			<key>weight</key>
			<real>20</real>
		</dict>
		<key>^PkgInfo$</key>
		<dict>
			<key>omit</key>
			<true/>
			<key>weight</key>
			<real>20</real>
		</dict>
		<key>^Resources/</key>
		<dict>
			<key>weight</key>
			<real>20</real>
		</dict>
		<key>^Resources/.*\.lproj/</key>
		<dict>
			<key>optional</key>
			<true/>
			<key>weight</key>
			<real>1000</real>
		</dict>
		<key>^Resources/brouillons/</key>
		<dict>
			<key>omit</key>
			<true/>
			<key>weight</key>
			<integer>1200</integer>
		</dict>
		<key>^[^/]+$</key>
		<dict>
			<key>nested</key>
			<true/>
			<key>weight</key>
			<real>10</real>
		</dict>
	</dict>
)";

const std::string frameworkFiles = R"(	<key>files2</key>
	<dict/>
	<key>rules2</key>
	<dict>
		<key>^.*</key>
		<true/>
		<key>^Resources/Info\.plist$</key>
		<dict>
			<key>omit</key>
			<true/>
			<key>weight</key>
			<real>20</real>
		</dict>
	</dict>
)";

/// An application with the seal that macOS writes for an ad-hoc signature.
class ForeignSealTest : public testing::Test {
protected:
    ForeignSealTest() {
        writeFile(contents / "Info.plist", tests::infoList("org.example.bonjour", "Bonjour"));
        writeFile(contents / "PkgInfo", "APPL????");
        writeFile(contents / "MacOS/Bonjour", "a program that carries its own signature");
        writeFile(contents / "MacOS/assistant", "another one");
        writeFile(contents / "Resources/bonjour.txt", "Bonjour\n");
        writeFile(contents / "Resources/en.lproj/Localizable.strings", "\"k\" = \"v\";\n");
        fs::create_symlink("bonjour.txt", contents / "Resources/salut.txt");
        writeFile(contents / "_CodeSignature/CodeResources",
                  listHead + version1 + files2 + rules2 + listTail);
        writeFile(framework / "Versions/A/Léger", "a library");
        writeFile(framework / "Versions/A/Resources/Info.plist",
                  tests::infoList("org.example.leger", "Léger"));
        writeFile(framework / "Versions/A/_CodeSignature/CodeResources",
                  listHead + frameworkFiles + listTail);
        fs::create_directory_symlink("A", framework / "Versions/Current");
    }

    platform::ProcessResult verify() const {
        return platform::run(CODESIGN, {"--verify", "--deep", "--strict", application});
    }

    void expectIntact() const {
        const auto result = verify();
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "");
    }

    void expectFailure(const std::string& text) const {
        const auto result = verify();
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output,
                  application.native() + ": a sealed resource is missing or invalid\n" + text + "\n");
    }

    tests::TemporaryFolder folder;
    const fs::path application = folder / "Bonjour.app";
    const fs::path contents = application / "Contents";
    const fs::path framework = contents / "Frameworks/Léger.framework";
};

TEST_F(ForeignSealTest, IsAccepted) {
    expectIntact();
}

TEST_F(ForeignSealTest, IsAcceptedWithTheOlderHashesOnly) {
    writeFile(contents / "_CodeSignature/CodeResources", listHead + version1 + listTail);
    fs::remove(contents / "Resources/salut.txt");
    expectIntact();
    writeFile(contents / "Resources/bonjour.txt", "Bonsoir\n");
    expectFailure("file modified: " + (contents / "Resources/bonjour.txt").native());
}

TEST_F(ForeignSealTest, DecidesByItsOwnRules) {
    writeFile(contents / "Resources/brouillons/a.txt", "omitted by a rule of this seal");
    expectIntact();
}

TEST_F(ForeignSealTest, DoesNotCoverTheProgramsThatCarryTheirOwnSignature) {
    writeFile(contents / "MacOS/Bonjour", "changed");
    writeFile(contents / "MacOS/assistant", "changed");
    expectIntact();
}

TEST_F(ForeignSealTest, WantsNestedProgramsToBeThere) {
    fs::remove(contents / "MacOS/assistant");
    expectFailure("file missing: " + (contents / "MacOS/assistant").native());
}

TEST_F(ForeignSealTest, WantsNestedBundlesToVerify) {
    writeFile(framework / "Versions/A/Resources/new", "");
    expectFailure("In subcomponent: " + framework.native() +
                  "\nfile added: " + (framework / "Versions/A/Resources/new").native());
}

TEST_F(ForeignSealTest, DoesNotTakeALinkForANestedBundle) {
    fs::remove_all(framework);
    fs::create_symlink("/", framework);
    expectFailure("file modified: " + framework.native());
}

TEST_F(ForeignSealTest, NoticesAModifiedFile) {
    writeFile(contents / "Resources/bonjour.txt", "Bonsoir\n");
    expectFailure("file modified: " + (contents / "Resources/bonjour.txt").native());
}

TEST_F(ForeignSealTest, NoticesAnAddedFile) {
    writeFile(contents / "Resources/bonsoir.txt", "Bonsoir\n");
    expectFailure("file added: " + (contents / "Resources/bonsoir.txt").native());
}

TEST_F(ForeignSealTest, NoticesALinkToAnotherPlace) {
    fs::remove(contents / "Resources/salut.txt");
    fs::create_symlink("/etc/passwd", contents / "Resources/salut.txt");
    expectFailure("file modified: " + (contents / "Resources/salut.txt").native());
}

TEST_F(ForeignSealTest, RefusesRulesThatAreNoExpressions) {
    writeFile(contents / "_CodeSignature/CodeResources",
              listHead + "<key>files2</key><dict/><key>rules2</key><dict><key>(</key><true/></dict>" +
                  listTail);
    const auto result = verify();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output,
              application.native() +
                  ": invalid resource directory (directory or signature have been modified)\n");
}

TEST_F(ForeignSealTest, IsReplacedByAPortableOne) {
    ASSERT_EQ(platform::run(CODESIGN, {"--force", "--sign", "-", application}).status, 0);
    expectIntact();
    writeFile(contents / "MacOS/Bonjour", "changed");
    EXPECT_EQ(verify().output,
              application.native() + ": invalid signature (code or signature have been modified)\n");
}

} // namespace
