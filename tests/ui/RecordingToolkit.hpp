#pragma once

#include "ui/Toolkit.hpp"

#include <deque>
#include <memory>
#include <utility>

namespace tests {

/// A toolkit without a screen: it writes down all that is asked of it, and runs the worker's and the main
/// queue's work only when a test says so.
class RecordingToolkit final : public ui::Toolkit {
public:
    struct RecordingLabel final : ui::Label {
        ui::LabelControl control;
        std::string text;
        void setText(const std::string& newText) override { text = newText; }
    };

    struct RecordingButton final : ui::Button {
        ui::ButtonControl control;
        ui::Command command = ui::Command::about;
        std::string title;
        bool enabled = true;
        void setTitle(const std::string& newTitle) override { title = newTitle; }
        void setEnabled(bool newEnabled) override { enabled = newEnabled; }
    };

    struct RecordingSpinner final : ui::Spinner {
        ui::SpinnerControl control;
        bool turning = false;
        void start() override { turning = true; }
        void stop() override { turning = false; }
    };

    struct RecordingImageView final : ui::ImageView {
        ui::ImageControl control;
        std::string symbol;
        std::string description;
        void showSymbol(const std::string& name, const std::string& accessibilityDescription) override {
            symbol = name;
            description = accessibilityDescription;
        }
        void clear() override { *this = RecordingImageView(); }
    };

    struct RecordingMenuItem final : ui::MenuItem {
        bool enabled = true;
        void setEnabled(bool newEnabled) override { enabled = newEnabled; }
    };

    struct Sheet {
        ui::Alert alert;
        std::function<void(const ui::AlertResponse&)> completion;
    };

    struct RecordingWindow final : ui::Window {
        ui::WindowTable table;
        bool shown = false;
        bool closeButtonEnabled = true;
        std::deque<Sheet> sheets;
        void setCloseButtonEnabled(bool enabled) override { closeButtonEnabled = enabled; }
        void beginSheet(const ui::Alert& alert,
                        std::function<void(const ui::AlertResponse&)> completion) override {
            sheets.push_back({alert, std::move(completion)});
        }
        void show() override { shown = true; }
    };

    void setCommandHandler(std::function<void(ui::Command)> handler) override {
        calls.emplace_back("command handler");
        command = std::move(handler);
    }
    void setReturnKey(ui::ReturnKey& key) override { returnKey = &key; }
    void becomeRegularApplication() override { calls.emplace_back("regular application"); }
    void setApplicationIcon(const std::filesystem::path& file) override {
        calls.emplace_back("application icon");
        iconFile = file;
    }
    ui::MenuItem& installMainMenu(const std::vector<ui::Menu>& newMenus) override {
        calls.emplace_back("main menu");
        menus = newMenus;
        return optionsItem;
    }
    ui::Window& makeWindow(const ui::WindowTable& table) override {
        calls.emplace_back("window");
        window.table = table;
        return window;
    }
    void addIcon(const ui::ImageControl& control) override {
        calls.emplace_back("icon");
        icon = control;
    }
    ui::Label& addLabel(const ui::LabelControl& control) override {
        calls.emplace_back("label");
        RecordingLabel& label = *labels.emplace_back(std::make_unique<RecordingLabel>());
        label.control = control;
        label.text = control.text;
        return label;
    }
    ui::ImageView& addImageView(const ui::ImageControl& control) override {
        calls.emplace_back("image view");
        symbol.control = control;
        return symbol;
    }
    ui::Spinner& addSpinner(const ui::SpinnerControl& control) override {
        calls.emplace_back("spinner");
        spinner.control = control;
        return spinner;
    }
    ui::Button& addButton(const ui::ButtonControl& control, ui::Command buttonCommand) override {
        calls.emplace_back("button");
        primary.control = control;
        primary.command = buttonCommand;
        primary.title = control.title;
        return primary;
    }
    void announce(const std::string& text) override { announcements.push_back(text); }
    void terminate() override { ++terminations; }
    void runOnWorker(std::function<void()> work) override { worker.push_back(std::move(work)); }
    void runOnMainQueue(std::function<void()> work) override { mainQueue.push_back(std::move(work)); }

    /// A key press on the primary button, which a disabled button does not feel.
    void pressReturn() {
        if (primary.enabled) {
            command(primary.command);
        }
    }

    /// Carries out the oldest work handed to the worker, without its result.
    void runWorker() { take(worker)(); }

    /// Carries out the oldest work of the main queue.
    void runMainQueue() { take(mainQueue)(); }

    void finishRun() {
        runWorker();
        runMainQueue();
    }

    Sheet takeSheet() { return take(window.sheets); }

    /// The announcements since the last call.
    std::vector<std::string> takeAnnouncements() { return std::exchange(announcements, {}); }

    std::vector<std::string> calls; ///< what was made, in order
    std::function<void(ui::Command)> command;
    ui::ReturnKey* returnKey = nullptr;
    std::vector<std::string> announcements;
    std::filesystem::path iconFile;
    std::vector<ui::Menu> menus;
    RecordingMenuItem optionsItem;
    RecordingWindow window;
    ui::ImageControl icon;
    std::vector<std::unique_ptr<RecordingLabel>> labels;
    RecordingImageView symbol;
    RecordingSpinner spinner;
    RecordingButton primary;
    int terminations = 0;
    std::deque<std::function<void()>> worker;
    std::deque<std::function<void()>> mainQueue;

private:
    template <typename Item>
    static Item take(std::deque<Item>& items) {
        Item item = std::move(items.at(0));
        items.pop_front();
        return item;
    }
};

} // namespace tests
