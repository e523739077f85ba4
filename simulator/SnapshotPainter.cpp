#include "SnapshotPainter.h"

#include <QBuffer>
#include <QColor>
#include <QImage>

namespace {

void fill(QImage *image, int x, int y, int width, int height, QRgb colour)
{
    const int left = qMax(x, 0);
    const int right = qMin(x + width, image->width());
    for (int row = qMax(y, 0); row < qMin(y + height, image->height()); ++row) {
        auto *line = reinterpret_cast<QRgb *>(image->scanLine(row));
        for (int column = left; column < right; ++column)
            line[column] = colour;
    }
}

} // namespace

QByteArray SnapshotPainter::png(quint32 seed, quint64 frame)
{
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    const int hue = static_cast<int>(seed % 360);
    for (int row = 0; row < kHeight; ++row) {
        const QRgb colour = QColor::fromHsv(hue, 90, 60 + row * 150 / kHeight).rgb();
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(row));
        std::fill(line, line + kWidth, colour);
    }
    // Lane markings that scroll, a vehicle that drives across, its plate and a frame counter bar.
    const int offset = static_cast<int>(frame * 7 % 40);
    for (int x = -40 + offset; x < kWidth; x += 40)
        fill(&image, x, 170, 20, 4, qRgb(230, 230, 230));
    const int vehicleX = static_cast<int>(frame * 23 % (kWidth + 120)) - 120;
    const QRgb body = QColor::fromHsv(static_cast<int>((seed / 360 + frame * 37) % 360), 200, 200).rgb();
    fill(&image, vehicleX, 110, 120, 55, body);
    fill(&image, vehicleX + 35, 140, 50, 14, qRgb(250, 250, 250));
    fill(&image, vehicleX + 38, 144, 44, 6, qRgb(20, 20, 20));
    fill(&image, 0, kHeight - 6, static_cast<int>(frame % 64) * kWidth / 64, 6, qRgb(255, 200, 0));

    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}
