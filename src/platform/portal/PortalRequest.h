#pragma once

#include <QDBusConnection>
#include <QString>
#include <QVariantList>
#include <QVariantMap>
#include <memory>
#include <mutex>
#include <string>

class QEventLoop;

namespace portalcapture {

// Lets the main thread give up an exchange with the portal that runs on a
// thread of its own: the request the portal is answering is closed there
// (org.freedesktop.portal.Request.Close, which ends its dialog and sends no
// Response), the wait for it ends at once, and no later call is made.
//
// Thread-safe.
class PortalCancel {
public:
    void cancel();
    bool cancelled() const;

private:
    friend class PortalRequest;
    // The waiting thread says what it waits for; null loop: nothing.
    void waitFor(const QString& connectionName, const QString& requestPath, QEventLoop* loop);

    mutable std::mutex mutex_;
    bool cancelled_ = false;
    QString connectionName_;
    QString requestPath_;
    QEventLoop* loop_ = nullptr;
};

// Calls on the desktop portal (org.freedesktop.portal.Desktop) over a
// private session-bus connection, for methods that answer through a Request
// object's Response signal rather than their reply: the handle_token is
// added, the Response subscribed before the call (a portal that answers at
// once would otherwise answer into the void), and the caller's thread waits
// in an event loop of its own for the answer.
//
// Made, used and dropped on one thread, which must not be the main thread
// of a window (the waits may last as long as the user takes to answer).
class PortalRequest {
public:
    // Connects as `connectionName` (unique in the process); check connected().
    explicit PortalRequest(const std::string& connectionName);
    // Leaves the bus connection open: what was opened on it (a screen-cast
    // session) may outlive this object; see disconnect().
    ~PortalRequest() = default;

    bool connected(std::string& error) const;
    // From then on, the calls end early when `cancel` is cancelled.
    void setCancel(std::shared_ptr<PortalCancel> cancel) { cancel_ = std::move(cancel); }
    QDBusConnection& bus() { return bus_; }

    // Calls `method` of `interface` with `arguments` and `options` and waits
    // up to `answerTimeoutMs` for its Response. False with `error` when the
    // portal refused or failed, or the user (or the PortalCancel) cancelled
    // ("`what` was cancelled").
    bool call(const QString& interface, const char* method, QVariantList arguments, QVariantMap options,
              int answerTimeoutMs, const char* what, QVariantMap& results, std::string& error);

    // Closes the named connection (any thread).
    static void disconnect(const std::string& connectionName);

    static const QString kService;
    static const QString kObject;
    // Portal calls that need no answer from the user are quick; anything
    // longer is a portal that hangs.
    static constexpr int kCallTimeoutMs = 10000;

private:
    QString token();

    QDBusConnection bus_;
    std::string connectionName_;
    std::shared_ptr<PortalCancel> cancel_;
    unsigned tokens_ = 0;
};

// A string that D-Bus may carry as a string or as an object path.
QString pathOrString(const QVariant& value);

} // namespace portalcapture
