#include "widgets/Icons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QSvgRenderer>
#include <functional>

namespace Icons {
namespace {

// Glyphs are designed on a 24 x 24 grid and rendered at the sizes Qt asks for.
constexpr int kGrid = 24;

void drawGlyph(QPainter& p, Glyph which, const QColor& color) {
    QPen pen(color, 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    switch (which) {
    case Glyph::Record:
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawEllipse(QPointF(12, 12), 7, 7);
        break;
    case Glyph::Stop:
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawRoundedRect(QRectF(6, 6, 12, 12), 2, 2);
        break;
    case Glyph::Pause:
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawRoundedRect(QRectF(6.5, 5, 4, 14), 1, 1);
        p.drawRoundedRect(QRectF(13.5, 5, 4, 14), 1, 1);
        break;
    case Glyph::Resume: {
        QPainterPath tri;
        tri.moveTo(8, 5);
        tri.lineTo(19, 12);
        tri.lineTo(8, 19);
        tri.closeSubpath();
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawPath(tri);
        break;
    }
    case Glyph::CameraOn:
    case Glyph::CameraOff:
        p.drawRoundedRect(QRectF(3, 7, 13, 10), 2, 2);
        p.drawPolygon(QPolygonF({QPointF(16, 11), QPointF(21, 8), QPointF(21, 16), QPointF(16, 13)}));
        if (which == Glyph::CameraOff)
            p.drawLine(QPointF(3, 4), QPointF(21, 20));
        break;
    case Glyph::Screenshot:
        p.drawRoundedRect(QRectF(3, 7, 18, 12), 2, 2);
        p.drawRect(QRectF(8, 4.5, 8, 2.5));
        p.drawEllipse(QPointF(12, 13), 3.2, 3.2);
        break;
    case Glyph::Timer:
        p.drawEllipse(QPointF(12, 13), 7.5, 7.5);
        p.drawLine(QPointF(12, 13), QPointF(12, 9));
        p.drawLine(QPointF(12, 13), QPointF(15, 15));
        p.drawLine(QPointF(10, 3.5), QPointF(14, 3.5));
        break;
    case Glyph::Split:
        p.drawRoundedRect(QRectF(3, 6, 7, 12), 1.5, 1.5);
        p.drawRoundedRect(QRectF(14, 6, 7, 12), 1.5, 1.5);
        p.drawLine(QPointF(12, 3), QPointF(12, 21));
        break;
    case Glyph::Settings:
        for (int i = 0; i < 3; ++i) {
            const double y = 6 + i * 6;
            p.drawLine(QPointF(4, y), QPointF(20, y));
            p.setBrush(color);
            p.drawEllipse(QPointF(i == 1 ? 15 : 9, y), 2.2, 2.2);
            p.setBrush(Qt::NoBrush);
        }
        break;
    case Glyph::Doodle: {
        QPainterPath pen;
        pen.moveTo(5, 19);
        pen.lineTo(6, 15);
        pen.lineTo(16, 5);
        pen.lineTo(19, 8);
        pen.lineTo(9, 18);
        pen.closeSubpath();
        p.drawPath(pen);
        p.drawLine(QPointF(14, 7), QPointF(17, 10));
        break;
    }
    case Glyph::FileList:
        for (int i = 0; i < 3; ++i) {
            const double y = 7 + i * 5;
            p.drawPoint(QPointF(5, y));
            p.drawLine(QPointF(9, y), QPointF(20, y));
        }
        break;
    case Glyph::Monitor:
        p.drawRoundedRect(QRectF(3, 4, 18, 12), 1.5, 1.5);
        p.drawLine(QPointF(9, 20), QPointF(15, 20));
        p.drawLine(QPointF(12, 16), QPointF(12, 20));
        break;
    case Glyph::Area: {
        QPen dashed = pen;
        dashed.setDashPattern({2, 2});
        p.setPen(dashed);
        p.drawRect(QRectF(4, 5, 16, 14));
        p.setPen(pen);
        for (QPointF c : {QPointF(4, 5), QPointF(20, 5), QPointF(4, 19), QPointF(20, 19)}) {
            p.setBrush(color);
            p.drawRect(QRectF(c.x() - 1.5, c.y() - 1.5, 3, 3));
        }
        break;
    }
    case Glyph::Window:
        p.drawRoundedRect(QRectF(3, 5, 18, 14), 2, 2);
        p.drawLine(QPointF(3, 9), QPointF(21, 9));
        p.drawPoint(QPointF(6, 7));
        p.drawPoint(QPointF(8.5, 7));
        break;
    case Glyph::Microphone:
        p.drawRoundedRect(QRectF(9, 3, 6, 11), 3, 3);
        p.drawArc(QRectF(6, 7, 12, 10), 200 * 16, 140 * 16);
        p.drawLine(QPointF(12, 17), QPointF(12, 21));
        break;
    case Glyph::Home:
        p.drawPolyline(QPolygonF({QPointF(4, 12), QPointF(12, 5), QPointF(20, 12)}));
        p.drawPolyline(
            QPolygonF({QPointF(6.5, 10.5), QPointF(6.5, 19), QPointF(17.5, 19), QPointF(17.5, 10.5)}));
        break;
    }
}

QPixmap render(int size, const std::function<void(QPainter&)>& paint) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / double(kGrid), size / double(kGrid));
    paint(p);
    return pixmap;
}

QIcon iconFrom(const std::function<void(QPainter&)>& paint) {
    QIcon icon;
    for (int size : {16, 18, 24, 32, 48, 64, 128})
        icon.addPixmap(render(size, paint));
    return icon;
}

} // namespace

QIcon glyph(Glyph which, const QColor& color) {
    return iconFrom([=](QPainter& p) { drawGlyph(p, which, color); });
}

QIcon trayIcon(TrayState state) {
    return iconFrom([=](QPainter& p) {
        // A film frame with a lens: readable on light and dark panels. The
        // state shows in the lens, which is all that is left at 16 px.
        p.setPen(QPen(QColor(240, 240, 240), 1.6));
        p.setBrush(QColor(40, 44, 52));
        p.drawRoundedRect(QRectF(2, 4, 20, 16), 4, 4);
        p.setPen(Qt::NoPen);
        switch (state) {
        case TrayState::Idle:
            p.setBrush(QColor(240, 240, 240));
            p.drawEllipse(QPointF(12, 12), 4, 4);
            break;
        case TrayState::Recording:
            p.setBrush(QColor(235, 64, 52));
            p.drawEllipse(QPointF(12, 12), 5, 5);
            break;
        case TrayState::Paused:
            p.setBrush(QColor(245, 176, 40));
            p.drawRoundedRect(QRectF(8, 7.5, 3, 9), 0.8, 0.8);
            p.drawRoundedRect(QRectF(13, 7.5, 3, 9), 0.8, 0.8);
            break;
        }
    });
}

QIcon applicationIcon() {
    // The small variant keeps its strokes on whole pixels up to 24 px; above
    // that the full drawing reads better.
    QSvgRenderer large(QStringLiteral(":/icons/org.framedeck.FrameDeck.svg"));
    QSvgRenderer small(QStringLiteral(":/icons/org.framedeck.FrameDeck-small.svg"));
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        QSvgRenderer& renderer = size < 32 ? small : large;
        if (!renderer.isValid())
            continue;
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter p(&pixmap);
        renderer.render(&p);
        p.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace Icons
