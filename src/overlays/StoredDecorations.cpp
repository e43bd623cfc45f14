#include "overlays/StoredDecorations.h"

#include "app/AppIdentity.h"
#include "app/IndexTables.h"
#include "app/SettingsSchema.h"

namespace S = SettingsKeys;

namespace {

// The launch load's sizes: the desktop's font at 20, a named font without a
// stored size at 12.
constexpr int kDefaultWatermarkFontSize = 20;
constexpr int kFallbackFontPointSize = 12;
constexpr unsigned kWatermarkNone = 2;

} // namespace

CursorEffectFlags storedCursorEffectFlags(const KeyValueStore& store) {
    return {store.boolForKey(S::IsMouseHighlight), store.boolForKey(S::IsMouseClickEffect),
            store.boolForKey(S::IsShowMouse)};
}

WatermarkModel storedWatermarkModel(const SettingsStore& store) {
    AppProperties p;
    p.watermarkFontSize = kDefaultWatermarkFontSize;
    if (store.hasKey(S::WatermarkFontName)) {
        p.watermarkFontName = store.qstringForKey(S::WatermarkFontName);
        p.watermarkFontSize = static_cast<int>(store.integerForKey(S::WatermarkPointSize));
        if (p.watermarkFontSize <= 0)
            p.watermarkFontSize = kFallbackFontPointSize;
    }
    // Blue from the green slot, as the launch load restores it.
    if (const auto rgb = store.colorTripleForKey(S::WatermarkColor))
        p.textWatermarkColor = {(*rgb)[0], (*rgb)[1], (*rgb)[1], 1.0};
    else
        p.textWatermarkColor = {0, 0, 0, 1.0};
    p.timeFramStyleIndex = store.integerForKey(S::TimeFramStyleIndex);
    p.watermarkAlpha = static_cast<float>(store.doubleForKey(S::WatermarkAlpha));
    p.isWatermarkShadow = store.boolForKey(S::WatermarkIsShow);
    p.watermarkTextString = store.hasKey(S::WatermarkTextString) ? store.qstringForKey(S::WatermarkTextString)
                                                                 : AppIdentity::displayName();
    // Before any first run the kind is the first-run one: none.
    p.watermarkType = store.hasKey(S::WatermarkType)
                          ? static_cast<unsigned>(store.integerForKey(S::WatermarkType))
                          : kWatermarkNone;
    p.timeFramStyles = IndexTables::timeFramStyles(store.integerForKey(S::AppLanguage) < 1);

    WatermarkModel model = loadWatermarkModel(p, store);
    if (model.watermarkType == 0)
        model.watermarkImage = model.saveImageWithText(model.watermarkTextString);
    return model;
}
