#pragma once

#include "selection/RegionSelection.h"
#include "selection/ScreenInfo.h"

#include <QString>
#include <cstdint>
#include <optional>

class RVRecordScreenWindowController;

// What a per-screen overlay tells its owner and asks of the recording
// controller. SelectionSession implements it; the recording controller
// takes over through SelectionSession's signals.
//
// Called on the main thread.
class RVRecordScreenWindowControllerDelegate {
public:
    virtual ~RVRecordScreenWindowControllerDelegate() = default;

    // Messages of the overlay.
    virtual void recordScreenWindowControllerDidSelectRegion(RVRecordScreenWindowController*) {}
    virtual void recordScreenWindowControllerDidCancel(RVRecordScreenWindowController*) {}
    virtual void recordScreenWindowControllerRemoveEventMonitor(RVRecordScreenWindowController*) {}
    virtual void recordScreenWindowControllerFinishRecord(RVRecordScreenWindowController*,
                                                          const QString& fileName, bool saveToLocal) {
        (void)fileName;
        (void)saveToLocal;
    }

    // The recording controller's side.
    virtual int recordVideoType() const = 0;
    virtual bool isShowReverseTime() const = 0;
    virtual bool isDisableChangeScreen() const = 0;
    virtual void setIsDisableChangeScreen(bool disable) = 0;
    // The screen a full-screen recording takes when there are several (the
    // home window's screen pop-up); nullopt: the screen under the pointer.
    virtual std::optional<ScreenInfo> chosenFullScreen() const = 0;
    virtual void changeKeyWindowWithScreen(const ScreenInfo& screen) = 0;
    virtual void setScreen(const ScreenInfo& screen) = 0;
    virtual void setScreenNumber(std::uint32_t number) = 0;
    virtual void setSelectedWindow(std::uint32_t number, const QString& name) = 0;
    // The overlay is gone from the screen and the region is final: record.
    virtual void startRecording(RVRecordScreenWindowController*) = 0;
    // The 0.5 s clock while recording.
    virtual void timerDurationTimeOut() = 0;
};
