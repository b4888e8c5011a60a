#import "ui/appkit/InstallerBackground.hpp"

#import "ui/appkit/Conversions.hpp"

@implementation InstallerBackground

- (void)drawRect:(NSRect)dirtyRect {
    constexpr ui::BackgroundTable table = ui::backgroundTable;
    const NSRect bounds = self.bounds;
    NSColor* base = ui::nsColor(table.base);

    [base set];
    NSGraphicsContext* context = NSGraphicsContext.currentContext;
    NSRectFillUsingOperation(bounds, context != nil ? context.compositingOperation
                                                    : NSCompositingOperationSourceOver);

    NSGradient* gradient = [[NSGradient alloc] initWithStartingColor:ui::nsColor(table.glow)
                                                         endingColor:base];
    // Both circles are stated: a relative centre would move only the outer one.
    const ui::Glow glow = ui::glowIn(NSWidth(bounds), NSHeight(bounds));
    const NSPoint centre = NSMakePoint(NSMinX(bounds) + glow.x, NSMinY(bounds) + glow.y);
    [gradient drawFromCenter:centre radius:0 toCenter:centre radius:glow.radius options:0];
}

@end
