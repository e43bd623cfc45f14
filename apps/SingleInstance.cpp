#include "SingleInstance.h"

#include "app/AppIdentity.h"
#include "core/EMLog.h"

#include <QLocalServer>
#include <QLocalSocket>

namespace {

// Per user: the socket lives in the user's runtime folder.
QString serverName() {
    return AppIdentity::bundleIdentifier();
}

// A running instance answers at once; a dead socket file fails at once.
constexpr int kConnectMilliseconds = 500;

} // namespace

SingleInstance::SingleInstance(QObject* parent) : QObject(parent) {
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::sendToRunning(const QString& request) {
    QLocalSocket socket;
    socket.connectToServer(serverName());
    if (!socket.waitForConnected(kConnectMilliseconds))
        return false;
    socket.write(request.toUtf8() + "\n");
    socket.waitForBytesWritten(kConnectMilliseconds);
    socket.disconnectFromServer();
    return true;
}

bool SingleInstance::listen() {
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(serverName())) {
        // A socket left by a crashed instance: nobody answered above, so it is stale.
        QLocalServer::removeServer(serverName());
        if (!server_->listen(serverName())) {
            EMLog::showMessage("cannot listen for later starts: %s", qPrintable(server_->errorString()));
            return false;
        }
    }
    connect(server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* client = server_->nextPendingConnection()) {
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                while (client->canReadLine())
                    emit requestReceived(QString::fromUtf8(client->readLine()).trimmed());
            });
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
        }
    });
    return true;
}
