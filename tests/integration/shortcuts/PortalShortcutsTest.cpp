#include "stack/PlatformLoader.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QObject>
#include <QTest>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

// Global hotkeys through a real desktop portal: xdg-desktop-portal with KDE's
// backend for GlobalShortcuts, on top of kglobalaccel (the desktop
// scripts/test-desktop --wayland --kde-shortcuts starts). A key press is
// played by asking kglobalaccel to invoke the shortcut, the step it takes
// when the keys bound to it are pressed; the portal then sends Activated.
// KDE's portal of Plasma 5.27 takes the shortcuts from CreateSession only, so
// this fails if they are sent with BindShortcuts alone.

namespace {

// Bound only so that a portal that never answers fails the test with a
// message instead of running into ctest's timeout.
bool waitFor(const std::function<bool()>& done) {
    return QTest::qWaitFor(done, 60000);
}

const QString kAccel = QStringLiteral("org.kde.kglobalaccel");

// The kglobalaccel component that holds a shortcut with this id, as the
// portal registered it for us.
QString componentWith(const QString& id) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QDBusReply<QList<QDBusObjectPath>> components = bus.call(
        QDBusMessage::createMethodCall(kAccel, "/kglobalaccel", "org.kde.KGlobalAccel", "allComponents"));
    if (!components.isValid())
        return {};
    for (const QDBusObjectPath& path : components.value()) {
        const QDBusReply<QStringList> names = bus.call(QDBusMessage::createMethodCall(
            kAccel, path.path(), "org.kde.kglobalaccel.Component", "shortcutNames"));
        if (names.isValid() && names.value().contains(id))
            return path.path();
    }
    return {};
}

bool press(const QString& component, const QString& id) {
    QDBusMessage invoke =
        QDBusMessage::createMethodCall(kAccel, component, "org.kde.kglobalaccel.Component", "invokeShortcut");
    invoke << id << QStringLiteral("default");
    return QDBusConnection::sessionBus().call(invoke).type() == QDBusMessage::ReplyMessage;
}

} // namespace

TEST(PortalShortcuts, BoundShortcutsComeBackByIdWhenPressed) {
    int argc = 1;
    char name[] = "integration_portal_shortcuts";
    char* argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    QObject context;

    std::optional<std::string> bindError;
    std::vector<std::string> pressed;
    auto hotkeys = PlatformLoader::bindPortalHotkeys(
        &context, {{"start-recording", "Start recording"}, {"stop-recording", "Stop recording"}},
        [&](const std::string& id) { pressed.push_back(id); },
        [&](const std::string& error) { bindError = error; });
    ASSERT_TRUE(waitFor([&] { return bindError.has_value(); })) << "the portal never answered";
    ASSERT_EQ(*bindError, "");

    // The portal may hand the shortcuts to kglobalaccel after it answered.
    QString component;
    ASSERT_TRUE(waitFor([&] { return !(component = componentWith("stop-recording")).isEmpty(); }))
        << "kglobalaccel holds no shortcut stop-recording";
    // The second one first: each press comes back with its own id, not the
    // first bound.
    ASSERT_TRUE(press(component, "stop-recording"));
    ASSERT_TRUE(waitFor([&] { return pressed.size() == 1; }));
    ASSERT_TRUE(press(component, "start-recording"));
    ASSERT_TRUE(waitFor([&] { return pressed.size() == 2; }));
    EXPECT_EQ(pressed, (std::vector<std::string>{"stop-recording", "start-recording"}));
}
