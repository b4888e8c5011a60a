#import "ui/appkit/AlertSheet.hpp"

#import "ui/appkit/Conversions.hpp"

namespace ui {
namespace {

NSButton* makeCheckBox(const CheckBox& box) {
    NSButton* button = [NSButton checkboxWithTitle:nsString(box.title) target:nil action:nil];
    button.frame = nsRect(box.frame);
    button.state = box.on ? NSControlStateValueOn : NSControlStateValueOff;
    return button;
}

NSArray<NSButton*>* makeCheckBoxes(const std::optional<Accessory>& accessory) {
    NSMutableArray<NSButton*>* buttons = [[NSMutableArray alloc] init];
    if (accessory) {
        for (const CheckBox& box : accessory->boxes) {
            [buttons addObject:makeCheckBox(box)];
        }
    }
    return buttons;
}

/// The view, as far as two columns of it, with a scroller for the others.
NSScrollView* makeScrollView(NSView* view) {
    const CGFloat width = chooserGrid.columnStep + chooserGrid.boxWidth;
    NSScrollView* area = [[NSScrollView alloc] initWithFrame:NSMakeRect(0, 0, width, NSHeight(view.frame))];
    area.borderType = NSNoBorder;
    area.drawsBackground = NO;
    area.hasHorizontalScroller = YES;
    area.documentView = view;
    const CGFloat scroller = NSHeight(view.frame) - area.contentSize.height;
    [area setFrameSize:NSMakeSize(width, NSHeight(view.frame) + scroller)];
    return area;
}

NSView* makeAccessoryView(const Accessory& accessory, NSArray<NSButton*>* boxes) {
    NSView* view = [[NSView alloc] initWithFrame:NSMakeRect(0, 0, accessory.width, accessory.height)];
    for (NSButton* box in boxes) {
        [view addSubview:box];
    }
    if (std::ssize(accessory.boxes) <= 2 * chooserGrid.rows) {
        return view;
    }
    NSButton* last = boxes.lastObject;
    [view setFrameSize:NSMakeSize(NSMaxX(last.frame), accessory.height)];
    return makeScrollView(view);
}

NSAlert* makeAlert(const Alert& description, NSArray<NSButton*>* boxes) {
    NSAlert* alert = [[NSAlert alloc] init];
    alert.alertStyle = NSAlertStyleWarning;
    alert.messageText = nsString(description.message);
    alert.informativeText = nsString(description.informative);
    for (const std::string& title : description.buttons) {
        [alert addButtonWithTitle:nsString(title)];
    }
    if (description.buttons.size() > 1) {
        NSButton* cancel = alert.buttons.lastObject;
        cancel.keyEquivalent = @"\033"; // AppKit gives Escape to "Cancel" in the system's language only
    }
    if (description.accessory) {
        alert.accessoryView = makeAccessoryView(*description.accessory, boxes);
    }
    return alert;
}

AlertResponse makeResponse(NSModalResponse response, NSArray<NSButton*>* boxes) {
    AlertResponse result{response == NSAlertFirstButtonReturn, {}};
    for (NSButton* box in boxes) {
        result.boxes.push_back(box.state == NSControlStateValueOn);
    }
    return result;
}

/// No exception leaves: AppKit's frames cannot be unwound.
void finish(const std::function<void(const AlertResponse&)>& completion,
            const AlertResponse& response) noexcept {
    if (completion) {
        completion(response);
    }
}

} // namespace

void beginAlertSheet(NSWindow* window, const Alert& description,
                     std::function<void(const AlertResponse&)> completion) {
    NSArray<NSButton*>* boxes = makeCheckBoxes(description.accessory);
    NSAlert* alert = makeAlert(description, boxes);
    NSWindow* sheet = alert.window;
    sheet.appearance = window.appearance;
    sheet.preventsApplicationTerminationWhenModal = NO; // quitting is the delegate's decision alone
    [alert beginSheetModalForWindow:window
                  completionHandler:^(NSModalResponse response) {
                    [sheet orderOut:nil];
                    finish(completion, makeResponse(response, boxes));
                  }];
}

} // namespace ui
