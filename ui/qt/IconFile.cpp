#include "ui/qt/IconFile.hpp"

#include <QPixmap>
#include <QtEndian>

namespace ui::qt {
namespace {

/// The signature "icns" or an entry's type, then the length of the whole, itself included.
constexpr qsizetype headerSize = 8;

} // namespace

QIcon readIcon(const QByteArray& icns) {
    QIcon icon;
    if (!icns.startsWith("icns")) {
        return icon;
    }
    qsizetype position = headerSize;
    while (position + headerSize <= icns.size()) {
        const qsizetype length = qFromBigEndian<quint32>(icns.constData() + position + 4);
        if (length < headerSize || length > icns.size() - position) {
            break;
        }
        QPixmap picture;
        if (picture.loadFromData(icns.sliced(position + headerSize, length - headerSize), "PNG")) {
            icon.addPixmap(picture);
        }
        position += length;
    }
    return icon;
}

} // namespace ui::qt
