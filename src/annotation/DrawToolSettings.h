#pragma once

#include <QColor>
#include <QFont>
#include <QList>

class SettingsStore;

// What the drawing toolbar keeps between sessions: the line width
// ("Linewidth"), the line colour ("LineColor", an r/g/b/a dictionary) and the
// font of texts ("DrawTextFontName" / "DrawTextFontSize"). Plain reads and
// writes, so the defaults are checked without any window. Main thread only.
namespace DrawToolSettings {

// The width menu's three choices, in points: thin enough for handwriting,
// thick enough to be seen in a scaled-down recording.
inline constexpr double kLineWidths[] = {2, 5, 8};
// Out-of-range indexes give the thinnest width.
double lineWidthForIndex(int index);

// 0 when nothing was chosen yet: the canvas draws hairlines until a width is
// picked, as it always has.
double readLineWidth(const SettingsStore& store);
void storeLineWidth(SettingsStore& store, double width);

// The stored colour, always opaque (strokes over the desktop must not fade
// into it); red when none is stored.
QColor readLineColor(const SettingsStore& store);
void storeLineColor(SettingsStore& store, const QColor& color);

// The stored font; the system font at 20 points when none is stored.
QFont readTextFont(const SettingsStore& store);
void storeTextFont(SettingsStore& store, const QFont& font);
// The size texts start with when the user has not chosen a font.
inline constexpr double kDefaultFontSize = 20;

// The colour menu's presets, in menu order.
QList<QColor> presetColors();

} // namespace DrawToolSettings
