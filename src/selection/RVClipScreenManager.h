#pragma once

#include "platform/pulse/SoundPlayer.h"
#include "selection/RVClipWindowController.h"

#include <QObject>
#include <memory>
#include <vector>

// The region screenshot: covers every screen with a selection overlay (one
// RVClipWindowController each), lets the user choose a region, and when it
// is taken plays the shutter sound, closes the overlays and saves the
// picture with saveImage. Also owns the shutter sound, which the
// full-screen screenshot plays too.
//
// Main thread only (the sound plays on the player's own thread).
class RVClipScreenManager : public QObject, public RVClipWindowControllerDelegate {
    Q_OBJECT
public:
    // The one manager of the application, created on first use and
    // destroyed with the application object.
    static RVClipScreenManager* sharedInstance();
    // init: prepares the shutter sound. Tests make their own managers.
    explicit RVClipScreenManager(QObject* parent = nullptr);
    ~RVClipScreenManager() override;

    // Opens an overlay on every screen; ignored while a capture runs.
    // Called by the application controller's area-screenshot action.
    void startCapture();
    // Closes every overlay and ends the capture without saving.
    void reset();
    void clearClipWindowControllerArray();
    // Raises the overlays and gives the keyboard to the one under the pointer.
    void showUploadWindowToFront();
    // The shutter sound, without waiting for it.
    void playShutterSound();

    // A capture is in progress: a second startCapture() does nothing.
    bool isWorking = false;
    // The windows on screen when the capture started, front to back.
    std::vector<WindowInfo> arrayRect;
    const std::vector<std::unique_ptr<RVClipWindowController>>& clipWindowControllerArray() const {
        return clipWindowControllerArray_;
    }
    SoundPlayer& audioPlayer() { return *audioPlayer_; }

    // RVClipWindowControllerDelegate
    void changeKeyWindowWithScreen(const ScreenInfo& screen) override;
    void clipWindowController(RVClipWindowController* controller, const QImage& image) override;
    void clipWindowControllerDidCancel(RVClipWindowController* controller) override;
    const std::vector<WindowInfo>& windowsOnScreen() const override { return arrayRect; }

signals:
    // The taken region was stored at `path` and listed in the file list.
    void screenshotSaved(const QString& path);
    // The user left without taking anything.
    void captureCancelled();

private:
    std::unique_ptr<SoundPlayer> audioPlayer_;
    std::shared_ptr<const SoundPlayer::Sound> shutterSound_;
    std::vector<std::unique_ptr<RVClipWindowController>> clipWindowControllerArray_;
};
