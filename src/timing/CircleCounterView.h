#pragma once

#include "timing/CircleCounter.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QTimer>
#include <QVariantAnimation>
#include <QWidget>
#include <memory>

class CircleCounterView;
class KeyValueStore;

// Told once when a count reaches 0 while the badge is still on its host.
class CircleCounterViewDelegate {
public:
    virtual ~CircleCounterViewDelegate() = default;
    virtual void counterDownFinished(CircleCounterView* view) = 0;
};

// The ticks of the badge on Qt's main-loop timers.
class QtCountdownScheduler : public CountdownScheduler {
public:
    QtCountdownScheduler();
    void scheduleOnce(double seconds, std::function<void()> tick) override;
    void cancel() override;

private:
    QTimer timer_;
    std::function<void()> tick_;
};

// The countdown badge: a square showing the seconds left as pictures, the
// background spinning once a second. The count itself is CircleCounter's.
//
// Main thread only.
class CircleCounterView : public QWidget {
    Q_OBJECT
public:
    // `settings` gives "RECORDTIME_DURATION" at every tick; `scheduler`
    // null means Qt timers.
    CircleCounterView(QWidget* parent, const QRect& frame, KeyValueStore& settings,
                      std::unique_ptr<CountdownScheduler> scheduler = nullptr);
    ~CircleCounterView() override;

    // The defaults of a new badge.
    void setup();
    void startWithSeconds(float seconds);
    void startWithSeconds(float seconds, float interval);
    void startWithSeconds(float seconds, float interval, const QString& format);
    void stop();
    void updateTime();
    // One turn of the background in a second; backwards when `reverse`.
    void startAnimtion(bool reverse);
    void stopAnimation();

    CircleCounter& counter() { return counter_; }
    const QImage& backgroundImage() const { return background_; }
    const QImage& numberImage() const { return number_; }
    QString backgroundName() const { return backgroundName_; }
    QString numberName() const { return numberName_; }
    bool isSpinning() const { return spin_.state() == QAbstractAnimation::Running; }

    // Configuration kept for the number and ring drawing styles; the
    // picture-based badge does not draw with them.
    QColor numberColor;
    QFont numberFont;
    QColor circleColor;
    double circleBorderWidth = 6;
    QString timeFormatString;
    bool circleIncre = false;
    float circleTimeInterval = 1;
    CircleCounterViewDelegate* delegate = nullptr;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void showStep(const CircleCounter::Step& step);

    KeyValueStore& settings_;
    std::unique_ptr<CountdownScheduler> scheduler_;
    CircleCounter counter_;
    QImage background_;
    QImage number_;
    QString backgroundName_;
    QString numberName_;
    QVariantAnimation spin_;
    double angle_ = 0;
};
