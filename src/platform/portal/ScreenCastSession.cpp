#include "platform/portal/ScreenCastSession.h"

#include "core/EMLog.h"
#include "platform/portal/PortalCapture.h"
#include "platform/portal/PortalRequest.h"
#include "platform/portal/PortalRules.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QThread>
#include <atomic>
#include <fcntl.h>
#include <unistd.h>

namespace portalcapture {

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = other.release();
    }
    return *this;
}

UniqueFd::~UniqueFd() {
    if (fd_ >= 0)
        ::close(fd_);
}

int UniqueFd::release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
}

namespace {

const QString kScreenCast = QStringLiteral("org.freedesktop.portal.ScreenCast");
const QString& kService = PortalRequest::kService;
const QString& kObject = PortalRequest::kObject;
constexpr int kCallTimeoutMs = PortalRequest::kCallTimeoutMs;
// The portal keeps the choice until the user revokes it, so the next
// session's restore token starts it without asking.
constexpr uint32_t kPersistUntilRevoked = 2;

std::atomic<unsigned> connectionCounter{0};

} // namespace

// The exchange with the portal, on its own thread.
class ScreenCastExchange {
public:
    ScreenCastExchange(ScreenCastSession& session, const ScreenCastRequest& request,
                       std::shared_ptr<PortalCancel> cancel = nullptr)
        : session_(session), request_(request),
          portal_(session.connectionName_ = "framedeck-screencast-" + std::to_string(++connectionCounter)) {
        if (cancel)
            portal_.setCancel(std::move(cancel));
    }

    bool run(std::string& error) {
        if (!portal_.connected(error))
            return false;
        uint32_t available = 0;
        uint32_t version = 0;
        uint32_t sourceTypes = 0;
        if (!readProperties(available, version, sourceTypes, error))
            return false;
        if (request_.window && !(sourceTypes & kSourceTypeWindow)) {
            error = "this desktop's screen-cast portal shares whole screens only, not single windows";
            return false;
        }
        session_.window_ = request_.window;
        // A window is recorded as it is, without FrameDeck's cursor
        // decorations: its pointer is left out too where the portal allows.
        session_.cursorMode_ = request_.window && (available & kCursorHidden) ? uint32_t(kCursorHidden)
                                                                              : chooseCursorMode(available);
        if (!request_.window && session_.cursorMode_ != kCursorMetadata)
            EMLog::showMessage("%s %d the portal sends no cursor metadata (cursor modes %u): the desktop's "
                               "own cursor is recorded",
                               __func__, __LINE__, available);

        QVariantMap results;
        if (!call("CreateSession", {}, {{"session_handle_token", QStringLiteral("framedeck")}},
                  kCallTimeoutMs, results, error))
            return false;
        session_.sessionHandle_ = pathOrString(results.value("session_handle")).toStdString();
        if (session_.sessionHandle_.empty()) {
            error = "the portal made no session";
            return false;
        }
        const QDBusObjectPath sessionPath(QString::fromStdString(session_.sessionHandle_));

        QVariantMap select{{"types", request_.window ? kSourceTypeWindow : kSourceTypeMonitor},
                           {"multiple", false},
                           {"cursor_mode", session_.cursorMode_}};
        // Restore tokens came with version 4 of the interface.
        if (version >= 4 && !request_.window) {
            select.insert("persist_mode", kPersistUntilRevoked);
            if (!request_.restoreToken.empty())
                select.insert("restore_token", QString::fromStdString(request_.restoreToken));
        }
        if (!call("SelectSources", {QVariant::fromValue(sessionPath)}, select, kCallTimeoutMs, results,
                  error))
            return false;
        if (!call("Start", {QVariant::fromValue(sessionPath), QString()}, {}, request_.answerTimeoutMs,
                  results, error))
            return false;
        if (!readStream(results, error))
            return false;
        session_.restoreToken_ = results.value("restore_token").toString().toStdString();
        return openRemote(sessionPath, error);
    }

private:
    bool call(const char* method, QVariantList arguments, QVariantMap options, int timeoutMs,
              QVariantMap& results, std::string& error) {
        return portal_.call(kScreenCast, method, std::move(arguments), std::move(options), timeoutMs,
                            "the screen cast", results, error);
    }

