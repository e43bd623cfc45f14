#pragma once

#include <QRect>
#include <QWidget>

// The frame shown around the area while it is recorded. It lies wholly
// outside the area, so a grab of the area never contains it, and it lets
// every click through to the windows beneath (an empty input shape).
//
// Main thread only; owned by RVRecordScreenWindowController.
class RecordingFrameWindow : public QWidget {
    Q_OBJECT
public:
    RecordingFrameWindow();

    // Surrounds `area` (desktop coordinates, y down).
    void surround(const QRect& area);
    void setPaused(bool paused);

    // Space between the recorded area and the frame, and the frame's width.
    static constexpr int kGap = 2;
    static constexpr int kWidth = 3;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool paused_ = false;
};
