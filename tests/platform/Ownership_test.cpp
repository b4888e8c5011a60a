#include "platform/Error.hpp"
#include "platform/Ownership.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <vector>

namespace {

namespace fs = std::filesystem;
using platform::becomeOwnerOf;

constexpr uid_t nameless = 54321; // an account that no system knows
constexpr uid_t stranger = 54322;

void expect(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

std::string environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// Runs the action in a process of its own; false when it throws.
bool succeeds(const std::function<void()>& action) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            action();
        } catch (const std::exception& failure) {
            std::cerr << failure.what() << std::endl;
            _exit(1);
        }
        _exit(0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct Ownership : testing::Test {
    tests::TemporaryFolder folder;
    fs::path home = folder / "home";

    Ownership() { fs::create_directory(home); }

    static std::string refusal(const fs::path& path, const std::string& reason) {
        return "Impossible de modifier « " + path.string() + " » : " + reason + ".";
    }
};

/// Homes of other users, which only root can make.
struct OwnershipAsRoot : Ownership {
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root's rights";
        }
    }

    void give(const fs::path& item, uid_t user, gid_t group = nameless) const {
        ASSERT_EQ(lchown(item.c_str(), user, group), 0);
    }

    /// Becomes the owner of this home, with groups of root's to lose, and expects to be this user alone.
    static void becomeAlone(const fs::path& path, uid_t user, gid_t group) {
        const std::array<gid_t, 3> privileged{0, 1, 2};
        expect(setgroups(3, privileged.data()) == 0, "cannot take groups");
        becomeOwnerOf(path);
        expect(getuid() == user && geteuid() == user, "another user");
        expect(getgid() == group && getegid() == group, "another group");
        std::vector<gid_t> groups(64);
        groups.resize(static_cast<std::size_t>(getgroups(64, groups.data())));
        expect(std::ranges::find_first_of(groups, privileged) == groups.end(), "groups of root's");
        expect(setuid(0) != 0 && seteuid(0) != 0 && setreuid(0, 0) != 0, "root again");
        expect(setgid(0) != 0 && setegid(0) != 0, "root's group again");
    }
};

TEST_F(Ownership, OfTheCallersOwnHomeChangesNothing) {
    const fs::path before = fs::current_path();
    EXPECT_EQ(becomeOwnerOf(home), home);
    EXPECT_EQ(becomeOwnerOf(home / "new/inner"), home / "new/inner");
    EXPECT_FALSE(fs::exists(home / "new"));
    EXPECT_EQ(fs::current_path(), before);
}

TEST_F(Ownership, IsDecidedByWhatALinkLeadsTo) {
    fs::create_symlink("home", folder / "link");
    EXPECT_EQ(becomeOwnerOf(folder / "link"), home);
    EXPECT_EQ(becomeOwnerOf(folder / "link/../link/new/."), home / "new");
}

TEST_F(Ownership, OfAnotherUsersHomeIsRefused) {
    if (geteuid() == 0) {
        ASSERT_EQ(chown(home.c_str(), nameless, nameless), 0);
        EXPECT_TRUE(succeeds([&] {
            expect(setgid(stranger) == 0 && setuid(stranger) == 0, "cannot become the stranger");
            const std::string message = tests::messageOf<platform::Error>([&] { becomeOwnerOf(home); });
            expect(message == refusal(home,
                                      "ce dossier appartient à l’utilisateur 54321, et vous n’êtes ni cet "
                                      "utilisateur ni l’administrateur"),
                   message.c_str());
            expect(getuid() == stranger, "somebody else");
        }));
    } else {
        EXPECT_EQ(tests::messageOf<platform::Error>([] { becomeOwnerOf("/"); }),
                  refusal("/",
                          "ce dossier appartient à l’utilisateur root, et vous n’êtes ni cet utilisateur "
                          "ni l’administrateur"));
    }
}

TEST_F(OwnershipAsRoot, IsTakenForGood) {
    const passwd* nobody = getpwnam("nobody");
    ASSERT_NE(nobody, nullptr);
    give(home, nobody->pw_uid, 0);
    EXPECT_TRUE(succeeds([&] { becomeAlone(home, nobody->pw_uid, nobody->pw_gid); }));
}

TEST_F(OwnershipAsRoot, OfAnAccountWithoutNameBringsTheFoldersGroup) {
    give(home, nameless, stranger);
    EXPECT_TRUE(succeeds([&] { becomeAlone(home, nameless, stranger); }));
}

