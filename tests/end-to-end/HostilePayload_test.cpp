#include "tests/end-to-end/EndToEnd.hpp"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <functional>

namespace fs = std::filesystem;

namespace {

using namespace tests;

void makeFolder(const fs::path& path) {
    fs::create_directory(path);
    writeFile(path / "inner.png", "picture");
}

void makeLinkToNothing(const fs::path& path) {
    fs::create_symlink("nothing here", path);
}

void makeLinkToItself(const fs::path& path) {
    fs::create_symlink(path.filename(), path);
}

void makeLinkToAFolder(const fs::path& path) {
    fs::create_symlink("..", path);
}

void makePipe(const fs::path& path) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0644), 0);
}

void makeSocket(const fs::path& path) {
    const int end = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const fs::path before = fs::current_path();
    fs::current_path(path.parent_path()); // the name of a socket may not be long
    sockaddr_un address{AF_UNIX, "socket"};
    EXPECT_EQ(::bind(end, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    fs::rename("socket", path);
    fs::current_path(before);
    ::close(end);
}

/// A pack with something else where a template's file should be: refused before anything is changed.
struct HostilePayload : EndToEnd {
    HostilePayload() { home.fillAsLongUsed(); }

    void expectRefusalOf(const std::function<void(const fs::path&)>& make, const std::string& reason) const {
        for (const char* name : {"10 Box Turn.motr", "small.png", "large.png"}) {
            const fs::path file = product.templates / "10 Box Turn" / name;
            const std::string contents = readFile(file);
            fs::remove(file);
            make(file);
            expectRefusal({"--install"}, "Impossible de lire « " + file.string() + " » : " + reason + ".");
            fs::remove_all(file);
            writeFile(file, contents);
        }
    }
};

TEST_F(HostilePayload, WithAFolderForAFile) {
    expectRefusalOf(makeFolder, "c’est un dossier");
}

TEST_F(HostilePayload, WithALinkToNothing) {
    expectRefusalOf(makeLinkToNothing, "ce fichier ou ce dossier n’existe pas");
}

TEST_F(HostilePayload, WithALinkToItself) {
    expectRefusalOf(makeLinkToItself, "un lien symbolique se trouve à cet endroit");
}

TEST_F(HostilePayload, WithALinkToAFolder) {
    expectRefusalOf(makeLinkToAFolder, "c’est un dossier");
}

TEST_F(HostilePayload, WithAPipe) {
    expectRefusalOf(makePipe, "ce n’est pas un fichier");
}

TEST_F(HostilePayload, WithASocket) {
    expectRefusalOf(makeSocket, "ce n’est pas un fichier");
}

TEST_F(HostilePayload, IsNoneWhereTheTransitionIsNotSelected) {
    const fs::path file = product.templates / "10 Box Turn/small.png";
    fs::remove(file);
    makePipe(file);
    install({"--only", "02 Page Fold"}, 1);
    uninstall();
}

} // namespace
