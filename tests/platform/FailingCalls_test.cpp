#include "platform/Error.hpp"
#include "platform/FileManager.hpp"
#include "tests/support/InChild.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TreeSnapshot.hpp"

#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using tests::TreeSnapshot;

/// A system call that answers with this error, or with 0 and nothing done when it is 0.
struct Failing {
    long call;
    unsigned error;
};

/// Makes the calls fail in this process from now on.
void install(const std::vector<Failing>& failing) {
    std::vector<sock_filter> filter{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (const auto& [call, error] : failing) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        throw std::runtime_error("calls cannot be made to fail");
    }
}

/// Operations in a process in which calls of the system fail each time.
struct FailingCallsTest : testing::Test {
    tests::TemporaryFolder folder;
    const platform::FileManager& files = platform::FileManager::defaultManager();

    static std::string failureOf(const std::vector<Failing>& failing, const std::function<void()>& action) {
        return tests::failureInChild([&] { install(failing); }, action);
    }

    TreeSnapshot snapshot() const { return TreeSnapshot::of(folder.path()); }
};

const std::vector<Failing> noExclusiveRename{{SYS_renameat2, EINVAL}};
const std::vector<Failing> noRemoval{
    {SYS_unlinkat, EIO},
#ifdef SYS_unlink
    {SYS_unlink, EIO},
#endif
};

TEST_F(FailingCallsTest, ARenameNeedsNoExclusiveRenameOfTheDisk) {
    tests::writeFile(folder / "a", "a");
    EXPECT_THAT(failureOf(noExclusiveRename, [&] { files.renameItem(folder / "a", folder / "b"); }),
                IsEmpty());
    EXPECT_EQ(tests::readFile(folder / "b"), "a");
}

TEST_F(FailingCallsTest, ARenameReplacesNothingWhereTheDiskHasNoExclusiveRename) {
    tests::writeFile(folder / "a", "a");
    tests::writeFile(folder / "b", "b");
    const std::string text = "Impossible de déplacer « " + (folder / "a").string() + " » vers « " +
                             (folder / "b").string() + " » : ";
    EXPECT_EQ(failureOf(noExclusiveRename, [&] { files.renameItem(folder / "a", folder / "b"); }),
              text + "un élément porte déjà ce nom.");
    std::vector<Failing> noLook = noExclusiveRename;
    noLook.push_back({SYS_newfstatat, EIO});
#ifdef SYS_lstat
    noLook.push_back({SYS_lstat, EIO});
#endif
    EXPECT_EQ(failureOf(noLook, [&] { files.renameItem(folder / "a", folder / "b"); }),
              text + "le disque a signalé une erreur d’entrée-sortie.");
    EXPECT_EQ(tests::readFile(folder / "b"), "b");
}

TEST_F(FailingCallsTest, AMoveThatTheDiskCannotRenameLeavesTheItemAtItsPath) {
    tests::writeFile(folder / "A.app/file", "a");
    const TreeSnapshot before = snapshot();
    const std::string failure = failureOf({{SYS_renameat2, EXDEV}}, [&] {
        files.moveItem(folder / "A.app", folder / "B.app", folder / "partial");
    });
    EXPECT_EQ(failure, "Impossible de déplacer « " + (folder / "partial").string() + " » vers « " +
                           (folder / "B.app").string() +
                           " » : les deux emplacements sont sur des disques différents.");
    EXPECT_EQ(snapshot().without("partial"), before);
}

TEST_F(FailingCallsTest, AMoveAcrossDisksGoesOnOnlyOnceTheCopyIsOnTheDisk) {
    tests::writeFile(folder / "A.app/file", "a");
    const TreeSnapshot before = snapshot();
    const std::string failure = failureOf({{SYS_renameat2, EXDEV}, {SYS_fsync, EIO}}, [&] {
        files.moveItem(folder / "A.app", folder / "B.app", folder / "partial");
    });
    EXPECT_EQ(failure, "Impossible d’enregistrer sur le disque « " + (folder / "partial/file").string() +
                           " » : le disque a signalé une erreur d’entrée-sortie.");
    EXPECT_EQ(snapshot().without("partial"), before);
}

