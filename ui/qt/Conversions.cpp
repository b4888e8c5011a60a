#include "ui/qt/Conversions.hpp"

#include <QDir>
#include <QFontDatabase>

namespace ui::qt {

QRect toRect(const Frame& frame, double parentHeight) {
    return QRectF(frame.x, parentHeight - frame.y - frame.height, frame.width, frame.height).toRect();
}

QColor toColor(const Color& color) {
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue), static_cast<float>(color.alpha));
}

void loadFonts(const std::filesystem::path& folder) {
    for (const QFileInfo& file : QDir(folder).entryInfoList({"*.otf", "*.ttf"})) {
        QFontDatabase::addApplicationFont(file.filePath());
    }
}

QFont toFont(const Font& font) {
    QFont result = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    // The closest to the typeface that the design was drawn with; for a sign it lacks, whatever the desktop
    // uses.
    result.setFamilies(QStringList{"Inter"} + result.families());
    result.setPixelSize(static_cast<int>(font.size));
    result.setWeight(font.weight == FontWeight::semibold ? QFont::DemiBold : QFont::Normal);
    result.setHintingPreference(
        QFont::PreferVerticalHinting); // else each desktop spaces the letters its own way
    return result;
}

QString toText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString withoutMnemonics(std::string_view text) {
    return toText(text).replace("&", "&&");
}

} // namespace ui::qt
