// Plays the user on a headless mutter for scripts: sees the screen through a
// screen cast of its own and moves and clicks through mutter's
// remote-desktop interface. One command per line on standard input, one
// answer line ("ok" or "error: ...") per command:
//   move X Y     the pointer to X,Y of the primary monitor
//   nudge DX DY  the pointer by DX,DY from where it is (onto other monitors)
//   click X Y    a left click there
//   press        the left button down where the pointer is
//   release      and up again
//   shot PATH    the screen as it is now, as a PNG picture
//   pixel X Y    the colour at X,Y now, answered as "R G B"
#include "StreamTestSupport.h"
#include "platform/portal/StreamSource.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QImage>
#include <QObject>
#include <QString>
#include <QThread>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>

namespace {

const QString kCast = QStringLiteral("org.gnome.Mutter.ScreenCast");
const QString kRemote = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
// Linux input event code of the left mouse button.
constexpr int kLeftButton = 0x110;
// mutter's screen-cast cursor mode that draws the pointer into the pictures.
constexpr uint kCursorEmbedded = 1;

// Only so that a mutter that never answers fails with a message instead of
// running into ctest's timeout.
bool processEventsUntil(const std::function<bool()>& done) {
    const QDeadlineTimer deadline(20000);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return done();
}

bool answered(const QDBusMessage& reply, QString* error = nullptr) {
    if (reply.type() == QDBusMessage::ReplyMessage)
        return true;
    if (error)
        *error = reply.errorMessage();
    return false;
}

// The object path a call answered with; empty, with `error` set, when it failed.
QString objectPath(const QDBusMessage& reply, QString& error) {
    if (!answered(reply, &error))
        return {};
    const QString path = reply.arguments().value(0).value<QDBusObjectPath>().path();
    if (path.isEmpty())
        error = "mutter answered with no object path";
    return path;
}

} // namespace

// A remote-desktop session on a running mutter (GNOME's compositor, here
// headless) with a screen cast of its primary monitor in it: the PipeWire
// node of that cast, and the pointer of the session, as GNOME's own portal
// backend asks mutter for them. Every call blocks on the session bus.
class MutterSession : public QObject {
    Q_OBJECT
public:
    // Waits (up to twenty seconds) for mutter's interfaces on the bus.
    static bool waitForMutter(QString& error) {
        QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
        if (processEventsUntil(
                [&] { return bus->isServiceRegistered(kCast) && bus->isServiceRegistered(kRemote); }))
            return true;
        error = "mutter offers no screen cast on the session bus";
        return false;
    }

    // The session, started, with its stream announced (the pointer drawn
    // into the pictures); empty `error` on success.
    explicit MutterSession(QString& error) : bus_(QDBusConnection::sessionBus()) {
        error.clear();
        QDBusInterface desktop(kRemote, "/org/gnome/Mutter/RemoteDesktop", kRemote, bus_);
        const QString remotePath = objectPath(desktop.call("CreateSession"), error);
        if (remotePath.isEmpty())
            return;
        remote_ = std::make_unique<QDBusInterface>(kRemote, remotePath, kRemote + ".Session", bus_);
        const QString sessionId = remote_->property("SessionId").toString();

        QDBusInterface screenCast(kCast, "/org/gnome/Mutter/ScreenCast", kCast, bus_);
        const QString castPath = objectPath(
            screenCast.call("CreateSession", QVariantMap{{"remote-desktop-session-id", sessionId}}), error);
        if (castPath.isEmpty())
            return;
        QDBusInterface castSession(kCast, castPath, kCast + ".Session", bus_);
        // An empty connector: the primary monitor.
        streamPath_ =
            objectPath(castSession.call("RecordMonitor", QString(),
                                        QVariantMap{{"cursor-mode", QVariant::fromValue(kCursorEmbedded)}}),
                       error);
        if (streamPath_.isEmpty())
            return;
        bus_.connect(kCast, streamPath_, kCast + ".Stream", "PipeWireStreamAdded", this,
                     SLOT(onStreamAdded(uint)));
        if (answered(remote_->call("Start"), &error) && !processEventsUntil([&] { return node_ != 0; }))
            error = "mutter announced no stream";
    }
    ~MutterSession() override {
        if (remote_)
            remote_->call("Stop");
    }

