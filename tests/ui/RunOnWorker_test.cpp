#include "engine/PackRecords.hpp"
#include "tests/ui/RecordingToolkit.hpp"
#include "ui/InstallerDelegate.hpp"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace tests {
namespace {

/// The recording toolkit with a real worker thread and a main queue that the test's own thread serves.
class ThreadedToolkit final : public ui::Toolkit {
public:
    ~ThreadedToolkit() override {
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    void setCommandHandler(std::function<void(ui::Command)> handler) override {
        controls.setCommandHandler(std::move(handler));
    }
    void setReturnKey(ui::ReturnKey& key) override { controls.setReturnKey(key); }
    void becomeRegularApplication() override { controls.becomeRegularApplication(); }
    void setApplicationIcon(const std::filesystem::path& file) override { controls.setApplicationIcon(file); }
    ui::MenuItem& installMainMenu(const std::vector<ui::Menu>& menus) override {
        return controls.installMainMenu(menus);
    }
    ui::Window& makeWindow(const ui::WindowTable& table) override { return controls.makeWindow(table); }
    void addIcon(const ui::ImageControl& control) override { controls.addIcon(control); }
    ui::Label& addLabel(const ui::LabelControl& control) override { return controls.addLabel(control); }
    ui::ImageView& addImageView(const ui::ImageControl& control) override {
        return controls.addImageView(control);
    }
    ui::Spinner& addSpinner(const ui::SpinnerControl& control) override {
        return controls.addSpinner(control);
    }
    ui::Button& addButton(const ui::ButtonControl& control, ui::Command command) override {
        return controls.addButton(control, command);
    }
    void announce(const std::string& text) override { controls.announce(text); }
    void terminate() override { controls.terminate(); }

    void runOnWorker(std::function<void()> work) override { threads.emplace_back(std::move(work)); }

    void runOnMainQueue(std::function<void()> work) override {
        const std::lock_guard lock(mutex);
        queue.push_back(std::move(work));
        arrived.notify_one();
    }

    void serveMainQueueOnce() {
        std::unique_lock lock(mutex);
        arrived.wait(lock, [this] { return !queue.empty(); });
        const std::function<void()> work = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        work();
    }

    RecordingToolkit controls;

private:
    std::vector<std::thread> threads;
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::function<void()>> queue;
};

TEST(RunOnWorkerTest, SharesNothingWithTheMainThreadButTheOutcome) {
    const std::thread::id mainThread = std::this_thread::get_id();
    ThreadedToolkit toolkit;
    ui::InstallerDelegate delegate(toolkit,
                                   [&](const std::filesystem::path& payload, bool uninstall,
                                       const ui::InstallerDelegate::Selection& selection) -> std::string {
                                       EXPECT_NE(std::this_thread::get_id(), mainThread);
                                       EXPECT_EQ(payload.filename(), "Payload");
                                       if (uninstall) {
                                           throw engine::InstallError("refus de " +
                                                                      *selection.value().begin());
                                       }
                                       return "fait";
                                   });
    delegate.applicationDidFinishLaunching();
    for (int round = 0; round < 100; ++round) {
        const bool uninstall = round % 2 == 1;
        delegate.selection = std::set<std::string>{"Aube"};
        delegate.run(uninstall);
        // All this while the worker may be at work on its own copies.
        delegate.selection->insert("Brume");
        delegate.selection.reset();
        delegate.completed = !delegate.completed;
        EXPECT_FALSE(delegate.applicationShouldTerminate());
        delegate.run(!uninstall);
        toolkit.serveMainQueueOnce();
        EXPECT_FALSE(delegate.busy);
        EXPECT_EQ(delegate.completed, !uninstall);
        ASSERT_EQ(toolkit.controls.window.sheets.size(), uninstall ? 1U : 0U);
        if (uninstall) {
            const auto sheet = toolkit.controls.takeSheet();
            EXPECT_EQ(sheet.alert.informative, "refus de Aube");
            sheet.completion({true, {}});
        }
    }
}

} // namespace
} // namespace tests
