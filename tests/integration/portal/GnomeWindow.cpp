// A window to share in GNOME's window picker, for the GNOME portal check:
//   fd_test_gnome_window WIDTH HEIGHT R G B TITLE
// shows a WIDTHxHEIGHT window of one colour on mutter (run with
// QT_QPA_PLATFORM=wayland), finds the id mutter gave it, lists it under that
// id in a stand-in for GNOME Shell's window list and prints "listed ID".
// GNOME's portal fills its dialog from that list (org.gnome.Shell.Introspect)
// and records the chosen window through mutter by that id; without GNOME
// Shell nobody else offers it. SIGUSR1 halves the window's size, as a user
// resizing it would.
//
// mutter tells no client its window ids, but it does record a window by id,
// and refuses ids it does not know: the id that starts answering once the
// window is up is this window's. mutter counts ids up from a base drawn at
// random, which fixed-window-ids.c (preloaded into mutter) fixes at 1000.
#include <QColor>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QTimer>
#include <atomic>
#include <csignal>
#include <iostream>
#include <memory>
#include <set>

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

std::atomic<bool> halve{false};

constexpr quint64 kFirstId = 1000;
constexpr quint64 kIdsLooked = 400;

// The window ids mutter knows now, found by asking it to record each one (in
// a session never started, on a connection of its own that goes with it).
std::set<quint64> knownWindowIds() {
    std::set<quint64> ids;
    const QString name = QStringLiteral("fd-test-window-ids");
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
        QDBusInterface screenCast("org.gnome.Mutter.ScreenCast", "/org/gnome/Mutter/ScreenCast",
                                  "org.gnome.Mutter.ScreenCast", bus);
        const QDBusReply<QDBusObjectPath> session = screenCast.call("CreateSession", QVariantMap());
        if (session.isValid()) {
            QDBusInterface record("org.gnome.Mutter.ScreenCast", session.value().path(),
                                  "org.gnome.Mutter.ScreenCast.Session", bus);
            for (quint64 id = kFirstId; id < kFirstId + kIdsLooked; ++id)
                if (QDBusReply<QDBusObjectPath>(record.call("RecordWindow", QVariantMap{{"window-id", id}}))
                        .isValid())
                    ids.insert(id);
        } else {
            std::cerr << "fd_test_gnome_window: " << session.error().message().toStdString() << "\n";
        }
    }
    QDBusConnection::disconnectFromBus(name);
    return ids;
}

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 7) {
        std::cerr << "usage: fd_test_gnome_window WIDTH HEIGHT R G B TITLE\n";
        return 2;
    }
    const std::set<quint64> before = knownWindowIds();
    // Qt hands this to the compositor as the window's app id.
    QGuiApplication::setDesktopFileName("org.framedeck.TestWindow");
    ColourWindow window(QColor(args[3].toInt(), args[4].toInt(), args[5].toInt()));
    window.setFlag(Qt::FramelessWindowHint); // the window is its colour, edge to edge
    window.setTitle(args[6]);
    window.resize(args[1].toInt(), args[2].toInt());
    window.show();

    qDBusRegisterMetaType<WindowList>();
    std::unique_ptr<ShellIntrospect> shell;
    // mutter manages the window once its first picture is in; until then
    // no new id answers.
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, [&] {
        std::set<quint64> now = knownWindowIds();
        for (quint64 id : before)
            now.erase(id);
        if (now.empty())
            return;
        look.stop();
        const quint64 id = *now.rbegin();
        shell = std::make_unique<ShellIntrospect>(
            WindowList{{id, {{"title", args[6]}, {"app-id", QGuiApplication::desktopFileName()}}}});
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.registerObject("/org/gnome/Shell/Introspect", shell.get(),
                                QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties) ||
            !bus.registerService("org.gnome.Shell.Introspect")) {
            std::cerr << "fd_test_gnome_window: cannot offer org.gnome.Shell.Introspect\n";
            QCoreApplication::exit(1);
            return;
        }
        std::cout << "listed " << id << std::endl;
    });
    look.start(100);

    std::signal(SIGUSR1, [](int) { halve = true; });
    QTimer resize;
    QObject::connect(&resize, &QTimer::timeout, [&] {
        if (halve.exchange(false))
            window.resize(window.size() / 2);
    });
    resize.start(50);
    return app.exec();
}

#include "GnomeWindow.moc"
