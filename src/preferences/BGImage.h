#pragma once

#include <QImage>
#include <QSize>

// The preview's sample picture ("BGImage"): a mock desktop with a wallpaper, a
// top panel, an application window with a title bar and lines of text, and a
// dock. It gives a watermark something to sit on, so that its place and size
// read the way they will in a recording.
//
// As wide as the watermark arithmetic's reference width, 16:9 high.
inline constexpr int kBGImageWidth = 594;
inline constexpr int kBGImageHeight = 334;

// Drawn in code, without text or fonts, so it looks the same everywhere.
// Any thread (plain QImage painting).
QImage makeBGImage();
