#include "overlays/WatermarkRenderer.h"

#include "overlays/PictureBlend.h"

#include <QPainter>
#include <algorithm>

WatermarkRenderer::WatermarkRenderer(const WatermarkState& state, Clock now, WeekRules weekRules)
    : state_(state), now_(std::move(now)), weekRules_(weekRules) {
    if (!now_)
        now_ = [] {
            return std::time(nullptr);
        };
}

const QImage* WatermarkRenderer::currentPicture() {
    const WatermarkModel& m = snapshot_.model;
    if (m.isTimeTextWatermark) {
        const std::time_t second = now_();
        if (second != timeSecond_ || snapshot_.generation != timeGeneration_) {
            timeSecond_ = second;
            std::tm local{};
            localtime_r(&second, &local);
            QString text = formatUnicodeDate(m.timeFramStyle(), local, weekRules_);
            // The picture depends on the text and the look; the look is
            // covered by the generation.
            if (text != timeText_ || snapshot_.generation != timeGeneration_) {
                timeText_ = std::move(text);
                timePicture_ = m.saveImageWithText(timeText_);
            }
            timeGeneration_ = snapshot_.generation;
        }
        return &timePicture_;
    }
    if (m.watermarkType == 0 || m.watermarkType == 1)
        return &m.watermarkImage;
    return nullptr;
}

const QImage& WatermarkRenderer::preparedPicture(const QImage& source, const WatermarkFrameRect& rect,
                                                 int frameWidth, int frameHeight, PixelPosition& topLeft) {
    const PixelPosition at = pixelTopFor(rect.origin, rect.height, frameHeight);
    Prepared& p = prepared_;
    const bool same = p.sourceKey == source.cacheKey() && p.topLeft == at && p.width == rect.width &&
                      p.height == rect.height && p.frameWidth == frameWidth && p.frameHeight == frameHeight;
    if (!same) {
        p.sourceKey = source.cacheKey();
        p.topLeft = at;
        p.width = rect.width;
        p.height = rect.height;
        p.frameWidth = frameWidth;
        p.frameHeight = frameHeight;
        // Only the part inside the frame is kept: a large scale never costs
        // more memory than one frame.
        const int left = std::max(0, at.column);
        const int top = std::max(0, at.row);
        const int right = std::min(frameWidth, at.column + rect.width);
        const int bottom = std::min(frameHeight, at.row + rect.height);
        p.visibleTopLeft = {left, top};
        if (right <= left || bottom <= top) {
            p.picture = QImage();
        } else {
            p.picture = QImage(right - left, bottom - top, QImage::Format_ARGB32_Premultiplied);
            p.picture.fill(Qt::transparent);
            QPainter painter(&p.picture);
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.drawImage(QRect(at.column - left, at.row - top, rect.width, rect.height), source);
        }
    }
    topLeft = p.visibleTopLeft;
    return p.picture;
}

WatermarkRenderer::Signature WatermarkRenderer::signature() {
    if (state_.generation() != snapshot_.generation)
        snapshot_ = state_.snapshot();
    Signature s;
    s.generation = snapshot_.generation;
    if (snapshot_.model.isTimeTextWatermark)
        s.second = static_cast<int64_t>(now_());
    return s;
}

std::optional<std::pair<int, int>> WatermarkRenderer::draw(const PixelBufferView& frame) {
    if (state_.generation() != snapshot_.generation)
        snapshot_ = state_.snapshot();
    const QImage* picture = currentPicture();
    if (!picture || picture->isNull())
        return std::nullopt;
    const WatermarkFrameRect rect =
        watermarkFrameRect(QSizeF(picture->size()), snapshot_.model.isTimeTextWatermark, snapshot_.placement,
                           frame.width, frame.height);
    if (rect.width <= 0 || rect.height <= 0)
        return std::nullopt;
    PixelPosition topLeft;
    const QImage& prepared = preparedPicture(*picture, rect, frame.width, frame.height, topLeft);
    if (prepared.isNull())
        return std::nullopt;
    blendPicture(frame, prepared, topLeft);
    return std::make_pair(topLeft.row, topLeft.row + prepared.height());
}
