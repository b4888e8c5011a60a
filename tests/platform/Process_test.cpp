#include "platform/Error.hpp"
#include "platform/Process.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

#include <csignal>
#include <cstring>

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

TEST(ProcessTest, KeepsOutputThatHoldsAZeroByte) {
    EXPECT_EQ(shell("printf 'a\\0b'; printf '\\0' >&2").output, std::string("a\0b\0", 4));
}

TEST(ProcessTest, NamesTheSignalThatEndedATool) {
    const std::string named =
        std::string("Le programme « /bin/sh » a été arrêté par le signal 9 (") + ::strsignal(SIGKILL) + ").";
    const ProcessResult result = shell("kill -9 $$");
    EXPECT_EQ(result.status, 128 + 9);
    EXPECT_EQ(result.output, named);
    EXPECT_EQ(shell("printf half; kill -9 $$").output, "half\n" + named);
    EXPECT_EQ(shell("echo line; kill -9 $$").output, "line\n" + named);
}

TEST(ProcessTest, GivesAToolNoSignalThatIsIgnored) {
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTERM}) {
        const auto before = std::signal(signal, SIG_IGN);
        EXPECT_EQ(shell("kill -" + std::to_string(signal) + " $$; echo alive").status, 128 + signal);
        std::signal(signal, before);
    }
}

TEST(ProcessTest, GivesAToolNoSignalThatIsBlocked) {
    sigset_t all{};
    sigset_t before{};
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    for (const int signal : {SIGTERM, SIGUSR1}) {
        EXPECT_EQ(shell("kill -" + std::to_string(signal) + " $$; echo alive").status, 128 + signal);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(ProcessTest, ThrowsWhenTheToolCannotBeStarted) {
    const tests::TemporaryFolder folder;
    EXPECT_EQ(tests::messageOf<platform::Error>([&] { platform::run(folder / "absent", {}); }),
              "Impossible de lancer « " + (folder / "absent").string() +
                  " » : ce fichier ou ce dossier n’existe pas.");
}

} // namespace