TEST_F(FailingCallsTest, AFolderThatCannotBeListedIsNotTakenForEmpty) {
    tests::writeFile(folder / "A.app/file", "a");
    const TreeSnapshot before = snapshot();
    const std::string text = "Impossible de parcourir le dossier « " + (folder / "A.app").string() +
                             " » : le disque a signalé une erreur d’entrée-sortie.";
    const std::vector<Failing> noListing{{SYS_getdents64, EIO}};
    EXPECT_EQ(failureOf(noListing, [&] { files.list(folder / "A.app"); }), text);
    EXPECT_EQ(failureOf(noListing, [&] { files.enumerate(folder / "A.app", [](auto&, auto&) {}); }), text);
    EXPECT_EQ(failureOf(noListing, [&] { files.removeItem(folder / "A.app"); }), text);
    EXPECT_EQ(snapshot(), before);
    EXPECT_EQ(failureOf(noListing, [&] { files.copyItem(folder / "A.app", folder / "B.app"); }), text);
}

TEST_F(FailingCallsTest, AFolderThatCannotBeOpenedEndsARemovalWithItsError) {
    tests::writeFile(folder / "A.app/file", "a");
    EXPECT_EQ(failureOf({{SYS_openat, EMFILE}}, [&] { files.removeItem(folder / "A.app"); }),
              "Impossible de parcourir le dossier « " + (folder / "A.app").string() +
                  " » : trop de fichiers sont ouverts.");
}

TEST_F(FailingCallsTest, ARemovalNamesTheFirstItemThatStays) {
    tests::writeFile(folder / "A.app/Contents/a", "a");
    tests::writeFile(folder / "A.app/Contents/b", "b");
    EXPECT_EQ(failureOf(noRemoval, [&] { files.removeItem(folder / "A.app/Contents/a"); }),
              "Impossible de supprimer « " + (folder / "A.app/Contents/a").string() +
                  " » : le disque a signalé une erreur d’entrée-sortie.");
}

