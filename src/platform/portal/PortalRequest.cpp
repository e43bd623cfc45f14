#include "platform/portal/PortalRequest.h"

#include "platform/portal/PortalCapture.h"
#include "platform/portal/PortalRules.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QEventLoop>
#include <QTimer>

namespace portalcapture {

const QString PortalRequest::kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString PortalRequest::kObject = QStringLiteral("/org/freedesktop/portal/desktop");

namespace {

const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");

} // namespace

// Waits for one Request's Response on the calling thread's event loop.
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

void PortalCancel::cancel() {
    std::lock_guard lock(mutex_);
    if (cancelled_)
        return;
    cancelled_ = true;
    if (!requestPath_.isEmpty()) {
        // Sent, not awaited: the caller is the main thread. Only the
        // connection that made the request may close it.
        QDBusConnection bus(connectionName_);
        if (bus.isConnected())
            bus.send(
                QDBusMessage::createMethodCall(PortalRequest::kService, requestPath_, kRequest, "Close"));
    }
    // Queued into the waiting thread's loop; posted before its exec(), the
    // quit still ends it as soon as it runs.
    if (loop_)
        QMetaObject::invokeMethod(loop_, &QEventLoop::quit, Qt::QueuedConnection);
}

bool PortalCancel::cancelled() const {
    std::lock_guard lock(mutex_);
    return cancelled_;
}

void PortalCancel::waitFor(const QString& connectionName, const QString& requestPath, QEventLoop* loop) {
    std::lock_guard lock(mutex_);
    connectionName_ = connectionName;
    requestPath_ = requestPath;
    loop_ = loop;
}

PortalRequest::PortalRequest(const std::string& connectionName)
    : bus_(
          QDBusConnection::connectToBus(QDBusConnection::SessionBus, QString::fromStdString(connectionName))),
      connectionName_(connectionName) {
}

bool PortalRequest::connected(std::string& error) const {
    if (bus_.isConnected())
        return true;
    error = "no session bus: " + bus_.lastError().message().toStdString();
    return false;
}

void PortalRequest::disconnect(const std::string& connectionName) {
    QDBusConnection::disconnectFromBus(QString::fromStdString(connectionName));
}

QString PortalRequest::token() {
    return QStringLiteral("framedeck%1").arg(++tokens_);
}

bool PortalRequest::call(const QString& interface, const char* method, QVariantList arguments,
                         QVariantMap options, int answerTimeoutMs, const char* what, QVariantMap& results,
                         std::string& error) {
    const auto cancelled = [&] {
        error = std::string(what) + " was cancelled";
        return false;
    };
    if (cancel_ && cancel_->cancelled())
        return cancelled();
    const QString handleToken = token();
    options.insert("handle_token", handleToken);
    const QString path =
        QString::fromStdString(requestPath(bus_.baseService().toStdString(), handleToken.toStdString()));
    ResponseWaiter waiter;
    if (!bus_.connect(kService, path, kRequest, "Response", &waiter, SLOT(onResponse(uint, QVariantMap)))) {
        error = std::string("cannot listen for the portal's answer to ") + method;
        return false;
    }
    QEventLoop loop;
    QObject::connect(&waiter, &ResponseWaiter::done, &loop, &QEventLoop::quit);
    if (cancel_)
        cancel_->waitFor(QString::fromStdString(connectionName_), path, &loop);
    QDBusMessage message = QDBusMessage::createMethodCall(kService, kObject, interface, method);
    arguments.append(options);
    message.setArguments(arguments);
    const QDBusMessage reply = bus_.call(message, QDBus::Block, kCallTimeoutMs);
    const bool ok = reply.type() == QDBusMessage::ReplyMessage;
    if (!ok)
        error = std::string("the portal refused ") + method + ": " + reply.errorMessage().toStdString();
    if (ok && !waiter.answered) {
        QTimer::singleShot(answerTimeoutMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    bus_.disconnect(kService, path, kRequest, "Response", &waiter, SLOT(onResponse(uint, QVariantMap)));
    if (cancel_) {
        cancel_->waitFor({}, {}, nullptr);
        if (cancel_->cancelled()) {
            // A close that overtook the call found no request to close.
            if (ok && !waiter.answered)
                bus_.send(QDBusMessage::createMethodCall(kService, path, kRequest, "Close"));
            return cancelled();
        }
    }
    if (!ok)
        return false;
    if (!waiter.answered) {
        // The desktop's dialog may still be up, waiting for a user who went
        // away: withdrawn, so that a late answer starts nothing.
        bus_.send(QDBusMessage::createMethodCall(kService, path, kRequest, "Close"));
        error = std::string("the portal did not answer ") + method;
        return false;
    }
    if (waiter.code != 0) {
        error = waiter.code == 1 ? std::string(what) + " was cancelled"
                                 : std::string("the portal failed ") + method;
        return false;
    }
    results = waiter.results;
    return true;
}

bool isCancellation(const std::string& error) {
    static const std::string kCancelled = " was cancelled";
    return error.size() >= kCancelled.size() &&
           error.compare(error.size() - kCancelled.size(), kCancelled.size(), kCancelled) == 0;
}

QString pathOrString(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value.toString();
}

} // namespace portalcapture

#include "PortalRequest.moc"
