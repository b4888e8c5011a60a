#include "tests/end-to-end/EndToEnd.hpp"

#include <algorithm>
#include <csignal>
#include <iterator>

namespace fs = std::filesystem;

namespace tests {

std::string installedText(int count) {
    return std::to_string(count) +
           " transitions installées. Relancez Final Cut Pro > Transitions > Orvo Transitions.";
}

fs::path memoryOrDisk() {
    return fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
}

Launch EndToEnd::program(const Arguments& arguments) const {
    Launch launch{{product.program.string()}};
    launch.words.insert(launch.words.end(), arguments.begin(), arguments.end());
    launch.environment = {{"HOME", home.folder.string()}, {"XDG_STATE_HOME", (folder / "state").string()}};
    return launch;
}

Outcome EndToEnd::run(const Arguments& arguments) const {
    return Child(program(arguments)).wait();
}

fs::path EndToEnd::succeed(const Arguments& arguments, const std::string& text) const {
    return succeed(program(arguments), home, text);
}

fs::path EndToEnd::succeed(const Launch& launch, const Home& changed, const std::string& text) const {
    const std::set<std::string> earlier = changed.backupNames();
    const Outcome outcome = Child(launch).wait();
    fs::path backup = newBackup(changed, earlier);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.output, text + "\n\nSauvegarde : " + backup.string() + "\n");
    EXPECT_EQ(changed.supportNames(), std::set<std::string>{"Backups"});
    return backup;
}

fs::path EndToEnd::install(const Arguments& more, int count) const {
    Arguments arguments{"--install"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return succeed(arguments, installedText(count));
}

fs::path EndToEnd::uninstall(const Arguments& more) const {
    Arguments arguments{"--uninstall"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return succeed(arguments, uninstalledText);
}

void EndToEnd::expectRefusal(const Arguments& arguments, const std::string& message) const {
    const TreeSnapshot before = home.everything();
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, message + "\n");
    EXPECT_EQ(difference(before, home.everything()), "");
}

void EndToEnd::expectRestored(const Arguments& arguments, const std::string& reason) const {
    expectRestored(program(arguments), home, reason);
}

void EndToEnd::expectRestored(const Launch& launch, const Home& changed, const std::string& reason) const {
    const std::set<std::string> earlier = changed.backupNames();
    const TreeSnapshot before = changed.kept();
    const Outcome outcome = Child(launch).wait();
    EXPECT_EQ(difference(before, changed.kept()), "");
    const fs::path backup = newBackup(changed, earlier);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, reason + "\nSauvegarde : " + backup.string() + "\nÉtat précédent restauré.\n");
    EXPECT_EQ(changed.supportNames(), std::set<std::string>{"Backups"});
}

fs::path EndToEnd::cutShort(const Arguments& arguments, int call) const {
    const std::set<std::string> earlier = home.backupNames();
    product.onToolCall("[ $call = " + std::to_string(call) + " ] && { kill -9 $PPID; exit 0; }; :");
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.signal, SIGKILL);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, "");
    EXPECT_TRUE(fs::exists(home.journal));
    product.onToolCall("");
    return newBackup(home, earlier);
}

Outcome EndToEnd::onlyUndo(const Arguments& more) const {
    product.onToolCall("[ $tool = codesign ] && { printf 'mal signée'; exit 1; }; :");
    Arguments arguments{"--install"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1);
    return outcome;
}

std::string EndToEnd::undoneText(const fs::path& backup, const std::vector<fs::path>& kept) const {
    std::string text = "Une installation précédente avait été interrompue : l’état d’avant a d’abord été "
                       "rétabli. Sauvegarde : « " +
                       backup.string() + " ».\n";
    for (const fs::path& item : kept) {
        text += keptText(backup, item) + "\n";
    }
    return text + "\n";
}

fs::path EndToEnd::keptPath(const fs::path& backup, const fs::path& item) const {
    return backup / "Kept" / item.lexically_relative(home.folder);
}

std::string EndToEnd::keptText(const fs::path& backup, const fs::path& item) const {
    return "« " + item.string() + " » avait changé entre-temps, et c’est conservé dans « " +
           keptPath(backup, item).string() + " ».";
}

void EndToEnd::expectSame(const Home& actual, const Home& expected) {
    EXPECT_EQ(difference(expected.comparable(), actual.comparable()), "");
}

void EndToEnd::putTransitions(const Home& filled, const std::vector<std::string>& transitions) const {
    fs::create_directories(filled.category);
    for (const std::string& transition : transitions) {
        fs::copy(product.templates / transition, filled.category / transition, fs::copy_options::recursive);
    }
}

void EndToEnd::putApplication(const Home& filled) const {
    fs::create_directories(filled.application.parent_path());
    fs::copy(product.application, filled.application,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

Digests EndToEnd::payloadDigests(const std::vector<std::string>& transitions) {
    Digests digests;
    for (const std::string& transition : transitions) {
        digests = digests + digestsOf(transition, "2.3");
    }
    return digests;
}

fs::path newBackup(const Home& home, const std::set<std::string>& earlier) {
    const std::set<std::string> all = home.backupNames();
    std::vector<std::string> fresh;
    std::ranges::set_difference(all, earlier, std::back_inserter(fresh));
    EXPECT_EQ(fresh.size(), 1U);
    return fresh.empty() ? fs::path() : home.backups / fresh.front();
}

} // namespace tests
