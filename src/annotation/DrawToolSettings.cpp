#include "annotation/DrawToolSettings.h"

#include "app/SettingsSchema.h"
#include "app/SettingsStore.h"

#include <QFontDatabase>
#include <iterator>

namespace DrawToolSettings {

double lineWidthForIndex(int index) {
    if (index < 0 || index >= static_cast<int>(std::size(kLineWidths)))
        return kLineWidths[0];
    return kLineWidths[index];
}

double readLineWidth(const SettingsStore& store) {
    return store.doubleForKey(SettingsKeys::Linewidth);
}

void storeLineWidth(SettingsStore& store, double width) {
    store.setDouble(SettingsKeys::Linewidth, width);
}

QColor readLineColor(const SettingsStore& store) {
    const std::optional<RGBAColor> stored = store.colorDictionaryForKey(SettingsKeys::LineColor);
    if (!stored)
        return Qt::red;
    QColor color = QColor::fromRgbF(static_cast<float>(stored->r), static_cast<float>(stored->g),
                                    static_cast<float>(stored->b));
    return color.isValid() ? color : QColor(Qt::red);
}

void storeLineColor(SettingsStore& store, const QColor& color) {
    store.setColorDictionary(SettingsKeys::LineColor, {color.redF(), color.greenF(), color.blueF(), 1.0});
}

QFont readTextFont(const SettingsStore& store) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    const QString family = store.qstringForKey(SettingsKeys::DrawTextFontName);
    const double size = store.doubleForKey(SettingsKeys::DrawTextFontSize);
    if (!family.isEmpty())
        font.setFamily(family);
    font.setPointSizeF(!family.isEmpty() && size > 0 ? size : kDefaultFontSize);
    return font;
}

void storeTextFont(SettingsStore& store, const QFont& font) {
    store.setString(SettingsKeys::DrawTextFontName, font.family().toStdString());
    store.setDouble(SettingsKeys::DrawTextFontSize, font.pointSizeF());
}

QList<QColor> presetColors() {
    return {QColor(230, 30, 30),  QColor(245, 140, 20), QColor(250, 215, 20), QColor(40, 170, 60),
            QColor(30, 100, 230), QColor(140, 60, 200), QColor(0, 0, 0),      QColor(255, 255, 255)};
}

} // namespace DrawToolSettings
