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
    [gradient drawInRect:bounds relativeCenterPosition:NSMakePoint(table.centreX, table.centreY)];
}

@end
