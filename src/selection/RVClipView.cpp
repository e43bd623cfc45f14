#include "selection/RVClipView.h"

#include "app/LanguageManager.h"
#include "selection/CropBorderView.h"

#include <QFontMetrics>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>

namespace {
// The size indicator's box and its place inside the frame's bottom-right corner.
constexpr int kIndicatorWidth = 144;
constexpr int kIndicatorHeight = 30;
constexpr double kIndicatorFromRight = 150;
constexpr double kIndicatorFromBottom = 5;
constexpr double kIndicatorTextMargin = 10;
// Room between the selection's frame and the toolbar.
constexpr double kToolbarGap = 4;
constexpr int kHintTop = 40;
} // namespace

RVClipView::RVClipView(QWidget* parent, const QSize& size, int type, int recordVideoType)
    : QWidget(parent), model_({double(size.width()), double(size.height())}, type, recordVideoType) {
    resize(size);
    setMouseTracking(true);
    setCursor(Qt::CrossCursor);
    clock_.start();
    model_.setListener([this](ClipModel::Event e) { onModelEvent(e); });

    contentView_ = new QWidget(this);
    contentView_->setAttribute(Qt::WA_TransparentForMouseEvents);
    contentView_->hide();
    cropBorderView_ = new CropBorderView(this);
    cropBorderView_->hide();

    indicatorView_ = new QWidget(this);
    indicatorView_->setAttribute(Qt::WA_TransparentForMouseEvents);
    indicatorView_->resize(kIndicatorWidth, kIndicatorHeight);
    indicatorView_->setObjectName("sizeIndicator");
    indicatorView_->setAttribute(Qt::WA_StyledBackground);
    indicatorView_->setStyleSheet("#sizeIndicator { background: rgba(0, 0, 0, 160); border-radius: 4px; }");
    indicatorField_ = new QLabel(indicatorView_);
    indicatorField_->setStyleSheet("color: white; background: transparent;");
    indicatorField_->setGeometry(int(kIndicatorTextMargin), 0, kIndicatorWidth - int(kIndicatorTextMargin),
                                 kIndicatorHeight);
    indicatorView_->hide();

    toolbarView_ = new QWidget(this);
    toolbarView_->setObjectName("clipToolbar");
    toolbarView_->setAttribute(Qt::WA_StyledBackground);
    toolbarView_->setStyleSheet("#clipToolbar { background: rgba(250, 250, 250, 235); border-radius: 4px; }"
                                "QPushButton { padding: 4px 14px; }");
    auto* layout = new QHBoxLayout(toolbarView_);
    layout->setContentsMargins(6, 4, 6, 4);
    cancelBtn_ = new QPushButton(toolbarView_);
    okBtn_ = new QPushButton(toolbarView_);
    okBtn_->setDefault(true);
    layout->addWidget(cancelBtn_);
    layout->addWidget(okBtn_);
    connect(okBtn_, &QPushButton::clicked, this, &RVClipView::startNoteButtonClick);
    connect(cancelBtn_, &QPushButton::clicked, this, &RVClipView::cancelBtnAction);
    toolbarView_->hide();

    hintLabel_ = new QLabel(this);
    hintLabel_->setAttribute(Qt::WA_TransparentForMouseEvents);
    hintLabel_->setStyleSheet(
        "color: white; background: rgba(0, 0, 0, 140); padding: 6px; border-radius: 4px;");
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &RVClipView::ChangeLoanguage);
    ChangeLoanguage();
}

RVClipView::~RVClipView() = default;

void RVClipView::ChangeLoanguage() {
    okBtn_->setText(L("Clip_Start"));
    cancelBtn_->setText(L("Clip_Cancel"));
    toolbarView_->adjustSize();
    hintLabel_->setText(L("Press ESC key to exit"));
    hintLabel_->adjustSize();
    hintLabel_->move((width() - hintLabel_->width()) / 2, kHintTop);
}

double RVClipView::now() const {
    return double(clock_.nsecsElapsed()) / 1e9;
}

PointD RVClipView::toView(const QPointF& p) const {
    return {p.x(), height() - p.y()};
}

QRectF RVClipView::toQt(const RectD& r) const {
    return {r.x, height() - r.y - r.height, r.width, r.height};
}

void RVClipView::setScreenImage(const QImage& image) {
    screenImage_ = image;
    update();
}

void RVClipView::setWaterImage(const QImage& image) {
    waterImage_ = image;
    if (image.isNull())
        model_.setWaterImageSize(std::nullopt);
    else
        model_.setWaterImageSize(SizeD{double(image.width()), double(image.height())});
    update();
}

void RVClipView::showClipViewWithFrame(const RectD& rect, bool withToolbar) {
    setFrameForContentView(rect);
    toolbarShown_ = withToolbar;
    syncChildren();
}

void RVClipView::setFrameForContentView(const RectD& rect) {
    model_.setFrameForContentView(rect);
    syncChildren();
}

void RVClipView::setContentFrame(const RectD& borderFrame) {
    model_.resetFramesToThisOne(borderFrame);
    syncChildren();
}

void RVClipView::setOverlayAlpha(float alpha) {
    overlayAlpha_ = alpha;
    update();
}

void RVClipView::setHideHandleRect(bool hide) {
    cropBorderView_->setHideHandleRect(hide);
}

void RVClipView::hideDecorations() {
    decorationsHidden_ = true;
    toolbarShown_ = false;
    syncChildren();
}

