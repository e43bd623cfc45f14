#include "timing/CircleDownCounter.h"

#include "app/AppDelegate.h"

#include <QFontDatabase>

namespace {
// The badge's largest side; smaller areas get half their smaller side.
constexpr int kLargestBadge = 200;
// The default badge when no size is given.
constexpr int kDefaultBadge = 100;
constexpr float kTenths = 0.1f;
} // namespace

CircleDownCounter& CircleDownCounter::circleDownCounter() {
    static CircleDownCounter shared;
    return shared;
}

int CircleDownCounter::badgeSide(QSize area) {
    const int m = std::min(area.width(), area.height());
    return m >= kLargestBadge ? kLargestBadge : m / 2;
}

QRect CircleDownCounter::frameOfCircleViewOfSize(QSize size, const QWidget* host) {
    const int insetX = (host->width() - size.width()) / 2;
    const int insetY = (host->height() - size.height()) / 2;
    return QRect(0, 0, host->width(), host->height()).adjusted(insetX, insetY, -insetX, -insetY);
}

CircleCounterView* CircleDownCounter::circleViewInView(QWidget* host) {
    return host ? host->findChild<CircleCounterView*>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
}

void CircleDownCounter::removeCircleViewFromView(QWidget* host) {
    while (CircleCounterView* view = circleViewInView(host)) {
        view->hide();
        view->setParent(nullptr);
        view->deleteLater();
    }
}

CircleCounterView* CircleDownCounter::showCircleDownWithSeconds(float seconds, QWidget* host) {
    return showCircleDownWithSeconds(seconds, host, QSize(kDefaultBadge, kDefaultBadge), 0);
}

CircleCounterView* CircleDownCounter::showCircleDownWithSeconds(float seconds, QWidget* host, QSize size,
                                                                int type, KeyValueStore* settings) {
    removeCircleViewFromView(host);
    KeyValueStore& store = settings    ? *settings
                           : settings_ ? *settings_
                                       : AppDelegate::sharedInstance()->settings();
    auto* view = new CircleCounterView(host, frameOfCircleViewOfSize(size, host), store,
                                       schedulerFactory_ ? schedulerFactory_() : nullptr);
    view->show();
    view->delegate = this;
    switch (type) {
    case 0:
        view->startWithSeconds(seconds);
        break;
    case 2:
        view->circleIncre = true;
        view->startWithSeconds(seconds);
        break;
    case 1:
    case 3: {
        QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        font.setBold(true);
        font.setPointSize(15);
        view->numberFont = font;
        view->circleIncre = type == 3;
        view->startWithSeconds(seconds, kTenths, "%.1f");
        break;
    }
    default:
        break;
    }
    return view;
}

void CircleDownCounter::counterDownFinished(CircleCounterView* view) {
    view->hide();
    view->setParent(nullptr);
    view->deleteLater();
}
