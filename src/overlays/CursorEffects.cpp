#include "overlays/CursorEffects.h"

#include <QPainter>
#include <cmath>

void CursorClickState::click() {
    std::lock_guard lock(mutex_);
    values_.isCursorClick = true;
    values_.cursorEffectWidth = kClickWidth;
    ++clicks_;
}

void CursorClickState::reset() {
    std::lock_guard lock(mutex_);
    values_.isCursorClick = false;
    values_.cursorEffectWidth = 0;
    ++clicks_;
}

std::pair<CursorClickState::Values, uint64_t> CursorClickState::loadWithGeneration() const {
    std::lock_guard lock(mutex_);
    return {values_, clicks_};
}

void CursorClickState::commit(const Values& updated, uint64_t generation) {
    std::lock_guard lock(mutex_);
    if (generation == clicks_)
        values_ = updated;
}

CursorEffectsStep stepCursorEffects(CursorClickState::Values& values, ScreenPoint centre, bool isMouseHight,
                                    bool isMouseClickEffect) {
    CursorEffectsStep step;
    const ScreenPoint ringOriginHere{centre.x - 30, centre.y - 30};

    // While a ring stands on the cursor, the ring replaces the highlight.
    step.drawHighlight = isMouseHight && !(values.cursorCenter == ringOriginHere && values.isCursorClick);

    if (isMouseClickEffect && values.isCursorClick && values.cursorEffectWidth > 0) {
        // The first frame after a click fixes where the ring stays.
        if (values.cursorEffectWidth == CursorClickState::kClickWidth)
            values.cursorCenter = ringOriginHere;
        values.cursorEffectWidth += 2;
        if (values.cursorEffectWidth < 60) {
            step.drawRing = true;
            step.ringWidth = values.cursorEffectWidth;
            step.ringOrigin = values.cursorCenter;
        } else {
            values.isCursorClick = false;
            values.cursorEffectWidth = 0;
        }
    }
    return step;
}

namespace {

QImage transparentPicture(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QImage drawRing(float width) {
    QImage image = transparentPicture(CursorEffectPictures::kRingBoxSize);
    const double radius = width / 2.0 - 6;
    if (radius > 0) {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(QColor(56, 116, 175), 3));
        painter.setBrush(Qt::NoBrush);
        const double mid = CursorEffectPictures::kRingBoxSize / 2.0;
        painter.drawEllipse(QPointF(mid, mid), radius, radius);
    }
    return image;
}

} // namespace

const QImage& CursorEffectPictures::highlight() {
    if (highlight_.isNull()) {
        highlight_ = transparentPicture(kHighlightSize);
        QPainter painter(&highlight_);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        QColor cyan(Qt::cyan);
        cyan.setAlphaF(0.6f);
        painter.setBrush(cyan);
        painter.drawEllipse(QRectF(0, 0, kHighlightSize, kHighlightSize));
    }
    return highlight_;
}

const QImage& CursorEffectPictures::ring(float width) {
    const float slot = (width - 32) / 2;
    if (slot >= 0 && slot < static_cast<float>(rings_.size()) && slot == std::floor(slot)) {
        QImage& cached = rings_[static_cast<std::size_t>(slot)];
        if (cached.isNull())
            cached = drawRing(width);
        return cached;
    }
    if (width != oddRingWidth_) {
        oddRing_ = drawRing(width);
        oddRingWidth_ = width;
    }
    return oddRing_;
}
