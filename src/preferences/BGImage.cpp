#include "preferences/BGImage.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <array>

namespace {

constexpr int kPanelHeight = 14;
constexpr QRectF kWindow{92, 40, 410, 226};
constexpr double kWindowRadius = 7;
constexpr double kTitleBarHeight = 24;
constexpr double kSidebarWidth = 92;
constexpr double kLineHeight = 6;
constexpr double kLineGap = 13;

void paintWallpaper(QPainter& p, const QRectF& area) {
    QLinearGradient sky(area.topLeft(), area.bottomRight());
    sky.setColorAt(0, QColor(0x24, 0x3b, 0x6b));
    sky.setColorAt(0.55, QColor(0x3f, 0x7c, 0xac));
    sky.setColorAt(1, QColor(0x9a, 0x6f, 0xb0));
    p.fillRect(area, sky);
    // Two soft glows keep the wallpaper from looking flat.
    const std::array<std::pair<QPointF, double>, 2> glows{{{{470, 70}, 190}, {{90, 300}, 160}}};
    for (const auto& [centre, radius] : glows) {
        QRadialGradient glow(centre, radius);
        glow.setColorAt(0, QColor(255, 255, 255, 60));
        glow.setColorAt(1, QColor(255, 255, 255, 0));
        p.fillRect(area, glow);
    }
}

void paintPanel(QPainter& p, double width) {
    p.fillRect(QRectF(0, 0, width, kPanelHeight), QColor(20, 24, 34, 150));
    p.setBrush(QColor(255, 255, 255, 200));
    p.drawRoundedRect(QRectF(8, 4, 26, 6), 3, 3);
    p.drawRoundedRect(QRectF(width - 58, 4, 50, 6), 3, 3);
}

void paintWindow(QPainter& p) {
    // Shadow, then the body with rounded corners.
    p.setBrush(QColor(0, 0, 0, 55));
    p.drawRoundedRect(kWindow.translated(0, 4).adjusted(-2, -1, 2, 3), kWindowRadius + 2, kWindowRadius + 2);
    QPainterPath body;
    body.addRoundedRect(kWindow, kWindowRadius, kWindowRadius);
    p.save();
    p.setClipPath(body);
    p.fillRect(kWindow, QColor(0xfa, 0xfa, 0xfb));

    const QRectF title(kWindow.left(), kWindow.top(), kWindow.width(), kTitleBarHeight);
    QLinearGradient bar(title.topLeft(), title.bottomLeft());
    bar.setColorAt(0, QColor(0xe9, 0xe9, 0xec));
    bar.setColorAt(1, QColor(0xd8, 0xd8, 0xdc));
    p.fillRect(title, bar);
    const std::array<QColor, 3> buttons{QColor(0xfe, 0x5f, 0x57), QColor(0xfe, 0xbc, 0x2e),
                                        QColor(0x28, 0xc8, 0x40)};
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        p.setBrush(buttons[i]);
        p.drawEllipse(QPointF(title.left() + 14 + 16 * double(i), title.center().y()), 5, 5);
    }
    p.setBrush(QColor(0x9a, 0x9a, 0xa2));
    p.drawRoundedRect(QRectF(title.center().x() - 45, title.center().y() - 3, 90, 6), 3, 3);

    const QRectF sidebar(kWindow.left(), title.bottom(), kSidebarWidth, kWindow.height() - kTitleBarHeight);
    p.fillRect(sidebar, QColor(0xee, 0xf0, 0xf4));
    p.setBrush(QColor(0xb9, 0xc0, 0xcc));
    for (int i = 0; i < 6; ++i)
        p.drawRoundedRect(QRectF(sidebar.left() + 12, sidebar.top() + 16 + 22 * i, 56 - 6 * (i % 3), 6), 3,
                          3);

    // A heading, a picture and paragraphs of "text".
    const double left = sidebar.right() + 18;
    const double right = kWindow.right() - 18;
    p.setBrush(QColor(0x3c, 0x44, 0x55));
    p.drawRoundedRect(QRectF(left, title.bottom() + 16, 150, 10), 4, 4);
    const QRectF photo(right - 96, title.bottom() + 40, 96, 66);
    QLinearGradient hills(photo.topLeft(), photo.bottomLeft());
    hills.setColorAt(0, QColor(0x8e, 0xc5, 0xfc));
    hills.setColorAt(1, QColor(0x5a, 0xa4, 0x69));
    p.setBrush(hills);
    p.drawRoundedRect(photo, 4, 4);
    const std::array<double, 10> lineShare{1, 0.92, 0.97, 0.6, 1, 0.88, 0.95, 0.7, 0.93, 0.5};
    p.setBrush(QColor(0xa8, 0xae, 0xb8));
    for (std::size_t i = 0; i < lineShare.size(); ++i) {
        const double y = title.bottom() + 42 + kLineGap * double(i);
        // Lines beside the picture stop short of it.
        const double end = y < photo.bottom() + 4 ? photo.left() - 14 : right;
        p.drawRoundedRect(QRectF(left, y, (end - left) * lineShare[i], kLineHeight), 3, 3);
    }
    p.restore();
}

void paintDock(QPainter& p, const QRectF& area) {
    const std::array<QColor, 5> icons{QColor(0x3b, 0x82, 0xf6), QColor(0xef, 0x44, 0x44),
                                      QColor(0x10, 0xb9, 0x81), QColor(0xf5, 0x9e, 0x0b),
                                      QColor(0x8b, 0x5c, 0xf6)};
    const double icon = 24;
    const double gap = 8;
    const double width = icons.size() * icon + (icons.size() + 1) * gap;
    const QRectF dock(area.center().x() - width / 2, area.bottom() - icon - 2 * gap + 2, width,
                      icon + 2 * gap - 6);
    p.setBrush(QColor(255, 255, 255, 70));
    p.drawRoundedRect(dock, 9, 9);
    for (std::size_t i = 0; i < icons.size(); ++i) {
        p.setBrush(icons[i]);
        p.drawRoundedRect(QRectF(dock.left() + gap + (icon + gap) * double(i), dock.top() + 3, icon, icon), 6,
                          6);
    }
}

} // namespace

QImage makeBGImage() {
    QImage picture(kBGImageWidth, kBGImageHeight, QImage::Format_ARGB32_Premultiplied);
    const QRectF area = picture.rect();
    QPainter p(&picture);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    paintWallpaper(p, area);
    paintPanel(p, area.width());
    paintWindow(p);
    paintDock(p, area);
    return picture;
}
