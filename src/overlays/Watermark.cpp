#include "overlays/Watermark.h"

#include "app/IndexTables.h"
#include "app/SettingsSchema.h"
#include "core/EMLog.h"
#include "core/Saturating.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QImageReader>
#include <QPainter>
#include <cmath>

namespace S = SettingsKeys;

namespace {

// Text is laid out in a box this large; longer lines wrap.
constexpr double kMeasureBox = 1080;
// The text is drawn into a box this much wider than the picture, so the
// layout never wraps the last word of a line that measured to the exact
// width; whatever overhangs is cut off by the picture's edge.
constexpr double kDrawingSlack = 40;
constexpr int kTextFlags = Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap;

// Sizes are chosen in points and count one point as one pixel of the frame.
QFont pixelSizedFont(const QFont& font) {
    QFont f = font;
    const double points = font.pointSizeF();
    if (points > 0)
        f.setPixelSize(std::max(1, static_cast<int>(std::lround(points))));
    return f;
}

} // namespace

QImage WatermarkModel::saveImageWithText(const QString& text) const {
    if (text.isEmpty())
        return {};
    const QFont font = pixelSizedFont(textWatermarkFont);
    const QRectF measured =
        QFontMetricsF(font).boundingRect(QRectF(0, 0, kMeasureBox, kMeasureBox), kTextFlags, text);
    const int width = static_cast<int>(std::ceil(measured.width()));
    const int height = static_cast<int>(std::ceil(measured.height()));
    if (width <= 0 || height <= 0)
        return {};

    QImage picture(width, height, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QColor color = textWatermarkColor;
    color.setAlphaF(std::clamp(watermarkAlpha, 0.0f, 1.0f));
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(QRectF(0, 0, width + kDrawingSlack, height), kTextFlags, text);
    return picture;
}

QString WatermarkModel::timeFramStyle() const {
    return IndexTables::timeFramStyleForIndex(timeFramStyles, timeFramStyleIndex);
}

WatermarkPlacement readWatermarkPlacement(const KeyValueStore& store) {
    return {saturatingFloat(store.doubleForKey(S::WatermarkCenterX)),
            saturatingFloat(store.doubleForKey(S::WatermarkCenterY)),
            saturatingFloat(store.doubleForKey(S::WatermarkScale))};
}

WatermarkModel loadWatermarkModel(const AppProperties& p, const KeyValueStore& store) {
    WatermarkModel m;
    if (p.watermarkFontName.isEmpty()) {
        m.textWatermarkFont = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
        m.textWatermarkFont.setPointSize(p.watermarkFontSize);
    } else {
        m.textWatermarkFont = QFont(p.watermarkFontName, p.watermarkFontSize);
    }
    const RGBAColor& c = p.textWatermarkColor;
    m.textWatermarkColor = QColor::fromRgbF(static_cast<float>(c.r), static_cast<float>(c.g),
                                            static_cast<float>(c.b), static_cast<float>(c.a));
    m.timeFramStyleIndex = p.timeFramStyleIndex;
    m.watermarkAlpha = p.watermarkAlpha;
    m.isWatermarkShadow = p.isWatermarkShadow;
    m.watermarkTextString = p.watermarkTextString;
    m.watermarkType = p.watermarkType;
    m.timeFramStyles = p.timeFramStyles;
    m.isTimeTextWatermark = false;

    if (store.hasKey(S::WatermarkImagePath)) {
        const QString path = QString::fromStdString(store.stringForKey(S::WatermarkImagePath));
        QImageReader reader(path);
        QImage image = reader.read();
        if (image.isNull())
            EMLog::showMessage("%s %d watermark picture %s unreadable: %s", __func__, __LINE__,
                               qPrintable(path), qPrintable(reader.errorString()));
        else
            m.watermarkImage = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    }
    return m;
}

QSizeF cappedWatermarkSize(QSizeF picture) {
    if (picture.width() > kWatermarkMaxBaseWidth)
        return {kWatermarkMaxBaseWidth, picture.height() * kWatermarkMaxBaseWidth / picture.width()};
    return picture;
}

WatermarkFrameRect watermarkFrameRect(QSizeF picture, bool timeKind, const WatermarkPlacement& placement,
                                      int frameWidth, int frameHeight) {
    const float k = static_cast<float>(frameWidth) / kWatermarkReferenceWidth * placement.scale;
    const QSizeF base = cappedWatermarkSize(picture);
    WatermarkFrameRect r;
    // A damaged scale (huge, negative, not a number) draws nothing rather
    // than overflowing the conversion; a real one stays far below the limit.
    const auto drawn = [](double size) {
        constexpr double kLimit = 1 << 20;
        return size > 0 && size < kLimit ? static_cast<int>(size) : 0;
    };
    r.width = drawn(k * base.width());
    r.height = drawn(k * base.height());

    double centreX = static_cast<double>(placement.centerX) * frameWidth;
    double centreY = static_cast<double>(placement.centerY) * frameHeight;
    if (timeKind) {
        if (centreX <= 0)
            centreX = r.width / 2.0;
        if (centreY <= 0)
            centreY = r.height / 2.0;
    }
    r.origin = {std::trunc(centreX - r.width / 2.0), centreY - r.height / 2.0};
    return r;
}

WatermarkState::WatermarkState(WatermarkModel model, WatermarkPlacement placement)
    : model_(std::move(model)), placement_(placement) {
}

void WatermarkState::setModel(WatermarkModel model) {
    std::lock_guard lock(mutex_);
    model_ = std::move(model);
    ++generation_;
}

void WatermarkState::setPlacement(const WatermarkPlacement& placement) {
    std::lock_guard lock(mutex_);
    placement_ = placement;
    ++generation_;
}

void WatermarkState::setTimeTextWatermark(bool on) {
    std::lock_guard lock(mutex_);
    model_.isTimeTextWatermark = on;
    ++generation_;
}

WatermarkState::Snapshot WatermarkState::snapshot() const {
    std::lock_guard lock(mutex_);
    return {model_, placement_, generation_};
}

uint64_t WatermarkState::generation() const {
    std::lock_guard lock(mutex_);
    return generation_;
}
