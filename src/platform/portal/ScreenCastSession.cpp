#include "platform/portal/ScreenCastSession.h"

#include "platform/portal/PortalRules.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QEventLoop>
#include <QThread>
#include <QTimer>
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

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kObject = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kScreenCast = QStringLiteral("org.freedesktop.portal.ScreenCast");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");
constexpr uint32_t kSourceMonitor = 1;
// The portal keeps the choice until the user revokes it, so the next
// session's restore token starts it without asking.
constexpr uint32_t kPersistUntilRevoked = 2;
// Portal calls that need no answer from the user are quick; anything longer
// is a portal that hangs.
constexpr int kCallTimeoutMs = 10000;

std::atomic<unsigned> connectionCounter{0};

// A string that D-Bus may carry as a string or as an object path.
QString pathOrString(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value.toString();
}

} // namespace

// Waits for one Request's Response on the exchange thread's event loop.
class ResponseWaiter : public QObject {
    Q_OBJECT
public:
    uint code = 2;
    QVariantMap results;
    bool answered = false;

public slots:
    void onResponse(uint responseCode, const QVariantMap& responseResults) {
        code = responseCode;
        results = responseResults;
        answered = true;
        emit done();
    }

signals:
    void done();
};

// The exchange with the portal, on its own thread.
class ScreenCastExchange {
public:
    ScreenCastExchange(ScreenCastSession& session, const ScreenCastRequest& request)
        : session_(session), request_(request) {}

    bool run(std::string& error) {
        session_.connectionName_ = "framedeck-screencast-" + std::to_string(++connectionCounter);
        bus_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                             QString::fromStdString(session_.connectionName_));
        if (!bus_.isConnected()) {
            error = "no session bus: " + bus_.lastError().message().toStdString();
            return false;
        }
        uint32_t available = 0;
        uint32_t version = 0;
        if (!readProperties(available, version, error))
            return false;
        session_.cursorMode_ = chooseCursorMode(available);

        QVariantMap results;
        if (!call("CreateSession", {}, {{"session_handle_token", token()}}, kCallTimeoutMs, results, error))
            return false;
        session_.sessionHandle_ = pathOrString(results.value("session_handle")).toStdString();
        if (session_.sessionHandle_.empty()) {
            error = "the portal made no session";
            return false;
        }
        const QDBusObjectPath sessionPath(QString::fromStdString(session_.sessionHandle_));

        QVariantMap select{
            {"types", kSourceMonitor}, {"multiple", false}, {"cursor_mode", session_.cursorMode_}};
        // Restore tokens came with version 4 of the interface.
        if (version >= 4) {
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
    QString token() { return QStringLiteral("framedeck%1").arg(++tokens_); }

    bool readProperties(uint32_t& cursorModes, uint32_t& version, std::string& error) {
        QDBusMessage get =
            QDBusMessage::createMethodCall(kService, kObject, "org.freedesktop.DBus.Properties", "GetAll");
        get << kScreenCast;
        const QDBusMessage reply = bus_.call(get, QDBus::Block, kCallTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            error = "no screen-cast portal on the session bus: " + reply.errorMessage().toStdString();
            return false;
        }
        const QVariantMap properties = qdbus_cast<QVariantMap>(reply.arguments().first());
        cursorModes = properties.value("AvailableCursorModes").toUInt();
        version = properties.value("version").toUInt();
        return true;
    }

    // Calls `method` with `arguments` and `options` (plus a handle_token) and
    // waits up to `timeoutMs` for its Response.
    bool call(const char* method, QVariantList arguments, QVariantMap options, int timeoutMs,
              QVariantMap& results, std::string& error) {
        const QString handleToken = token();
        options.insert("handle_token", handleToken);
        const QString path =
            QString::fromStdString(requestPath(bus_.baseService().toStdString(), handleToken.toStdString()));
        ResponseWaiter waiter;
        // Subscribed before the call: a portal that answers at once (a
        // restored session, no picker) would otherwise answer into the void.
        if (!bus_.connect(kService, path, kRequest, "Response", &waiter,
                          SLOT(onResponse(uint, QVariantMap)))) {
            error = std::string("cannot listen for the portal's answer to ") + method;
            return false;
        }
        QEventLoop loop;
        QObject::connect(&waiter, &ResponseWaiter::done, &loop, &QEventLoop::quit);
        QDBusMessage message = QDBusMessage::createMethodCall(kService, kObject, kScreenCast, method);
        arguments.append(options);
        message.setArguments(arguments);
        const QDBusMessage reply = bus_.call(message, QDBus::Block, kCallTimeoutMs);
        bool ok = reply.type() == QDBusMessage::ReplyMessage;
        if (!ok)
            error = std::string("the portal refused ") + method + ": " + reply.errorMessage().toStdString();
        if (ok && !waiter.answered) {
            QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
            loop.exec();
        }
        bus_.disconnect(kService, path, kRequest, "Response", &waiter, SLOT(onResponse(uint, QVariantMap)));
        if (!ok)
            return false;
        if (!waiter.answered) {
            error = std::string("the portal did not answer ") + method;
            return false;
        }
        if (waiter.code != 0) {
            error = waiter.code == 1 ? "the screen cast was cancelled"
                                     : std::string("the portal failed ") + method;
            return false;
        }
        results = waiter.results;
        return true;
    }

    // streams: a(ua{sv}), one monitor asked for.
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
            if (properties.contains("size")) {
                const QDBusArgument size = properties.value("size").value<QDBusArgument>();
                int width = 0;
                int height = 0;
                size.beginStructure();
                size >> width >> height;
                size.endStructure();
                session_.width_ = width;
                session_.height_ = height;
            }
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
        const QDBusMessage reply = bus_.call(message, QDBus::Block, kCallTimeoutMs);
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
    QDBusConnection bus_{QString()};
    unsigned tokens_ = 0;
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

void ScreenCastSession::openAsync(const ScreenCastRequest& request, QObject* context, Opened done) {
    // Shared by the thread and the answer: whichever ends last frees it,
    // also when the context went away before the portal answered.
    struct Exchange {
        ScreenCastRequest request;
        std::unique_ptr<ScreenCastSession> session{new ScreenCastSession};
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
        ScreenCastExchange run(*exchange->session, exchange->request);
        exchange->ok = run.run(exchange->error);
    });
    thread->setObjectName("ScreenCastPortal");
    // `finished` comes from the ended thread; both slots run on the context's
    // and the thread object's own (the caller's) thread, in this order.
    QObject::connect(thread, &QThread::finished, context, [exchange, done = std::move(done)] {
        if (exchange->ok)
            done(std::move(exchange->session), {});
        else
            done(nullptr, exchange->error);
    });
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

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
    QDBusConnection::disconnectFromBus(name);
}

} // namespace portalcapture

#include "ScreenCastSession.moc"
