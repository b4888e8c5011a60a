#include "tests/end-to-end/Administrator.hpp"

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace tests {

void give(const fs::path& item, uid_t user) {
    ASSERT_EQ(::lchown(item.c_str(), user, user), 0) << item;
}

void giveWhole(const fs::path& folder, uid_t user) {
    give(folder, user);
    for (const auto& item : fs::recursive_directory_iterator(folder)) {
        give(item.path(), user);
    }
}

std::string itemsNotOf(const fs::path& folder, uid_t user) {
    std::string items;
    const auto check = [&](const fs::path& item) {
        struct stat found {};
        if (::lstat(item.c_str(), &found) != 0 || found.st_uid != user || found.st_gid != user) {
            items += item.string() + "\n";
        }
    };
    check(folder);
    for (const auto& item : fs::recursive_directory_iterator(folder)) {
        check(item.path());
    }
    return items;
}

void Administrator::SetUp() {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root's rights";
    }
    fs::permissions(folder.path(), fs::perms(0755));
    fs::permissions(programs.path(), fs::perms(0755));
    give(product.folder, odile); // where the tools note their calls
}

Launch Administrator::scripted(const Arguments& arguments) const {
    Launch launch = program(arguments);
    launch.words.insert(launch.words.end(), {"--root", home.folder.string()});
    launch.environment["HOME"] = "/root";
    return launch;
}

} // namespace tests
