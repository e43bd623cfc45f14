#pragma once

#include <QImage>
#include <QString>

// The countdown's pictures, drawn by the program itself: the numbers
// "1.png" ... "10.png" and their spinning backgrounds "001.png" ... "010.png".
// Any other name is a missing picture: a null image. Square, `side` pixels.
//
// Main thread only (uses fonts).
QImage countdownPicture(const QString& name, int side);
