#pragma once

#include <QWidget>

// A horizontal input level bar (0...1), for the audio-only panel. Main thread only.
class LevelMeter : public QWidget {
    Q_OBJECT
public:
    explicit LevelMeter(QWidget* parent = nullptr);
    void setLevel(float level);
    QSize sizeHint() const override { return {200, 10}; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    float level_ = 0;
};
