#pragma once

#include <QColor>
#include <QWidget>

// The frame around the selection with its eight handles. It sits 6 points
// outside the selection on every side and lets every mouse event through to
// the selection view, which does the hit-testing (ClipGeometry).
//
// Main thread only; owned by RVClipView.
class CropBorderView : public QWidget {
    Q_OBJECT
public:
    explicit CropBorderView(QWidget* parent);

    // Hides the handles (while recording only the frame is shown).
    void setHideHandleRect(bool hide);
    bool hideHandleRect() const { return hideHandles_; }

    // The colour of the frame line and the handles.
    static QColor brandingColor();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool hideHandles_ = false;
};