TEST_F(FailingCallsTest, ACopyThatEndsEarlyFails) {
    tests::writeFile(folder / "A.app/file", std::string(100'000, 'a'));
    const std::string failure = failureOf({{SYS_copy_file_range, 0}, {SYS_read, 0}},
                                          [&] { files.copyItem(folder / "A.app", folder / "B.app"); });
    EXPECT_EQ(failure, "Impossible de copier « " + (folder / "A.app/file").string() +
                           " » : la copie n’a pas la taille du fichier.");
}

TEST_F(FailingCallsTest, AReadingThatEndsEarlyFails) {
    tests::writeFile(folder / "file", "a");
    EXPECT_EQ(failureOf({{SYS_read, 0}}, [&] { files.read(folder / "file"); }),
              "Impossible de lire « " + (folder / "file").string() +
                  " » : la lecture s’est arrêtée avant la fin du fichier.");
}

TEST_F(FailingCallsTest, ACopyNeedsNoCopyingInTheKernel) {
    const std::string contents(600'001, 'a');
    tests::writeFile(folder / "a", contents);
    EXPECT_THAT(failureOf({{SYS_copy_file_range, 0}}, [&] { files.copyItem(folder / "a", folder / "b"); }),
                IsEmpty());
    EXPECT_THAT(
        failureOf({{SYS_copy_file_range, EXDEV}}, [&] { files.copyItem(folder / "a", folder / "c"); }),
        IsEmpty());
    EXPECT_EQ(tests::readFile(folder / "b"), contents);
    EXPECT_EQ(tests::readFile(folder / "c"), contents);
}

TEST_F(FailingCallsTest, ADiskWithoutExtendedAttributesIsNoErrorOfACopy) {
    tests::writeFile(folder / "A.app/file", "a");
    setxattr((folder / "A.app/file").c_str(), "user.note", "x", 1, 0); // where this disk keeps some
    const auto copyTo = [&](const char* name) {
        return [this, name] { files.copyItem(folder / "A.app", folder / name); };
    };
    EXPECT_THAT(failureOf({{SYS_llistxattr, ENOTSUP}, {SYS_flistxattr, ENOTSUP}}, copyTo("B.app")),
                IsEmpty());
    EXPECT_THAT(failureOf({{SYS_lsetxattr, ENOTSUP}}, copyTo("C.app")), IsEmpty());
    EXPECT_EQ(tests::readFile(folder / "B.app/file"), "a");
    EXPECT_EQ(tests::readFile(folder / "C.app/file"), "a");
}

TEST_F(FailingCallsTest, AttributesThatCannotBeReadAreAnErrorOfACopy) {
    tests::writeFile(folder / "A.app/file", "a");
    EXPECT_THAT(failureOf({{SYS_llistxattr, EIO}, {SYS_flistxattr, EIO}},
                          [&] { files.copyItem(folder / "A.app", folder / "B.app"); }),
                testing::HasSubstr("le disque a signalé une erreur d’entrée-sortie."));
}

TEST_F(FailingCallsTest, AFileThatIsLongerThanItSaysIsRefusedToo) {
    const fs::path endless = "/proc/self/status"; // of no length, says the system
    ASSERT_EQ(files.status(endless)->size, 0U);
    EXPECT_THROW(files.read(endless, 10), platform::Error);
    EXPECT_GT(files.read(endless, 1 << 20).size(), 10U);
}

TEST_F(FailingCallsTest, WhatIsNotOnTheDiskIsNotSaidToBe) {
    tests::writeFile(folder / "file", "a");
    const std::string reason = " » : le disque a signalé une erreur d’entrée-sortie.";
    const std::vector<Failing> noFlush{{SYS_fsync, EIO}, {SYS_syncfs, EIO}};
    EXPECT_EQ(failureOf(noFlush, [&] { files.synchronize({folder / "file"}); }),
              "Impossible d’enregistrer sur le disque « " + (folder / "file").string() + reason);
    for (const char* path : {".", "file", "absent/file"}) {
        EXPECT_EQ(failureOf(noFlush, [&] { files.synchronizeFileSystems({folder / path}); }),
                  "Impossible d’enregistrer sur le disque « " + folder.path().string() + reason)
            << path;
    }
}

TEST_F(FailingCallsTest, TwoFreeDescriptorsAreEnoughForAnyTree) {
    fs::path deep = folder / "A.app";
    for (int level = 0; level < 12; ++level) {
        deep /= "folder";
    }
    tests::writeFile(deep / "file", "a");
    std::size_t count = 0;
    const auto keepTwo = [] {
        const int first = dup(STDERR_FILENO);
        const int second = dup(STDERR_FILENO);
        close(first);
        close(second);
        const rlimit two{static_cast<rlim_t>(second) + 1, static_cast<rlim_t>(second) + 1};
        if (setrlimit(RLIMIT_NOFILE, &two) != 0) {
            throw std::runtime_error("there is no limit");
        }
    };
    const auto work = [&] {
        files.copyItem(folder / "A.app", folder / "B.app");
        files.enumerate(folder / "B.app", [&](auto&, auto&) { ++count; });
        files.removeItem(folder / "A.app");
        if (count != 13) {
            throw std::runtime_error("not all of it was listed");
        }
    };
    EXPECT_THAT(tests::failureInChild(keepTwo, work), IsEmpty());
    EXPECT_FALSE(fs::exists(folder / "A.app"));
    EXPECT_EQ(tests::readFile(folder / "B.app" / deep.lexically_relative(folder / "A.app") / "file"), "a");
}

} // namespace
