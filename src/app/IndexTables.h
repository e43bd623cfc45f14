#pragma once

#include <QString>
#include <QStringList>

// The fixed lists that settings indices select. Each look-up says what an
// index outside its list gives, since stored indices outlive the lists
// (a language switch shortens the time-format list, a hand-edited file can
// hold anything).
namespace IndexTables {

// "20 fps" ... "30 fps"; "FpsItemIndex".
const QStringList& fpsTitles();
// The rate a title names: the number before the first blank.
double fpsFromTitle(const QString& title);
// The rate of an index; outside the list, the default 25 fps.
double fpsForIndex(long long index);
inline constexpr int kDefaultFpsIndex = 3;

// Localisation keys of the quality titles; "FramItemIndex".
const QStringList& frameTitleKeys();
// 0 → 8000, 1 → 5000, anything else → 3000 kbit/s.
int videoBitrateForQuality(long long index);

// ".mov" ".mp4" ".m4v" ".flv" ".avi"; "VideoTypeIndex". Outside: ".mov".
const QStringList& videoTypes();
QString videoTypeForIndex(long long index);

// ".mp3" ".wav" ".m4a"; "AudioTypeIndex". Outside: ".mp3".
const QStringList& audioExtensions();
QString audioExtensionForIndex(long long index);

// Localisation keys of the audio kinds 0 system, 1 microphone, 2 both, 3 none.
const QStringList& audioKindTitleKeys();
// A stored kind outside 0...3 means system audio, the first-run choice.
unsigned audioKindOrDefault(long long kind);

// Time-watermark patterns: three for an English interface, five for Chinese.
QStringList timeFramStyles(bool englishInterface);
// The pattern of an index; outside the list, the first pattern.
QString timeFramStyleForIndex(const QStringList& styles, long long index);

} // namespace IndexTables
