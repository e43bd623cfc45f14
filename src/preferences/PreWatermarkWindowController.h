#pragma once

#include "core/KeyValueStore.h"

#include <QDialog>
#include <QImage>

class QLabel;
class QPushButton;
class RVClipView;

// The watermark placement preview: a modal window that shows the sample
// picture "BGImage" with the watermark picture in a movable, resizable box
// over it. OK stores where the box is ("Watermark_center_x",
// "Watermark_center_y", "Watermark_scale") and accepts; Cancel, Escape and
// the window's close button store nothing and reject. Callers run it with
// exec() and, on Accepted, read the placement back with
// readWatermarkPlacement().
//
// The box always starts at the picture's bottom-left corner at the
// watermark's own size (560 wide at most); see WatermarkPreview.h.
//
// Main thread only.
class PreWatermarkWindowController : public QDialog {
    Q_OBJECT
public:
    // `watermarkImage` is the picture a recording would draw (the rendered text
    // for the text kind). `store` must outlive the window.
    PreWatermarkWindowController(const QImage& watermarkImage, KeyValueStore& store,
                                 QWidget* parent = nullptr);

    // The sample picture's view, and the selection overlay laid over it whose
    // box (model().contentRect, view coordinates) is the watermark's place.
    QLabel* imageView() const { return imageView_; }
    RVClipView* clipView() const { return clipView_; }
    QPushButton* okButton() const { return okButton_; }
    QPushButton* cancelButton() const { return cancelButton_; }

public slots:
    // Re-reads every text (the application-wide language notification calls it).
    void ChangeLoanguage();
    // OK: stores the placement of the box and accepts.
    void okAction();

protected:
    void showEvent(QShowEvent* event) override;

private:
    KeyValueStore& store_;
    QImage waterImage_;
    QLabel* hintLabel_ = nullptr;
    QLabel* imageView_ = nullptr;
    RVClipView* clipView_ = nullptr;
    QPushButton* okButton_ = nullptr;
    QPushButton* cancelButton_ = nullptr;
};
