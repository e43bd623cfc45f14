// A window to share in GNOME's window picker, for the GNOME portal check:
//   fd_test_gnome_window ID WIDTH HEIGHT R G B TITLE
// shows a WIDTHxHEIGHT window of one colour on the compositor (run with
// QT_QPA_PLATFORM=wayland) and lists it, under mutter's window id ID, in a
// stand-in for GNOME Shell's window list. GNOME's portal fills its dialog
// from that list (org.gnome.Shell.Introspect) and records the chosen window
// through mutter by that id; without GNOME Shell nobody else offers it.
#include <QColor>
#include <QDBusConnection>
#include <QDBusMetaType>
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <iostream>

using WindowList = QMap<quint64, QVariantMap>;

namespace {

class ColourWindow : public QRasterWindow {
public:
    explicit ColourWindow(QColor colour) : colour_(colour) {}

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(QRect(QPoint(), size()), colour_); }

private:
    QColor colour_;
};

// Only what GNOME's portal asks of the shell: the window list, and, from
// version 2 of the interface on, whether animations are on (which its
// Settings interface passes on to applications).
class ShellIntrospect : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.Shell.Introspect")
    Q_PROPERTY(uint version READ version)
    Q_PROPERTY(bool AnimationsEnabled READ animationsEnabled)
public:
    explicit ShellIntrospect(WindowList windows) : windows_(std::move(windows)) {}
    uint version() const { return 3; }
    bool animationsEnabled() const { return false; }

public slots:
    WindowList GetWindows() const { return windows_; }

private:
    WindowList windows_;
};

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 8) {
        std::cerr << "usage: fd_test_gnome_window ID WIDTH HEIGHT R G B TITLE\n";
        return 2;
    }
    // Qt hands this to the compositor as the window's app id.
    QGuiApplication::setDesktopFileName("org.framedeck.TestWindow");
    ColourWindow window(QColor(args[4].toInt(), args[5].toInt(), args[6].toInt()));
    window.setFlag(Qt::FramelessWindowHint); // the window is its colour, edge to edge
    window.setTitle(args[7]);
    window.resize(args[2].toInt(), args[3].toInt());
    window.show();

    qDBusRegisterMetaType<WindowList>();
    ShellIntrospect shell(
        {{args[1].toULongLong(), {{"title", args[7]}, {"app-id", QGuiApplication::desktopFileName()}}}});
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject("/org/gnome/Shell/Introspect", &shell,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties) ||
        !bus.registerService("org.gnome.Shell.Introspect")) {
        std::cerr << "fd_test_gnome_window: cannot offer org.gnome.Shell.Introspect\n";
        return 1;
    }
    return app.exec();
}

#include "GnomeWindow.moc"