TEST_F(OwnershipAsRoot, OfAnAccountWithoutNameNeverBringsRootsGroup) {
    give(home, nameless, 0);
    EXPECT_TRUE(succeeds([&] { becomeAlone(home, nameless, 65534); }));
}

TEST_F(OwnershipAsRoot, OfAHomeThatDoesNotExistIsThatOfTheFolderAbove) {
    give(home, nameless);
    EXPECT_TRUE(succeeds([&] { becomeAlone(home / "a/b/c", nameless, nameless); }));
    EXPECT_FALSE(fs::exists(home / "a"));
}

TEST_F(OwnershipAsRoot, IsThatOfTheFolderBehindALink) {
    give(home, nameless);
    fs::create_symlink(home, folder / "link");
    EXPECT_TRUE(succeeds([&] { becomeAlone(folder / "link", nameless, nameless); }));
}

TEST_F(OwnershipAsRoot, CoversWhatToolsAreStartedWith) {
    give(home, getpwnam("nobody")->pw_uid);
    tests::writeFile(folder / "secret", "root's");
    EXPECT_TRUE(succeeds([&] {
        const int secret = open((folder / "secret").c_str(), O_RDONLY);
        setenv("SECRET", "root's", 1);
        setenv("XDG_STATE_HOME", "/root/state", 1);
        setenv("LC_MESSAGES", "fr_FR.UTF-8", 1);
        const std::string path = environmentVariable("PATH");
        becomeOwnerOf(home);
        expect((fcntl(secret, F_GETFD) & FD_CLOEXEC) != 0, "tools get what root had opened");
        expect(fs::current_path() == "/", "tools get root's working folder");
        expect(environmentVariable("HOME") == home, "another HOME");
        expect(environmentVariable("USER") == "nobody", "another USER");
        expect(environmentVariable("LOGNAME") == "nobody", "another LOGNAME");
        expect(environmentVariable("SECRET").empty() && environmentVariable("XDG_STATE_HOME").empty(),
               "variables of root's");
        expect(environmentVariable("LC_MESSAGES") == "fr_FR.UTF-8", "another language");
        expect(environmentVariable("PATH") == path, "another PATH");
    }));
}

TEST_F(OwnershipAsRoot, OnceTakenIsRefusedForTheNextHome) {
    give(home, nameless);
    EXPECT_TRUE(succeeds([&] {
        becomeOwnerOf(home);
        becomeOwnerOf(home);
        tests::messageOf<platform::Error>([&] { becomeOwnerOf(folder.path()); });
        expect(!testing::Test::HasFailure(), "root's folder was not refused");
    }));
}

TEST_F(OwnershipAsRoot, ThatCannotBeTakenStopsTheRun) {
    give(home, nameless);
    EXPECT_TRUE(succeeds([&] {
        expect(seteuid(stranger) == 0, "cannot become the stranger"); // who may not change to another user
        const std::string message = tests::messageOf<platform::Error>([&] { becomeOwnerOf(home); });
        expect(message ==
                   "Impossible de renoncer aux droits d’administrateur en faveur de l’utilisateur 54321 : "
                   "l’opération n’est pas permise.",
               message.c_str());
    }));
}

TEST_F(OwnershipAsRoot, OfRootStaysRoots) {
    becomeOwnerOf(home);
    EXPECT_EQ(geteuid(), 0U);
    fs::permissions(folder.path(), fs::perms(01777));
    EXPECT_EQ(becomeOwnerOf(home), home); // nobody else can replace it there
    EXPECT_EQ(geteuid(), 0U);
}

TEST_F(OwnershipAsRoot, OfRootIsRefusedWhereAllMayWrite) {
    const std::string reason = "tout le monde peut écrire dans « " + folder.path().string() + " »";
    const auto message = [](const fs::path& path) {
        return tests::messageOf<platform::Error>([&] { becomeOwnerOf(path); });
    };
    fs::permissions(folder.path(), fs::perms(01777));
    EXPECT_EQ(message(folder.path()), refusal(folder.path(), reason));
    EXPECT_EQ(message(folder / "new"), refusal(folder / "new", reason));
    fs::permissions(folder.path(), fs::perms(0777));
    EXPECT_EQ(message(home), refusal(home, reason));
}

TEST_F(OwnershipAsRoot, OfRootIsRefusedInAnotherUsersFolder) {
    give(folder.path(), nameless);
    EXPECT_EQ(tests::messageOf<platform::Error>([&] { becomeOwnerOf(home); }),
              refusal(home, "« " + folder.path().string() +
                                " » appartient à l’utilisateur 54321, qui pourrait "
                                "remplacer ce dossier"));
}

} // namespace
