#include "widgets/LevelMeter.h"

#include <QPainter>
#include <algorithm>

LevelMeter::LevelMeter(QWidget* parent) : QWidget(parent) {
    setMinimumHeight(8);
}

void LevelMeter::setLevel(float level) {
    level_ = std::clamp(level, 0.0f, 1.0f);
    update();
}

void LevelMeter::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    p.setPen(Qt::NoPen);
    p.setBrush(palette().color(QPalette::Mid));
    p.drawRoundedRect(r, r.height() / 2, r.height() / 2);
    QLinearGradient fill(r.topLeft(), r.topRight());
    fill.setColorAt(0, QColor(60, 190, 110));
    fill.setColorAt(0.75, QColor(240, 200, 60));
    fill.setColorAt(1, QColor(235, 64, 52));
    p.setBrush(fill);
    QRectF on = r;
    on.setWidth(r.width() * level_);
    p.drawRoundedRect(on, r.height() / 2, r.height() / 2);
}
