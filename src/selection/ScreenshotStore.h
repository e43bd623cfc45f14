#pragma once

#include <QImage>
#include <QString>

// Storing screenshots: a PNG beside the recordings and an image record at
// the top of the recorded-file list, and the screenshot of the main display
// that the application controller's screenshot action (and its hotkey)
// takes.
//
// Main thread only.
namespace ScreenshotStore {

// What one save did.
struct SavedImage {
    QString path;
    // The PNG reached the disk; when false the record was still added.
    bool written = false;
    // Length of the PNG data in bytes (0 when it could not be encoded).
    quint64 size = 0;
};

// saveImage: stores `image` as <videos>/FrameDeck/<yyyyMMdd_HHmmss>.png
// (the folder created when missing) and lists it first in the file list.
// Returns the PNG's path. Called by the screenshot action, the region
// screenshot flow and the hotkey.
QString saveImage(const QImage& image);

// <videos>/FrameDeck/<yyyyMMdd_HHmmss>.png for now, the folder created
// (with its parents) when missing.
QString pathForNow();

// The same, to an explicit `path` and list file (`framedeck screenshot
// --output`, tests). The PNG is written to a temporary file and renamed into
// place, so a reader never sees half a picture; a failed write (a read-only
// folder, a full disk) is logged, leaves no partial file, and the record is
// added all the same.
SavedImage saveImageAt(const QImage& image, const QString& path, const QString& plistPath);

// getmainDesktopImage: everything on screen inside the main (primary)
// display, opaque, sized in pixels. A null image when the display cannot be
// read.
QImage getmainDesktopImage();

} // namespace ScreenshotStore

// screenshort: of the application controller: plays the shutter sound, then
// captures the main display and saves it with saveImage. Returns the PNG's
// path, or an empty string when the display could not be captured. Main
// thread; the sound plays on the player's thread without delaying this.
QString takeMainDisplayScreenshot();
