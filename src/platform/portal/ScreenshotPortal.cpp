#include "core/EMLog.h"
#include "platform/portal/PortalCapture.h"
#include "platform/portal/PortalRequest.h"

#include <QCoreApplication>
#include <QThread>
#include <QUrl>
#include <atomic>

namespace portalcapture {
namespace {

const QString kScreenshot = QStringLiteral("org.freedesktop.portal.Screenshot");
// Without a dialog the portal answers in about the time the compositor takes
// to copy the screen; a desktop that asks for permission the first time
// waits for the user, as the screen cast's picker does.
constexpr int kAnswerTimeoutMs = 120000;

std::atomic<unsigned> connectionCounter{0};

struct Shot {
    QImage image;
    std::string error;
};

// On a thread of the portal's own: asks, waits, reads the file it names.
Shot askPortal() {
    Shot shot;
    const std::string name = "framedeck-screenshot-" + std::to_string(++connectionCounter);
    {
        PortalRequest portal(name);
        QVariantMap results;
        if (portal.connected(shot.error) &&
            portal.call(kScreenshot, "Screenshot", {QString()}, {{"interactive", false}}, kAnswerTimeoutMs,
                        "the screenshot", results, shot.error)) {
            const QUrl uri(results.value("uri").toString());
            if (!uri.isLocalFile())
                shot.error = "the portal named no picture file: '" + uri.toString().toStdString() + "'";
            else if (!shot.image.load(uri.toLocalFile()))
                shot.error = "cannot read the portal's picture " + uri.toLocalFile().toStdString();
        }
    }
    PortalRequest::disconnect(name);
    if (!shot.image.isNull())
        shot.image = shot.image.convertToFormat(QImage::Format_RGB32);
    return shot;
}

} // namespace

void takeScreenshot(QObject* context,
                    std::function<void(const QImage& image, const std::string& error)> done) {
    if (!QCoreApplication::instance()) {
        done({}, "the screenshot portal needs an application object");
        return;
    }
    auto shot = std::make_shared<Shot>();
    QThread* thread = QThread::create([shot] { *shot = askPortal(); });
    thread->setObjectName("ScreenshotPortal");
    QObject::connect(thread, &QThread::finished, context,
                     [shot, done = std::move(done)] { done(shot->image, shot->error); });
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

QImage takeScreenshot(std::string& error) {
    if (!QCoreApplication::instance()) {
        error = "the screenshot portal needs an application object";
        return {};
    }
    Shot shot;
    std::unique_ptr<QThread> thread(QThread::create([&shot] { shot = askPortal(); }));
    thread->setObjectName("ScreenshotPortal");
    thread->start();
    thread->wait();
    error = shot.error;
    return shot.image;
}

} // namespace portalcapture
