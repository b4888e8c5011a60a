#include "platform/Error.hpp"
#include "platform/Process.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

namespace {

using platform::ProcessResult;

ProcessResult shell(const std::string& script) {
    return platform::run("/bin/sh", {"-c", script});
}

TEST(ProcessTest, MergesBothStreamsInOrder) {
    const ProcessResult result = shell("echo one; echo two >&2; echo three; exit 3");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output, "one\ntwo\nthree\n");
}

TEST(ProcessTest, PassesArgumentsAsTheyAre) {
    const ProcessResult result =
        platform::run("/bin/sh", {"-c", "printf '[%s]' \"$@\"", "sh", "a b", "", "*", "'\""});
    EXPECT_EQ(result.output, "[a b][][*]['\"]");
}

TEST(ProcessTest, RepairsOutputThatIsNotUtf8) {
    EXPECT_EQ(shell("printf 'a\\377b\\303\\251'").output, "a\uFFFDbé");
}

TEST(ProcessTest, SurvivesAToolThatPrintsMoreThanAPipeHolds) {
    EXPECT_EQ(shell("head -c 1000000 /dev/zero | tr '\\0' x").output.size(), 1000000U);
}

TEST(ProcessTest, GivesAToolNoInput) {
    EXPECT_EQ(shell("cat; echo end").output, "end\n");
}

TEST(ProcessTest, CountsASignalAsAFailure) {
    EXPECT_EQ(shell("kill -9 $$").status, 128 + 9);
}

TEST(ProcessTest, ThrowsWhenTheToolCannotBeStarted) {
    const tests::TemporaryFolder folder;
    EXPECT_EQ(tests::messageOf<platform::Error>([&] { platform::run(folder / "absent", {}); }),
              "Impossible de lancer « " + (folder / "absent").string() +
                  " » : ce fichier ou ce dossier n’existe pas.");
}

} // namespace
