#include "timing/CountdownPictures.h"

#include <QFont>
#include <QFontDatabase>
#include <QPainter>
#include <QRegularExpression>
#include <cmath>

namespace {
constexpr int kLargestNumber = 10;
// The ring takes this share of the side; its bright arc shows the spin.
constexpr double kRingWidthShare = 0.06;
constexpr double kArcDegrees = 90;

QImage blank(int side) {
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QImage drawNumber(int n, int side) {
    QImage image = blank(side);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setBold(true);
    font.setPixelSize(std::max(1, int(side * (n >= 10 ? 0.38 : 0.5))));
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(QRect(0, 0, side, side), Qt::AlignCenter, QString::number(n));
    return image;
}

QImage drawBackground(int n, int side) {
    QImage image = blank(side);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const double ring = std::max(2.0, side * kRingWidthShare);
    const QRectF disc(ring / 2, ring / 2, side - ring, side - ring);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 150));
    p.drawEllipse(disc);
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(QColor(255, 255, 255, 90), ring));
    p.drawEllipse(disc);
    // The arc's length tells how much of the count is left.
    p.setPen(QPen(QColor(0x1E, 0x88, 0xE5), ring, Qt::SolidLine, Qt::RoundCap));
    const double span = kArcDegrees + (360 - kArcDegrees) * (n - 1) / (kLargestNumber - 1);
    p.drawArc(disc, 90 * 16, -int(span * 16));
    return image;
}
} // namespace

QImage countdownPicture(const QString& name, int side) {
    static const QRegularExpression pattern("^(00?)?([0-9]+)\\.png$");
    const QRegularExpressionMatch m = pattern.match(name);
    if (!m.hasMatch() || side <= 0)
        return {};
    bool ok = false;
    const int n = m.captured(2).toInt(&ok);
    if (!ok || n < 1 || n > kLargestNumber)
        return {};
    const QString prefix = m.captured(1);
    if (prefix.isEmpty())
        return m.captured(2) == QString::number(n) ? drawNumber(n, side) : QImage();
    // "001.png" ... "009.png", "010.png": three digits in all.
    if (prefix.size() + m.captured(2).size() != 3)
        return {};
    return drawBackground(n, side);
}
