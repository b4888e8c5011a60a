#import "ui/appkit/Conversions.hpp"

namespace ui {
namespace {

NSString* decoded(std::string_view text, NSStringEncoding encoding) {
    return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:encoding];
}

} // namespace

NSString* nsString(std::string_view text) {
    NSString* string = decoded(text, NSUTF8StringEncoding);
    // A path on a foreign disk need not be UTF-8; every byte is a character of Latin-1.
    return string != nil ? string : decoded(text, NSISOLatin1StringEncoding);
}

NSRect nsRect(const Frame& frame) {
    return NSMakeRect(frame.x, frame.y, frame.width, frame.height);
}

NSColor* nsColor(const Color& color) {
    return [NSColor colorWithSRGBRed:color.red green:color.green blue:color.blue alpha:color.alpha];
}

NSFont* nsFont(const Font& font) {
    return [NSFont
        systemFontOfSize:font.size
                  weight:font.weight == FontWeight::semibold ? NSFontWeightSemibold : NSFontWeightRegular];
}

} // namespace ui
