#include "ui/qt/TableReader.hpp"

#include <QFontDatabase>

namespace ui::qt {

QRect toRect(const Frame& frame, double containerHeight) {
    return QRectF(frame.x, containerHeight - frame.y - frame.height, frame.width, frame.height).toRect();
}

QColor toColor(const Color& color) {
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue), static_cast<float>(color.alpha));
}

QFont toFont(const Font& font) {
    QFont result = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    // The closest to the typeface that the design was drawn with, then whatever the desktop uses.
    result.setFamilies(QStringList{"Inter"} + result.families());
    result.setPixelSize(static_cast<int>(font.size));
    result.setWeight(font.weight == FontWeight::semibold ? QFont::DemiBold : QFont::Normal);
    return result;
}

QString toText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString withoutMnemonics(std::string_view text) {
    return toText(text).replace("&", "&&");
}

} // namespace ui::qt
