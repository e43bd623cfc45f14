#pragma once

#include <QIcon>
#include <QString>

// The application's own pictures: button glyphs and the tray icon ("icon_18")
// are drawn in code so they stay sharp at any scale and need no image files;
// the window icon is the same SVG the desktop menu shows, compiled into the
// executable. Main thread only (they paint QPixmaps).
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
enum class TrayState {
    Idle,
    Recording,
    Paused,
};

// The tray icon: a film frame with a white lens when idle, a red lamp while
// recording, amber pause bars while paused.
QIcon trayIcon(TrayState state);
// resources/icons/org.framedeck.FrameDeck.svg (its small variant below 32 px).
QIcon applicationIcon();

} // namespace Icons