    bool readProperties(uint32_t& cursorModes, uint32_t& version, uint32_t& sourceTypes, std::string& error) {
        QDBusMessage get =
            QDBusMessage::createMethodCall(kService, kObject, "org.freedesktop.DBus.Properties", "GetAll");
        get << kScreenCast;
        const QDBusMessage reply = portal_.bus().call(get, QDBus::Block, kCallTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            error = "no screen-cast portal on the session bus: " + reply.errorMessage().toStdString();
            return false;
        }
        const QVariantMap properties = qdbus_cast<QVariantMap>(reply.arguments().first());
        cursorModes = properties.value("AvailableCursorModes").toUInt();
        sourceTypes = properties.value("AvailableSourceTypes").toUInt();
        version = properties.value("version").toUInt();
        return true;
    }
    // A stream property of D-Bus type (ii).
    static std::optional<std::pair<int, int>> intPair(const QVariantMap& properties, const char* key) {
        if (!properties.contains(key))
            return std::nullopt;
        const QDBusArgument pair = properties.value(key).value<QDBusArgument>();
        std::pair<int, int> value;
        pair.beginStructure();
        pair >> value.first >> value.second;
        pair.endStructure();
        return value;
    }

    // streams: a(ua{sv}), one monitor or window asked for.
    bool readStream(const QVariantMap& results, std::string& error) {
        const QDBusArgument streams = results.value("streams").value<QDBusArgument>();
        bool found = false;
        streams.beginArray();
        while (!streams.atEnd()) {
            uint node = 0;
            QVariantMap properties;
            streams.beginStructure();
            streams >> node >> properties;
            streams.endStructure();
            if (found)
                continue;
            found = true;
            session_.node_ = node;
            if (const auto size = intPair(properties, "size")) {
                session_.width_ = size->first;
                session_.height_ = size->second;
            }
            session_.position_ = intPair(properties, "position");
        }
        streams.endArray();
        if (!found)
            error = "the portal started no stream";
        return found;
    }

    bool openRemote(const QDBusObjectPath& sessionPath, std::string& error) {
        QDBusMessage message =
            QDBusMessage::createMethodCall(kService, kObject, kScreenCast, "OpenPipeWireRemote");
        message << QVariant::fromValue(sessionPath) << QVariantMap();
        const QDBusMessage reply = portal_.bus().call(message, QDBus::Block, kCallTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            error = "the portal gave no PipeWire remote: " + reply.errorMessage().toStdString();
            return false;
        }
        const auto fd = reply.arguments().first().value<QDBusUnixFileDescriptor>();
        // Ours to keep after the reply's copy is closed.
        session_.fd_ = UniqueFd(fd.isValid() ? fcntl(fd.fileDescriptor(), F_DUPFD_CLOEXEC, 3) : -1);
        if (session_.fd_.get() < 0) {
            error = "the portal's PipeWire remote is not a file descriptor";
            return false;
        }
        return true;
    }

    ScreenCastSession& session_;
    const ScreenCastRequest& request_;
    PortalRequest portal_;
};

std::unique_ptr<ScreenCastSession> ScreenCastSession::open(const ScreenCastRequest& request,
                                                           std::string& error) {
    if (!QCoreApplication::instance()) {
        error = "the screen-cast portal needs an application object";
        return nullptr;
    }
    std::unique_ptr<ScreenCastSession> session(new ScreenCastSession);
    bool ok = false;
    std::string why;
    // Its own thread and event loop, so that the waits for the portal's
    // answers need no event loop on the caller's thread.
    std::unique_ptr<QThread> thread(QThread::create([&] {
        ScreenCastExchange exchange(*session, request);
        ok = exchange.run(why);
    }));
    thread->setObjectName("ScreenCastPortal");
    thread->start();
    thread->wait();
    if (!ok) {
        error = why;
        return nullptr; // the destructor closes what was opened
    }
    return session;
}

