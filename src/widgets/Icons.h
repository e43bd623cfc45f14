#pragma once

#include <QIcon>
#include <QString>

// The application's own pictures, drawn in code so they stay sharp at any
// scale and need no image files: button glyphs, the tray icon ("icon_18")
// and the window icon. Main thread only (they paint QPixmaps).
namespace Icons {

enum class Glyph {
    Record,
    Stop,
    Pause,
    Resume,
    CameraOn,
    CameraOff,
    Screenshot,
    Timer,
    Split,
    Settings,
    Doodle,
    FileList,
    Home,
    Monitor,
    Area,
    Window,
    Microphone,
};

QIcon glyph(Glyph which, const QColor& color);
// The tray icon; `recording` adds the red dot.
QIcon trayIcon(bool recording);
QIcon applicationIcon();

} // namespace Icons