QImage RVClipView::getCapturedImage() const {
    if (screenImage_.isNull())
        return {};
    const double dpr = screenImage_.devicePixelRatio();
    const QRectF r = toQt(model_.contentRect);
    return screenImage_.copy(QRectF(r.topLeft() * dpr, r.size() * dpr).toRect());
}

void RVClipView::syncChildren() {
    const RectD& selection = model_.contentRect;
    const bool hasSelection = selection.width > 0 && selection.height > 0;
    cropBorderView_->setGeometry(toQt(model_.contentFrame).toRect());
    cropBorderView_->setVisible(hasSelection);
    contentView_->setGeometry(toQt(selection).toRect());
    contentView_->setVisible(hasSelection);
    indicatorField_->setText(QString::asprintf("%.fx%.f", selection.width, selection.height));
    resetIndicatorField();
    resetToolBarFrame();
    hintLabel_->setVisible(!decorationsHidden_);
    update();
}

void RVClipView::resetToolBarFrame() {
    const bool show = toolbarShown_ && !decorationsHidden_ && model_.contentRect.width > 0;
    toolbarView_->setVisible(show);
    if (!show)
        return;
    toolbarView_->adjustSize();
    const double w = toolbarView_->width();
    const double h = toolbarView_->height();
    const RectD& frame = model_.contentFrame;
    // Below the frame's right end; above it when the screen ends there; inside
    // the selection when neither fits.
    RectD place{frame.maxX() - w, frame.minY() - kToolbarGap - h, w, h};
    if (place.y < 0)
        place.y = frame.maxY() + kToolbarGap;
    if (place.maxY() > height())
        place.y = model_.contentRect.minY() + kToolbarGap;
    place.x = std::clamp(place.x, 0.0, std::max(0.0, width() - w));
    toolbarView_->move(toQt(place).topLeft().toPoint());
    toolbarView_->raise();
}

void RVClipView::resetIndicatorField() {
    const RectD& frame = model_.contentFrame;
    const int textWidth = QFontMetrics(indicatorField_->font()).horizontalAdvance(indicatorField_->text());
    const bool fits = frame.width >= textWidth + kIndicatorTextMargin;
    const bool show = fits && !decorationsHidden_ && model_.contentRect.width > 0;
    indicatorView_->setVisible(show);
    if (!show)
        return;
    const RectD box{frame.maxX() - kIndicatorFromRight, frame.minY() + kIndicatorFromBottom, kIndicatorWidth,
                    kIndicatorHeight};
    indicatorView_->move(toQt(box).topLeft().toPoint());
    indicatorView_->raise();
}

void RVClipView::onModelEvent(ClipModel::Event e) {
    switch (e) {
    case ClipModel::Event::MouseDoubleClick:
        if (delegate_)
            delegate_->clipViewMouseDoubleClick(this);
        break;
    case ClipModel::Event::ClipCurrentWindow:
        if (delegate_)
            delegate_->clipViewClipCurrentWindow(this);
        break;
    case ClipModel::Event::ClipFullScreen:
        if (delegate_)
            delegate_->clipViewClipFullScreen(this);
        break;
    case ClipModel::Event::MouseMoved:
        if (delegate_)
            delegate_->clipViewMouseMoved(this);
        break;
    case ClipModel::Event::ShowToolbar:
        toolbarShown_ = true;
        if (delegate_)
            delegate_->recordViewDidShowToolBar(this);
        break;
    case ClipModel::Event::StartNow:
        startNoteButtonClick();
        break;
    }
}

void RVClipView::startNoteButtonClick() {
    if (delegate_)
        delegate_->clipViewStartNote(this);
}

void RVClipView::cancelBtnAction() {
    if (delegate_)
        delegate_->clipViewCancel(this);
}

void RVClipView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const RectD& selection = model_.contentRect;
    const bool hasSelection = selection.width > 0 && selection.height > 0;
    // Without a frozen screen and without dimming the view is see-through:
    // laid over another picture (the watermark preview), that picture shows.
    const bool seeThrough = screenImage_.isNull() && overlayAlpha_ <= 0;
    if (!seeThrough) {
        // A translucent window without a frozen picture (a Wayland client
        // cannot read the screen) dims the live desktop beneath instead.
        if (!screenImage_.isNull())
            p.drawImage(rect(), screenImage_);
        else if (!window()->testAttribute(Qt::WA_TranslucentBackground))
            p.fillRect(rect(), Qt::black);
        QColor dim(Qt::black);
        dim.setAlphaF(overlayAlpha_);
        if (hasSelection) {
            QRegion outside(rect());
            outside -= QRegion(toQt(selection).toRect());
            p.setClipRegion(outside);
        }
        p.fillRect(rect(), dim);
        p.setClipping(false);
    }
    // The water image fills the selection, which keeps its aspect.
    if (!waterImage_.isNull() && hasSelection) {
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.drawImage(toQt(selection), waterImage_);
    }
}

void RVClipView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    model_.mouseDown(toView(event->position()), 1, now());
    syncChildren();
}

void RVClipView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    model_.mouseDown(toView(event->position()), 2, now());
    syncChildren();
}

void RVClipView::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton)
        model_.mouseDragged(toView(event->position()));
    else
        model_.mouseMoved(toView(event->position()), now());
    syncChildren();
}

void RVClipView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) {
        // rightMouseUp: drop what is being chosen.
        if (delegate_)
            delegate_->clipViewCancleSelected(this);
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    model_.mouseUp(toView(event->position()), now());
    syncChildren();
}
