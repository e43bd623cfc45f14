#include "platform/portal/PortalRequest.h"

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

PortalRequest::PortalRequest(const std::string& connectionName)
    : bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                         QString::fromStdString(connectionName))) {
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
    if (!ok)
        return false;
    if (!waiter.answered) {
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

QString pathOrString(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value.toString();
}

} // namespace portalcapture

#include "PortalRequest.moc"
