#include "ui/qt/IconFile.hpp"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QPixmap>
#include <QtEndian>

namespace tests {
namespace {

QByteArray entry(const char* type, const QByteArray& contents) {
    QByteArray length(4, '\0');
    qToBigEndian(static_cast<quint32>(contents.size() + 8), length.data());
    return type + length + contents;
}

QByteArray png(int side) {
    QImage picture(side, side, QImage::Format_ARGB32);
    picture.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "PNG");
    return bytes;
}

TEST(IconFileTest, ReadsEveryPicture) {
    const QByteArray file =
        entry("icns", entry("TOC ", "12345678") + entry("ic07", png(128)) + entry("ic08", png(256)));
    const QList<QSize> expected = {QSize(128, 128), QSize(256, 256)};
    EXPECT_EQ(ui::qt::readIcon(file).availableSizes(), expected);
}

TEST(IconFileTest, AnUnreadableFileIsNoIcon) {
    EXPECT_TRUE(ui::qt::readIcon({}).isNull());
    EXPECT_TRUE(ui::qt::readIcon("not an icon").isNull());
    EXPECT_TRUE(ui::qt::readIcon(png(16)).isNull());
    EXPECT_TRUE(ui::qt::readIcon(entry("icns", entry("ic07", "garbage"))).isNull());
}

TEST(IconFileTest, SurvivesEveryTruncation) {
    const QByteArray file = entry("icns", entry("ic11", png(8)) + entry("ic07", png(8)));
    for (qsizetype length = 0; length < file.size(); ++length) {
        EXPECT_LE(ui::qt::readIcon(file.first(length)).availableSizes().size(), 1);
    }
}

TEST(IconFileTest, SurvivesLengthsThatLie) {
    for (const quint32 lie : {0U, 7U, 0x7fffffffU, 0xffffffffU}) {
        QByteArray file = entry("icns", entry("ic07", png(8)));
        qToBigEndian(lie, file.data() + 12);
        EXPECT_TRUE(ui::qt::readIcon(file).isNull());
    }
}

} // namespace
} // namespace tests
