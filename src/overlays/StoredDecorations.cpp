#include "overlays/StoredDecorations.h"

#include "app/AppIdentity.h"
#include "app/IndexTables.h"
#include "app/LaunchSettings.h"
#include "app/SettingsSchema.h"

namespace S = SettingsKeys;

namespace {

constexpr unsigned kWatermarkNone = 2;

} // namespace

CursorEffectFlags storedCursorEffectFlags(const KeyValueStore& store) {
    return {store.boolForKey(S::IsMouseHighlight), store.boolForKey(S::IsMouseClickEffect),
            store.boolForKey(S::IsShowMouse)};
}

WatermarkModel storedWatermarkModel(const SettingsStore& store) {
    AppProperties p;
    readWatermarkProperties(store, p);
    // Absent keys: the values the launch load would have written first.
    if (!store.hasKey(S::WatermarkTextString))
        p.watermarkTextString = AppIdentity::displayName();
    if (!store.hasKey(S::WatermarkType))
        p.watermarkType = kWatermarkNone;
    p.timeFramStyles = IndexTables::timeFramStyles(store.integerForKey(S::AppLanguage) < 1);

    WatermarkModel model = loadWatermarkModel(p, store);
    if (model.watermarkType == 0)
        model.watermarkImage = model.saveImageWithText(model.watermarkTextString);
    return model;
}