    uint node() const { return node_; }
    bool movePointer(double x, double y) {
        return remote_ && answered(remote_->call("NotifyPointerMotionAbsolute", streamPath_, x, y));
    }
    // By dx,dy from where it is: onto monitors this session does not cast.
    bool nudgePointer(double dx, double dy) {
        return remote_ && answered(remote_->call("NotifyPointerMotionRelative", dx, dy));
    }
    // The left button down or up where the pointer is (a drag between).
    bool button(bool down) {
        return remote_ && answered(remote_->call("NotifyPointerButton", kLeftButton, down));
    }
    bool click(double x, double y) {
        // A hand rests a moment before it presses: toolkits take a press that
        // arrives with the pointer's entry as a press somewhere else.
        if (!movePointer(x, y))
            return false;
        QThread::msleep(150);
        if (!button(true))
            return false;
        QThread::msleep(50);
        return button(false);
    }

public slots:
    void onStreamAdded(uint id) { node_ = id; }

private:
    QDBusConnection bus_;
    std::unique_ptr<QDBusInterface> remote_;
    QString streamPath_;
    uint node_ = 0;
};

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QString error;
    if (!MutterSession::waitForMutter(error)) {
        std::cout << "error: " << error.toStdString() << std::endl;
        return 1;
    }
    MutterSession session(error);
    if (!error.isEmpty()) {
        std::cout << "error: " << error.toStdString() << std::endl;
        return 1;
    }

    // The monitor's size is the stream's; the source is asked for nothing
    // smaller than it can deliver.
    ScreenCaptureRequest request;
    request.screen = RVScreen{"primary", 0, 0, 0, 0, true};
    request.fps = 10;
    auto source =
        portalcapture::createStreamSource(request, nullptr, streamtest::sharedScreen(session.node()));
    std::mutex mutex;
    QImage last;
    source->setVideoCallback([&](const VideoFramePtr& frame) {
        const QImage picture(frame->pixels.row(0), frame->pixels.width, frame->pixels.height,
                             static_cast<qsizetype>(frame->pixels.stride), QImage::Format_RGB32);
        std::lock_guard lock(mutex);
        last = picture.copy();
    });
    std::string startError;
    if (!source->start(startError)) {
        std::cout << "error: " << startError << std::endl;
        return 1;
    }
    // Ready once a picture is there to answer "pixel" and "shot" with.
    for (int i = 0; i < 200; ++i) {
        {
            std::lock_guard lock(mutex);
            if (!last.isNull())
                break;
        }
        QThread::msleep(50);
    }
    std::cout << "ready " << source->frameWidth() << "x" << source->frameHeight() << std::endl;

    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        bool done = false;
        if (command == "move" || command == "click" || command == "nudge") {
            double x = 0, y = 0;
            words >> x >> y;
            done = words && (command == "move"    ? session.movePointer(x, y)
                             : command == "nudge" ? session.nudgePointer(x, y)
                                                  : session.click(x, y));
        } else if (command == "press" || command == "release") {
            done = session.button(command == "press");
        } else if (command == "pixel") {
            int x = -1, y = -1;
            words >> x >> y;
            std::lock_guard lock(mutex);
            if (words && last.valid(x, y)) {
                const QRgb rgb = last.pixel(x, y);
                std::cout << qRed(rgb) << " " << qGreen(rgb) << " " << qBlue(rgb) << std::endl;
                continue;
            }
        } else if (command == "shot") {
            std::string path;
            words >> path;
            std::lock_guard lock(mutex);
            done = words && !last.isNull() && last.save(QString::fromStdString(path), "PNG");
        }
        std::cout << (done ? "ok" : "error: " + line) << std::endl;
    }
    source->stop();
    return 0;
}

#include "GnomeDriver.moc"
