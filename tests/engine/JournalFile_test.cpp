#include "engine/Journal.hpp"
#include "platform/Error.hpp"
#include "platform/Uuid.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace engine;

struct JournalFileTest : testing::Test {
    tests::TemporaryFolder folder;
    PackInstaller installer{folder.path(), folder / "payload"};
    PackPaths paths{installer};
    const std::string busy = "Une autre installation est en cours, réessayez quand elle sera terminée.";

    JournalFile begin() const {
        Journal journal;
        journal.id = platform::freshUuid();
        installer.mkdir(journal.backup(paths));
        return JournalFile::begin(installer, paths, journal);
    }

    void expectForeign(const std::string& reason) const {
        const std::string message =
            tests::messageOf<InstallError>([&] { (void)JournalFile::takeOver(installer, paths)->read(); });
        EXPECT_TRUE(message.ends_with(reason + "\nDéplacez « " + paths.journal.string() +
                                      " » ailleurs, puis réessayez. Les sauvegardes sont dans « " +
                                      paths.backups.string() + " »."))
            << message;
    }
};

TEST_F(JournalFileTest, ExistsUntilItEnds) {
    JournalFile file = begin();
    EXPECT_FALSE(file.read().id.empty());
    EXPECT_EQ(installer.fm.list(paths.support), (std::vector<std::string>{"Backups", "journal.jsonl"}));
    EXPECT_TRUE(installer.fm.list(file.read().backup(paths)).empty()); // where it was prepared
    EXPECT_FALSE(file.isEnded());
    EXPECT_EQ(file.end(), std::nullopt);
    EXPECT_TRUE(file.isEnded());
    EXPECT_FALSE(installer.exists(paths.journal));
}

TEST_F(JournalFileTest, IsRefusedWhileARunIsAlive) {
    const JournalFile file = begin();
    EXPECT_EQ(tests::messageOf<ConcurrentRunError>([&] { (void)JournalFile::takeOver(installer, paths); }),
              busy);
    EXPECT_EQ(tests::messageOf<ConcurrentRunError>([&] { begin(); }), busy);
}

TEST_F(JournalFileTest, IsTakenOverFromAProcessThatWasKilled) {
    const pid_t child = fork();
    if (child == 0) {
        const JournalFile file = begin();
        tests::writeFile(file.read().unregisteredMark(paths), "");
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    const std::optional<JournalFile> file = JournalFile::takeOver(installer, paths);
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->read().unregistered);
}

TEST_F(JournalFileTest, DoesNotExistWithoutAnInterruptedRun) {
    EXPECT_FALSE(JournalFile::takeOver(installer, paths));
    tests::writeFile(paths.support, "a file");
    EXPECT_FALSE(JournalFile::takeOver(installer, paths));
}

TEST_F(JournalFileTest, SaysWhatToDoWithWhatIsNoJournal) {
    tests::writeFile(paths.journal, "");
    expectForeign(" n’est pas un journal d’installation.");
    tests::writeFile(paths.journal, "garbage");
    expectForeign(" n’est pas un journal d’installation.");
    std::filesystem::resize_file(paths.journal, std::uintmax_t{1} << 40);
    expectForeign("le fichier est trop grand.");
    std::filesystem::remove(paths.journal);
    std::filesystem::create_directory(paths.journal);
    expectForeign("c’est un dossier.");
    std::filesystem::remove(paths.journal);
    std::filesystem::create_symlink("nowhere", paths.journal);
    expectForeign("un lien symbolique se trouve à cet endroit.");
}

TEST_F(JournalFileTest, OfSomebodyElseIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can make an item of another user's";
    }
    { const JournalFile file = begin(); }
    constexpr uid_t somebody = 12345;
    ASSERT_EQ(chown(paths.journal.c_str(), somebody, 0), 0);
    expectForeign("appartient à un autre utilisateur.");
    ASSERT_EQ(chown(paths.journal.c_str(), 0, 0), 0);
    for (const std::string& backup : installer.fm.list(paths.backups)) {
        ASSERT_EQ(chown((paths.backups / backup).c_str(), somebody, 0), 0);
    }
    expectForeign("appartient à un autre utilisateur.");
}

} // namespace
