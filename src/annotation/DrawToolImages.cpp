#include "annotation/DrawToolImages.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <functional>
#include <map>

namespace {

// Glyphs are designed on a 24 x 24 grid, like the main window's.
constexpr int kGrid = 24;
const QColor kNormalInk(60, 64, 72);
const QColor kSelectedInk(255, 255, 255);
// The main window's accent, so the active tool reads as "on" the same way.
const QColor kAccent(217, 58, 58);

using Painter = std::function<void(QPainter&, const QColor&)>;

void arrowHead(QPainter& p, QPointF tip, QPointF from, double size) {
    const QLineF back(tip, from);
    QLineF side = back;
    side.setLength(size);
    side.setAngle(back.angle() + 28);
    p.drawLine(side);
    side.setAngle(back.angle() - 28);
    p.drawLine(side);
}

void undoArrow(QPainter& p, bool mirrored) {
    if (mirrored)
        p.setTransform(QTransform(-1, 0, 0, 1, kGrid, 0), true);
    QPainterPath path;
    path.moveTo(6, 9);
    path.lineTo(15, 9);
    path.cubicTo(22, 9, 22, 19, 15, 19);
    path.lineTo(9, 19);
    p.drawPath(path);
    arrowHead(p, QPointF(5, 9), QPointF(12, 9), 4.5);
}

const std::map<QString, Painter>& painters() {
    static const std::map<QString, Painter> table = {
        {"鼠标",
         [](QPainter& p, const QColor& ink) {
             p.setBrush(ink);
             p.drawPolygon(
                 QPolygonF({{7, 3}, {7, 19}, {11, 15}, {14, 21}, {16.5, 20}, {13.5, 14}, {18.5, 14}}));
         }},
        {"画笔",
         [](QPainter& p, const QColor&) {
             p.drawPolygon(QPolygonF({{5, 19}, {6, 15}, {16, 5}, {19, 8}, {9, 18}}));
             p.drawLine(QPointF(14, 7), QPointF(17, 10));
         }},
        {"文字",
         [](QPainter& p, const QColor&) {
             p.drawLine(QPointF(5, 6), QPointF(19, 6));
             p.drawLine(QPointF(12, 6), QPointF(12, 19));
             p.drawLine(QPointF(9.5, 19), QPointF(14.5, 19));
         }},
        {"矩形",
         [](QPainter& p, const QColor&) {
             p.drawRoundedRect(QRectF(4, 6, 16, 12), 1.5, 1.5);
         }},
        {"椭圆",
         [](QPainter& p, const QColor&) {
             p.drawEllipse(QRectF(3.5, 6, 17, 12));
         }},
        {"箭头",
         [](QPainter& p, const QColor&) {
             p.drawLine(QPointF(5, 19), QPointF(19, 5));
             arrowHead(p, QPointF(19, 5), QPointF(5, 19), 7);
         }},
        {"直线",
         [](QPainter& p, const QColor&) {
             p.drawLine(QPointF(5, 19), QPointF(19, 5));
         }},
        {"线宽",
         [](QPainter& p, const QColor& ink) {
             for (const auto& [y, width] : {std::pair{6.5, 1.0}, {12.0, 2.2}, {18.0, 3.8}}) {
                 p.setPen(QPen(ink, width, Qt::SolidLine, Qt::RoundCap));
                 p.drawLine(QPointF(5, y), QPointF(19, y));
             }
         }},
        {"颜色",
         [](QPainter& p, const QColor&) {
             const QRectF disc(4, 4, 16, 16);
             const QColor slices[] = {QColor(230, 30, 30), QColor(250, 215, 20), QColor(40, 170, 60),
                                      QColor(30, 100, 230)};
             const QPen outline = p.pen();
             p.setPen(Qt::NoPen);
             for (int i = 0; i < 4; ++i) {
                 p.setBrush(slices[i]);
                 p.drawPie(disc, i * 90 * 16, 90 * 16);
             }
             p.setPen(outline);
             p.setBrush(Qt::NoBrush);
             p.drawEllipse(disc);
         }},
        {"橡皮擦",
         [](QPainter& p, const QColor& ink) {
             p.translate(12, 12);
             p.rotate(-40);
             p.drawRoundedRect(QRectF(-8, -4.5, 16, 9), 1.5, 1.5);
             p.setBrush(ink);
             p.drawRoundedRect(QRectF(-8, -4.5, 6, 9), 1.5, 1.5);
         }},
        {"白板",
         [](QPainter& p, const QColor&) {
             p.drawRect(QRectF(4, 4, 16, 11));
             p.drawLine(QPointF(12, 15), QPointF(12, 19));
             p.drawLine(QPointF(8, 21), QPointF(12, 17));
             p.drawLine(QPointF(16, 21), QPointF(12, 17));
         }},
        {"撤销",
         [](QPainter& p, const QColor&) {
             undoArrow(p, false);
         }},
        {"重做",
         [](QPainter& p, const QColor&) {
             undoArrow(p, true);
         }},
        {"清除",
         [](QPainter& p, const QColor&) {
             p.drawLine(QPointF(4.5, 7), QPointF(19.5, 7));
             p.drawLine(QPointF(10, 7), QPointF(10.5, 4.5));
             p.drawLine(QPointF(10.5, 4.5), QPointF(13.5, 4.5));
             p.drawLine(QPointF(13.5, 4.5), QPointF(14, 7));
             p.drawPolyline(QPolygonF({{6.5, 7}, {7.5, 20}, {16.5, 20}, {17.5, 7}}));
             p.drawLine(QPointF(10.5, 10.5), QPointF(10.5, 16.5));
             p.drawLine(QPointF(13.5, 10.5), QPointF(13.5, 16.5));
         }},
        {"字体",
         [](QPainter& p, const QColor&) {
             p.drawPolyline(QPolygonF({{4, 20}, {10, 4}, {16, 20}}));
             p.drawLine(QPointF(6.5, 14), QPointF(13.5, 14));
             p.drawLine(QPointF(17, 20), QPointF(20.5, 20));
         }},
        {"关闭",
         [](QPainter& p, const QColor&) {
             p.drawLine(QPointF(6, 6), QPointF(18, 18));
             p.drawLine(QPointF(18, 6), QPointF(6, 18));
         }},
    };
    return table;
}

QPixmap render(int size, const Painter& paint, bool selected) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(double(size) / kGrid, double(size) / kGrid);
    if (selected) {
        p.setPen(Qt::NoPen);
        p.setBrush(kAccent);
        p.drawRoundedRect(QRectF(0.5, 0.5, kGrid - 1, kGrid - 1), 5, 5);
    }
    const QColor ink = selected ? kSelectedInk : kNormalInk;
    p.setPen(QPen(ink, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    paint(p, ink);
    return pixmap;
}

} // namespace

QIcon drawToolImage(const QString& label) {
    const bool selected = label.endsWith(kSelectedSuffix);
    const QString base = selected ? label.chopped(kSelectedSuffix.size()) : label;
    const auto it = painters().find(base);
    if (it == painters().end())
        return {};
    QIcon icon;
    for (int size : {16, 24, 32, 48, 64})
        icon.addPixmap(render(size, it->second, selected));
    return icon;
}
