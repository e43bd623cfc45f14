#pragma once

#include "selection/ClipModel.h"

#include <QElapsedTimer>
#include <QImage>
#include <QWidget>

class CropBorderView;
class QLabel;
class QPushButton;
class RVClipView;

// What the selection view tells its owner (each optional).
// Called on the main thread.
class RVClipViewDelegate {
public:
    virtual ~RVClipViewDelegate() = default;
    virtual void clipViewMouseDoubleClick(RVClipView*) {}
    virtual void clipViewClipCurrentWindow(RVClipView*) {}
    virtual void clipViewClipFullScreen(RVClipView*) {}
    virtual void clipViewCancleSelected(RVClipView*) {}
    virtual void clipViewMouseMoved(RVClipView*) {}
    virtual void recordViewDidShowToolBar(RVClipView*) {}
    // The toolbar's buttons.
    virtual void clipViewStartNote(RVClipView*) {}
    virtual void clipViewCancel(RVClipView*) {}
};

// The selection view: covers one screen, shows the frozen picture of that
// screen dimmed outside the selection, the frame with handles, the toolbar,
// the size indicator and the hint. Mouse input goes to its ClipModel in
// view coordinates (origin bottom left, y up); this class converts Qt's
// y-down positions at the edge.
//
// Main thread only. Owned by its RVRecordScreenWindowController's window.
class RVClipView : public QWidget {
    Q_OBJECT
public:
    // initWithFrame:type: — `type` 0 picks a window on a plain click.
    RVClipView(QWidget* parent, const QSize& size, int type, int recordVideoType);
    ~RVClipView() override;

    void setDelegate(RVClipViewDelegate* delegate) { delegate_ = delegate; }
    // The frozen picture of the screen under the overlay (points-sized).
    void setScreenImage(const QImage& image);
    const QImage& screenImage() const { return screenImage_; }
    // A picture drawn into the selection, which then keeps the picture's
    // aspect while it is resized (the watermark preview).
    void setWaterImage(const QImage& image);

    // Shows `rect` (view coordinates) as the selection, with or without the toolbar.
    void showClipViewWithFrame(const RectD& rect, bool withToolbar);
    void setFrameForContentView(const RectD& rect);
    void setContentFrame(const RectD& borderFrame);
    // The dimming outside the selection. 0 without a screen image leaves the
    // whole view see-through instead of black.
    void setOverlayAlpha(float alpha);
    // The frozen picture inside the selection.
    QImage getCapturedImage() const;
    void setHideHandleRect(bool hide);
    // Hides the toolbar, the size indicator and the hint.
    void hideDecorations();

    // After the first hover, the overlay is dimmed outside the selection
    // only (until then, all over).
    bool haveSetClearColor = false;

    ClipModel& model() { return model_; }
    const ClipModel& model() const { return model_; }
    // The clear selection area: the countdown badge's host.
    QWidget* contentView() const { return contentView_; }
    QWidget* toolbarView() const { return toolbarView_; }
    QWidget* indicatorView() const { return indicatorView_; }
    QPushButton* okBtn() const { return okBtn_; }
    QPushButton* cancelBtn() const { return cancelBtn_; }

    // Converts between Qt's positions and view coordinates.
    PointD toView(const QPointF& p) const;
    QRectF toQt(const RectD& r) const;

public slots:
    void startNoteButtonClick();
    void cancelBtnAction();
    void ChangeLoanguage();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void onModelEvent(ClipModel::Event e);
    void syncChildren();
    void resetToolBarFrame();
    void resetIndicatorField();
    double now() const;

    ClipModel model_;
    RVClipViewDelegate* delegate_ = nullptr;
    QImage screenImage_;
    QImage waterImage_;
    float overlayAlpha_ = 0.45f;
    bool toolbarShown_ = false;
    bool decorationsHidden_ = false;
    QElapsedTimer clock_;

    CropBorderView* cropBorderView_ = nullptr;
    QWidget* contentView_ = nullptr;
    QWidget* toolbarView_ = nullptr;
    QPushButton* okBtn_ = nullptr;
    QPushButton* cancelBtn_ = nullptr;
    QWidget* indicatorView_ = nullptr;
    QLabel* indicatorField_ = nullptr;
    QLabel* hintLabel_ = nullptr;
};
