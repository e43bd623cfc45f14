#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

// One FrameDeck per user session. A second start hands its request to the
// running one and ends: a plain start shows the main window again, the
// desktop file's "Show/Hide Main Window" action toggles it. Main thread only.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    // Sends `request` ("show" or "toggle") to a running instance; true when
    // one took it.
    static bool sendToRunning(const QString& request);
    // Starts answering later starts. False (logged) when the name is taken
    // by something that does not answer; the app then runs on regardless.
    bool listen();

signals:
    void requestReceived(const QString& request);

private:
    QLocalServer* server_ = nullptr;
};