namespace {

// One openAsync() not answered yet, a child of its context: cancelOpening()
// finds it there, and deleting it drops the answer's connection.
class PendingScreenCast : public QObject {
    Q_OBJECT
public:
    PendingScreenCast(std::shared_ptr<PortalCancel> cancel, QObject* context)
        : QObject(context), cancel_(std::move(cancel)) {}
    void cancel() { cancel_->cancel(); }

private:
    std::shared_ptr<PortalCancel> cancel_;
};

} // namespace

void ScreenCastSession::openAsync(const ScreenCastRequest& request, QObject* context, Opened done) {
    // Shared by the thread and the answer: whichever ends last frees it,
    // also when the context went away before the portal answered.
    struct Exchange {
        ScreenCastRequest request;
        std::unique_ptr<ScreenCastSession> session{new ScreenCastSession};
        std::shared_ptr<PortalCancel> cancel = std::make_shared<PortalCancel>();
        bool ok = false;
        std::string error;
    };
    auto exchange = std::make_shared<Exchange>();
    exchange->request = request;
    if (!QCoreApplication::instance()) {
        done(nullptr, "the screen-cast portal needs an application object");
        return;
    }
    QThread* thread = QThread::create([exchange] {
        ScreenCastExchange run(*exchange->session, exchange->request, exchange->cancel);
        exchange->ok = run.run(exchange->error) && !exchange->cancel->cancelled();
        // What the portal made of a session given up is closed here, where
        // waiting for the portal's reply blocks no window.
        if (!exchange->ok)
            exchange->session.reset();
    });
    thread->setObjectName("ScreenCastPortal");
    auto* pending = new PendingScreenCast(exchange->cancel, context);
    // `finished` comes from the ended thread; the slots run on the context's
    // and the thread object's own (the caller's) thread, in this order.
    QObject::connect(thread, &QThread::finished, pending,
                     [pending, exchange, done = std::move(done)]() mutable {
                         // Taken out first: the connection goes with `pending`, which goes
                         // before `done` runs (it may ask again).
                         const Opened answer = std::move(done);
                         const std::shared_ptr<Exchange> ended = exchange;
                         delete pending;
                         if (ended->ok)
                             answer(std::move(ended->session), {});
                         else
                             answer(nullptr, ended->error);
                     });
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

void ScreenCastSession::cancelOpening(QObject* context) {
    for (PendingScreenCast* pending : context->findChildren<PendingScreenCast*>(Qt::FindDirectChildrenOnly)) {
        pending->cancel();
        delete pending;
    }
}

void readSourceTypes(QObject* context, std::function<void(uint32_t types, const std::string& error)> done) {
    QDBusMessage get =
        QDBusMessage::createMethodCall(kService, kObject, "org.freedesktop.DBus.Properties", "Get");
    get << kScreenCast << QStringLiteral("AvailableSourceTypes");
    // The application's own connection: a property read needs no thread.
    auto* watcher =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(get, kCallTimeoutMs), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [watcher, done = std::move(done)] {
        watcher->deleteLater();
        const QDBusMessage reply = watcher->reply();
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            done(0, "no screen-cast portal answered: " + reply.errorMessage().toStdString());
            return;
        }
        done(qdbus_cast<QDBusVariant>(reply.arguments().first()).variant().toUInt(), {});
    });
}

// The rest of the broker is with the screen source it hands sessions to
// (PortalSource.cpp); giving up belongs with the exchange it ends.
ScreenCastSession::~ScreenCastSession() {
    if (connectionName_.empty())
        return;
    const QString name = QString::fromStdString(connectionName_);
    QDBusConnection bus(name);
    if (!sessionHandle_.empty() && bus.isConnected()) {
        const QDBusMessage close = QDBusMessage::createMethodCall(
            kService, QString::fromStdString(sessionHandle_), "org.freedesktop.portal.Session", "Close");
        bus.call(close, QDBus::Block, kCallTimeoutMs);
    }
    // Leaving the bus also ends a session the portal still holds for us.
    PortalRequest::disconnect(connectionName_);
}

} // namespace portalcapture

#include "ScreenCastSession.moc"
