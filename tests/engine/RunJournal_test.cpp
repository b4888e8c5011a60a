#include "engine/PackRecords.hpp"
#include "engine/RunJournal.hpp"
#include "platform/Error.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace engine;

struct RunJournalTest : testing::Test {
    tests::TemporaryFolder folder;
    const platform::FileManager& files = platform::FileManager::defaultManager();
    std::filesystem::path file = folder / "journal.jsonl";
    RunRecord record{"B-1", "Staging-1", false, {}, {}};
    std::string busy = "Une autre installation est en cours, réessayez quand elle sera terminée.";

    RunJournal begin() {
        return RunJournal::begin(files, file, folder / "draft",
                                 [this](const auto& sink) { sink(encodeRunRecord(record)); });
    }
};

TEST_F(RunJournalTest, StandsInItsFileUntilItEnds) {
    const RunJournal journal = begin();
    EXPECT_EQ(journal.read().backup, "B-1");
    EXPECT_TRUE(files.exists(file));
    EXPECT_FALSE(files.exists(folder / "draft"));
    journal.end();
    EXPECT_FALSE(files.exists(file));
}

TEST_F(RunJournalTest, IsRefusedWhileARunIsAlive) {
    const RunJournal journal = begin();
    EXPECT_EQ(tests::messageOf<InstallError>([&] { (void)RunJournal::takeOver(files, file); }), busy);
    EXPECT_EQ(tests::messageOf<InstallError>([&] { begin(); }), busy);
    EXPECT_FALSE(files.exists(folder / "draft"));
}

TEST_F(RunJournalTest, IsTakenOverFromAProcessThatWasKilled) {
    const pid_t child = fork();
    if (child == 0) {
        const RunJournal journal = begin();
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    const std::optional<RunJournal> journal = RunJournal::takeOver(files, file);
    ASSERT_TRUE(journal);
    EXPECT_EQ(journal->read().backup, "B-1");
}

TEST_F(RunJournalTest, IsNotThereWithoutAnInterruptedRun) {
    EXPECT_FALSE(RunJournal::takeOver(files, file));
    EXPECT_FALSE(RunJournal::takeOver(files, folder / "no/such/folder/journal.jsonl"));
}

TEST_F(RunJournalTest, RefusesALinkInItsPlace) {
    tests::writeFile(folder / "elsewhere", "x");
    std::filesystem::create_symlink(folder / "elsewhere", file);
    EXPECT_THROW((void)RunJournal::takeOver(files, file), platform::Error);
}

} // namespace
