#pragma once

#include <QDBusConnection>
#include <QDBusInterface>
#include <QObject>
#include <QString>
#include <memory>

// A remote-desktop session on a running mutter (GNOME's compositor, here
// headless) with a screen cast of its primary monitor in it: the PipeWire
// node of that cast, and the pointer of the session. This is
// what GNOME's own portal backend asks mutter for; tests use it to see the
// screen as GNOME shares it and to play a user's hand. Needs a
// QCoreApplication; every call blocks on the session bus.
class MutterSession : public QObject {
    Q_OBJECT
public:
    // Cursor modes of mutter's screen cast.
    enum CursorMode : uint { Hidden = 0, Embedded = 1, Metadata = 2 };

    // Waits (up to twenty seconds) for mutter's interfaces on the bus.
    static bool waitForMutter(QString& error);

    // The session, started, with its stream announced; empty `error` on
    // success.
    explicit MutterSession(CursorMode cursor, QString& error);
    ~MutterSession() override;

    uint node() const { return node_; }
    bool movePointer(double x, double y);
    // By dx,dy from where it is: onto monitors this session does not cast.
    bool nudgePointer(double dx, double dy);
    bool click(double x, double y);
    // The left button down or up where the pointer is (a drag between).
    bool button(bool down);

public slots:
    void onStreamAdded(uint id) { node_ = id; }

private:
    QDBusConnection bus_;
    std::unique_ptr<QDBusInterface> remote_;
    QString streamPath_;
    uint node_ = 0;
};
