#include "MutterSession.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QThread>
#include <functional>

namespace {

const QString kCast = QStringLiteral("org.gnome.Mutter.ScreenCast");
const QString kRemote = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
// Linux input event code of the left mouse button.
constexpr int kLeftButton = 0x110;

// Only so that a mutter that never answers fails with a message instead of
// running into ctest's timeout.
bool processEventsUntil(const std::function<bool()>& done) {
    const QDeadlineTimer deadline(20000);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return done();
}

QString objectPath(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().first().value<QDBusObjectPath>().path();
}

bool answered(const QDBusMessage& reply, QString& error) {
    if (reply.type() == QDBusMessage::ReplyMessage)
        return true;
    error = reply.errorMessage();
    return false;
}

} // namespace

bool MutterSession::waitForMutter(QString& error) {
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    if (processEventsUntil(
            [&] { return bus->isServiceRegistered(kCast) && bus->isServiceRegistered(kRemote); }))
        return true;
    error = "mutter offers no screen cast on the session bus";
    return false;
}

MutterSession::MutterSession(CursorMode cursor, QString& error) : bus_(QDBusConnection::sessionBus()) {
    error.clear();
    QDBusInterface desktop(kRemote, "/org/gnome/Mutter/RemoteDesktop", kRemote, bus_);
    const QDBusMessage created = desktop.call("CreateSession");
    const QString remotePath = objectPath(created);
    if (remotePath.isEmpty() && !answered(created, error))
        return;
    remote_ = std::make_unique<QDBusInterface>(kRemote, remotePath, kRemote + ".Session", bus_);
    const QString sessionId = remote_->property("SessionId").toString();

    QDBusInterface screenCast(kCast, "/org/gnome/Mutter/ScreenCast", kCast, bus_);
    const QDBusMessage cast =
        screenCast.call("CreateSession", QVariantMap{{"remote-desktop-session-id", sessionId}});
    const QString castPath = objectPath(cast);
    if (castPath.isEmpty() && !answered(cast, error))
        return;
    QDBusInterface castSession(kCast, castPath, kCast + ".Session", bus_);
    // An empty connector: the primary monitor.
    const QDBusMessage recorded = castSession.call(
        "RecordMonitor", QString(), QVariantMap{{"cursor-mode", QVariant::fromValue(uint(cursor))}});
    streamPath_ = objectPath(recorded);
    if (streamPath_.isEmpty() && !answered(recorded, error))
        return;
    bus_.connect(kCast, streamPath_, kCast + ".Stream", "PipeWireStreamAdded", this,
                 SLOT(onStreamAdded(uint)));
    if (!answered(remote_->call("Start"), error))
        return;
    if (!processEventsUntil([&] { return node_ != 0; }))
        error = "mutter announced no stream";
}

MutterSession::~MutterSession() {
    if (remote_)
        remote_->call("Stop");
}

bool MutterSession::movePointer(double x, double y) {
    return remote_ && remote_->call("NotifyPointerMotionAbsolute", streamPath_, x, y).type() ==
                          QDBusMessage::ReplyMessage;
}

bool MutterSession::nudgePointer(double dx, double dy) {
    return remote_ &&
           remote_->call("NotifyPointerMotionRelative", dx, dy).type() == QDBusMessage::ReplyMessage;
}

bool MutterSession::click(double x, double y) {
    // A hand rests a moment before it presses: toolkits take a press that
    // arrives with the pointer's entry as a press somewhere else.
    if (!movePointer(x, y))
        return false;
    QThread::msleep(150);
    if (remote_->call("NotifyPointerButton", kLeftButton, true).type() != QDBusMessage::ReplyMessage)
        return false;
    QThread::msleep(50);
    return remote_->call("NotifyPointerButton", kLeftButton, false).type() == QDBusMessage::ReplyMessage;
}

bool MutterSession::button(bool down) {
    return remote_ &&
           remote_->call("NotifyPointerButton", kLeftButton, down).type() == QDBusMessage::ReplyMessage;
}
