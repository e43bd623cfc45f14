#include "preferences/PreWatermarkWindowController.h"

#include "app/LanguageManager.h"
#include "app/SettingsSchema.h"
#include "preferences/BGImage.h"
#include "preferences/WatermarkPreview.h"
#include "selection/RVClipView.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QShowEvent>
#include <QVBoxLayout>

namespace S = SettingsKeys;

namespace {
// The overlay's modes: type 0 (a plain click would pick a window; nothing
// listens, so it does nothing here) over an area recording, the one kind
// whose frame can be dragged and resized freely.
constexpr int kClipType = 0;
constexpr int kAreaRecording = 1;
// The model's "a selection is chosen" state: presses move or resize it.
constexpr int kClipChosen = 3;
} // namespace

PreWatermarkWindowController::PreWatermarkWindowController(const QImage& watermarkImage, KeyValueStore& store,
                                                           QWidget* parent)
    : QDialog(parent), store_(store), waterImage_(watermarkImage) {
    setModal(true);

    hintLabel_ = new QLabel(this);
    hintLabel_->setWordWrap(true);

    imageView_ = new QLabel(this);
    imageView_->setObjectName("BGImage");
    imageView_->setPixmap(QPixmap::fromImage(makeBGImage()));
    imageView_->setFixedSize(kBGImageWidth, kBGImageHeight);

    // The selection overlay, made see-through so the sample picture shows:
    // no dimming, no toolbar, no size indicator or hint.
    clipView_ = new RVClipView(imageView_, imageView_->size(), kClipType, kAreaRecording);
    clipView_->setOverlayAlpha(0);
    clipView_->hideDecorations();
    clipView_->setWaterImage(watermarkImage);
    const RectD box = initialPreviewBox(QSizeF(watermarkImage.size()));
    clipView_->setFrameForContentView(box);
    // Already chosen, so the very first drag moves or resizes the box instead
    // of being taken for the drawing of a new selection; and a quick click on
    // a box under the minimum size finds it again rather than an empty one.
    clipView_->model().clipState = kClipChosen;
    clipView_->model().lastContentRect = box;

    cancelButton_ = new QPushButton(this);
    cancelButton_->setAutoDefault(false);
    okButton_ = new QPushButton(this);
    okButton_->setDefault(true);
    connect(okButton_, &QPushButton::clicked, this, &PreWatermarkWindowController::okAction);
    connect(cancelButton_, &QPushButton::clicked, this, &QDialog::reject);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancelButton_);
    buttons->addWidget(okButton_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(hintLabel_);
    layout->addWidget(imageView_);
    layout->addLayout(buttons);
    // The window is as large as the picture and its controls, in every language.
    layout->setSizeConstraint(QLayout::SetFixedSize);

    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &PreWatermarkWindowController::ChangeLoanguage);
    ChangeLoanguage();
}

void PreWatermarkWindowController::ChangeLoanguage() {
    setWindowTitle(L("Pre_Watermark_Title"));
    hintLabel_->setText(L("Pre_Watermark_Hint"));
    okButton_->setText(L("Pre_Watermark_OK"));
    cancelButton_->setText(L("Pre_Watermark_Cancel"));
}

void PreWatermarkWindowController::okAction() {
    const QSizeF view = imageView_->size();
    const WatermarkPlacement placement =
        placementFromPreviewBox(clipView_->model().contentRect, view, QSizeF(waterImage_.size()));
    store_.setDouble(S::WatermarkCenterX, placement.centerX);
    store_.setDouble(S::WatermarkCenterY, placement.centerY);
    store_.setDouble(S::WatermarkScale, placement.scale);
    accept();
}

void PreWatermarkWindowController::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (event->spontaneous())
        return; // back from being minimised: stay where the user left it
    // Over the preferences window that opened it; on the screen's centre when
    // opened without one.
    QRect over;
    if (QWidget* owner = parentWidget())
        over = owner->window()->frameGeometry();
    else if (QScreen* screen = QGuiApplication::primaryScreen())
        over = screen->availableGeometry();
    if (over.isValid())
        move(over.center() - rect().center());
}
