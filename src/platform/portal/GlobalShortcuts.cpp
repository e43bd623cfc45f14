#include "platform/portal/GlobalShortcuts.h"

#include "platform/portal/PortalRequest.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QThread>
#include <algorithm>
#include <atomic>

namespace portalcapture {
namespace {

const QString kGlobalShortcuts = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
// The desktop may show a dialog to confirm the shortcuts: as long as a user
// takes to answer one.
constexpr int kAnswerTimeoutMs = 120000;

std::atomic<unsigned> connectionCounter{0};

// One entry of BindShortcuts' a(sa{sv}).
struct ShortcutEntry {
    QString id;
    QVariantMap properties;
};

} // namespace
} // namespace portalcapture

Q_DECLARE_METATYPE(portalcapture::ShortcutEntry)

QDBusArgument& operator<<(QDBusArgument& argument, const portalcapture::ShortcutEntry& entry) {
    argument.beginStructure();
    argument << entry.id << entry.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, portalcapture::ShortcutEntry& entry) {
    argument.beginStructure();
    argument >> entry.id >> entry.properties;
    argument.endStructure();
    return argument;
}

namespace portalcapture {

// Receives Activated on the context's thread and hands on ours.
class ShortcutReceiver : public QObject {
    Q_OBJECT
public:
    QString sessionHandle;
    GlobalShortcuts::Activated activated;

public slots:
    void onActivated(const QDBusObjectPath& session, const QString& id, qulonglong, const QVariantMap&) {
        if (session.path() == sessionHandle && activated)
            activated(id.toStdString());
    }
};

struct GlobalShortcuts::State {
    std::string connectionName;
    std::string sessionHandle;
    std::string error;
    std::unique_ptr<ShortcutReceiver> receiver;
};

namespace {

// The ids of the shortcuts a portal answer lists, if it lists any.
QStringList listedIds(const QVariantMap& results) {
    QStringList ids;
    const QVariant listed = results.value("shortcuts");
    if (!listed.canConvert<QDBusArgument>())
        return ids;
    const QDBusArgument argument = listed.value<QDBusArgument>();
    if (argument.currentSignature() != "a(sa{sv})")
        return ids;
    QList<ShortcutEntry> entries;
    argument >> entries;
    for (const ShortcutEntry& entry : entries)
        ids.append(entry.id);
    return ids;
}

// On the binding thread: properties, CreateSession, BindShortcuts (unless
// CreateSession bound them already).
void bindOnThread(GlobalShortcuts::State& state, const std::vector<GlobalShortcuts::Shortcut>& shortcuts) {
    PortalRequest portal(state.connectionName);
    if (!portal.connected(state.error))
        return;
    QDBusMessage get = QDBusMessage::createMethodCall(PortalRequest::kService, PortalRequest::kObject,
                                                      "org.freedesktop.DBus.Properties", "GetAll");
    get << kGlobalShortcuts;
    const QDBusMessage reply = portal.bus().call(get, QDBus::Block, PortalRequest::kCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        state.error = "the desktop offers no global shortcuts portal";
        return;
    }
    QList<ShortcutEntry> entries;
    for (const GlobalShortcuts::Shortcut& s : shortcuts)
        entries.append(
            {QString::fromStdString(s.id), {{"description", QString::fromStdString(s.description)}}});
    // The shortcuts go along with CreateSession as well: KDE's portal before
    // Plasma 6 registers a session's shortcuts with kglobalaccel from that
    // option only, answers with them, and its BindShortcuts merely opens the
    // desktop's shortcut settings (on every start, if we called it). Later
    // portals ignore the option and bind in BindShortcuts.
    QVariantMap results;
    if (!portal.call(kGlobalShortcuts, "CreateSession", {},
                     {{"session_handle_token", QStringLiteral("framedeck")},
                      {"shortcuts", QVariant::fromValue(entries)}},
                     PortalRequest::kCallTimeoutMs, "the shortcuts session", results, state.error))
        return;
    state.sessionHandle = pathOrString(results.value("session_handle")).toStdString();
    if (state.sessionHandle.empty()) {
        state.error = "the portal made no shortcuts session";
        return;
    }
    const QStringList bound = listedIds(results);
    if (std::all_of(entries.begin(), entries.end(),
                    [&](const ShortcutEntry& e) { return bound.contains(e.id); }))
        return;
    portal.call(kGlobalShortcuts, "BindShortcuts",
                {QVariant::fromValue(QDBusObjectPath(QString::fromStdString(state.sessionHandle))),
                 QVariant::fromValue(entries), QString()},
                {}, kAnswerTimeoutMs, "binding the shortcuts", results, state.error);
}

} // namespace

GlobalShortcuts::GlobalShortcuts(QObject* context) : context_(context), state_(std::make_shared<State>()) {
    state_->connectionName = "framedeck-shortcuts-" + std::to_string(++connectionCounter);
}

GlobalShortcuts::~GlobalShortcuts() {
    // A binding still under way finishes into a state nobody reads; its
    // connection stays until then.
    if (!state_->receiver)
        return;
    QDBusConnection bus(QString::fromStdString(state_->connectionName));
    if (!state_->sessionHandle.empty()) {
        const QDBusMessage close = QDBusMessage::createMethodCall(
            PortalRequest::kService, QString::fromStdString(state_->sessionHandle),
            "org.freedesktop.portal.Session", "Close");
        bus.call(close, QDBus::Block, PortalRequest::kCallTimeoutMs);
    }
    PortalRequest::disconnect(state_->connectionName);
}

void GlobalShortcuts::bind(std::vector<Shortcut> shortcuts, Activated activated, Bound bound) {
    qDBusRegisterMetaType<ShortcutEntry>();
    qDBusRegisterMetaType<QList<ShortcutEntry>>();
    std::shared_ptr<State> state = state_;
    QThread* thread =
        QThread::create([state, shortcuts = std::move(shortcuts)] { bindOnThread(*state, shortcuts); });
    thread->setObjectName("ShortcutsPortal");
    QObject::connect(thread, &QThread::finished, context_,
                     [state, activated = std::move(activated), bound = std::move(bound)]() mutable {
                         if (state->error.empty()) {
                             state->receiver = std::make_unique<ShortcutReceiver>();
                             state->receiver->sessionHandle = QString::fromStdString(state->sessionHandle);
                             state->receiver->activated = std::move(activated);
                             QDBusConnection(QString::fromStdString(state->connectionName))
                                 .connect(
                                     PortalRequest::kService, PortalRequest::kObject, kGlobalShortcuts,
                                     "Activated", state->receiver.get(),
                                     SLOT(onActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
                         } else {
                             PortalRequest::disconnect(state->connectionName);
                         }
                         bound(state->error);
                     });
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

} // namespace portalcapture

#include "GlobalShortcuts.moc"
