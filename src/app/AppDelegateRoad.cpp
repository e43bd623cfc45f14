#include "app/AppDelegate.h"
#include "app/AutoStopCheck.h"
#include "app/FileListStore.h"
#include "app/IndexTables.h"
#include "app/SettingsSchema.h"
#include "core/EMLog.h"
#include "engine/EncodeManager.h"
#include "engine/RecordRequest.h"
#include "engine/audio/AudioDeviceRules.h"
#include "engine/controller/RVRecordManager.h"

#include <QFileInfo>
#include <QPointer>

namespace S = SettingsKeys;

RecordRequest AppDelegate::currentRequest() const {
    RecordRequest r;
    r.recordVideoType = recordVideoTypeFromInt(recordVideoType);
    r.recordAudioType = recordAudioTypeFromInt(recordAudioType);
    r.cameraDevice = selectedCamera.toStdString();
    r.isCaptrue = isCaptrue;
    r.isCaptrueMirrored = isCaptrueMirror;
    r.fps = fps;
    r.videoBitrate = IndexTables::videoBitrateForQuality(framItemIndex);
    r.selectedWindowNumber = selectedWindowNumber;
    r.selectedWindowName = selectedWindowName.toStdString();
    // The split lengths live in the encoder session (the split dialog edits
    // them there); "SplitType" decides at the start which one applies.
    if (recordManager) {
        r.splitTime = recordManager->encodeManager().splitTime;
        r.splitSize = recordManager->encodeManager().splitSize;
    }
    return r;
}

void AppDelegate::recordScreenClicked() {
    autoStop_Duration = 0;
    isShowReverseTime = false;
    recordAfterScreenClicked();
}

void AppDelegate::recordAfterScreenClicked() {
    if (!recordManager)
        return;
    if (recordManager->status != RecordingStatus::Idle) {
        stopRoad();
        return;
    }
    // The desktop is still deciding about the last press: the same press
    // that would stop a recording gives up the wait.
    if (waitingForScreen_) {
        cancelWaitingForScreen();
        return;
    }
    // The last file is still being finished; its end (the list, the state
    // of the window) comes first.
    if (recordManager->encodeManager().isFinishing()) {
        EMLog::showMessage("%s %d the last recording is still being finished", __func__, __LINE__);
        return;
    }
    generateMemoryInfo();
    isAutoStop = store_->boolForKey(S::IsAutoStop);
    progressCount_ = 0;
    fileDuration = 0;
    fileSize = 0;
    const RecordVideoType kind = recordVideoTypeFromInt(recordVideoType);
    if (kind == RecordVideoType::AudioOnly) {
        recordAudio();
    } else if (kind == RecordVideoType::Camera) {
        if (hasCamera && !hasCamera()) {
            emit alertRequested(L("Alert_Camera_Message"));
            return;
        }
        recordVideo();
    } else if (canRecordScreen()) {
        // The overlay chooses the area (full screen chooses itself), counts
        // down, then calls recordSelectedRegion().
        emit regionSelectionRequested();
    }
}

void AppDelegate::recordAudio() {
    startRecordingTo(false, currentRequest());
}

void AppDelegate::recordVideo() {
    startRecordingTo(true, currentRequest());
}

void AppDelegate::recordSelectedRegion(const RecordRequest& region) {
    if (!recordManager || recordManager->status != RecordingStatus::Idle || waitingForScreen_)
        return;
    RecordRequest request = currentRequest();
    request.screenNumber = region.screenNumber;
    request.captureRect = region.captureRect;
    if (region.selectedWindowNumber != 0) {
        selectedWindowNumber = region.selectedWindowNumber;
        selectedWindowName = QString::fromStdString(region.selectedWindowName);
        request.selectedWindowNumber = region.selectedWindowNumber;
        request.selectedWindowName = region.selectedWindowName;
    }
    if (!shareScreen) {
        startRecordingTo(true, request);
        return;
    }
    // The desktop may show its own picker and wait for the user: the start
    // waits for its answer here, with the window live, not inside the
    // capture's start.
    const unsigned question = ++screenQuestion_;
    setWaitingForScreen(true);
    // Given up already, by whoever heard of the wait.
    if (!waitingForScreen_ || question != screenQuestion_)
        return;
    const bool window = request.recordVideoType == RecordVideoType::AppWindow;
    shareScreen(window, request.screenNumber,
                [self = QPointer<AppDelegate>(this), request, question](const QString& error) {
                    if (!self || question != self->screenQuestion_ || !self->waitingForScreen_)
                        return;
                    self->setWaitingForScreen(false);
                    if (!error.isEmpty()) {
                        EMLog::showMessage("%s %d the screen was not shared: %s", __func__, __LINE__,
                                           qPrintable(error));
                        emit self->screenShareFailed(error);
                        return;
                    }
                    if (self->recordManager && self->recordManager->status == RecordingStatus::Idle)
                        self->startRecordingTo(true, request);
                });
}

void AppDelegate::cancelWaitingForScreen() {
    if (!waitingForScreen_)
        return;
    ++screenQuestion_;
    if (cancelShareScreen)
        cancelShareScreen();
    EMLog::showMessage("%s %d the wait for the desktop to share the screen was cancelled", __func__,
                       __LINE__);
    setWaitingForScreen(false);
    emit screenShareCancelled();
}

void AppDelegate::setWindowKindUnavailable(const char* reasonKey) {
    windowKindUnavailableKey_ = reasonKey ? reasonKey : "";
    leaveUnavailableWindowKind();
    emit windowKindAvailabilityChanged();
}

bool AppDelegate::leaveUnavailableWindowKind() {
    if (!*windowKindUnavailableKey_ || recordVideoTypeFromInt(recordVideoType) != RecordVideoType::AppWindow)
        return false;
    EMLog::showMessage("%s %d no window recordings here (%s): full screen instead", __func__, __LINE__,
                       windowKindUnavailableKey_);
    recordVideoType = toInt(RecordVideoType::FullScreen);
    return true;
}

void AppDelegate::setWaitingForScreen(bool waiting) {
    if (waitingForScreen_ == waiting)
        return;
    waitingForScreen_ = waiting;
    emit waitingForScreenChanged(waiting);
}

void AppDelegate::startRecordingTo(bool isVideo, const RecordRequest& base) {
    outputPath = createoutputPath(isVideo);
    RecordRequest request = base;
    request.outputPath = outputPath.toStdString();
    recordManager->configure(request);
    recordManager->startRecording();
    EMLog::showMessage("%s %d recording to %s", __func__, __LINE__, qPrintable(outputPath));
    emit recordingStarted();
}

void AppDelegate::updateRecordingProgress() {
    if (!recordManager || recordManager->status == RecordingStatus::Idle)
        return;
    ++progressCount_;
    EncodeManager& session = recordManager->encodeManager();
    fileDuration = std::max(0.0, session.countRecordedDuration() / 1000.0);
    fileSize = std::max(0.0, session.filesize());
}

void AppDelegate::recordScreenTimeDuration(long long seconds, double bytes) {
    if (!recordManager || recordManager->status == RecordingStatus::Idle)
        return;
    updateRecordingProgress();
    AutoStopCheck::Tick tick;
    tick.autoStop_Duration = autoStop_Duration;
    tick.autoStop_StartTime = autoStop_StartTime;
    tick.autoStop_withTime = autoStop_withTime;
    tick.isAutoStop = isAutoStop;
    tick.isRecordEndSizeType = isRecordEndSizeType;
    tick.recordEndTimeDuration = static_cast<double>(recordEndTimeDuration);
    tick.recordEndFileSize = static_cast<double>(recordEndFileSize);
    tick.now = getNowTimeTimestamp();
    tick.recording = true;
    tick.seconds = seconds;
    tick.bytes = bytes;
    switch (AutoStopCheck::decide(tick)) {
    case AutoStopCheck::Reason::None:
        return;
    case AutoStopCheck::Reason::MenuDelay:
        EMLog::showMessage("%s %d auto stop: %.0f s after the menu's choice", __func__, __LINE__,
                           autoStop_Duration);
        break;
    case AutoStopCheck::Reason::Duration:
        EMLog::showMessage("%s %d auto stop: %lld s recorded", __func__, __LINE__, seconds);
        autoStop_withTime = everyTime;
        break;
    case AutoStopCheck::Reason::FileSize:
        EMLog::showMessage("%s %d auto stop: %.0f bytes written", __func__, __LINE__, bytes);
        autoStop_withTime = everyTime;
        break;
    }
    recordScreenClicked();
}

void AppDelegate::stopRoad() {
    updateRecordingProgress();
    const bool isVideo = recordVideoTypeFromInt(recordVideoType) != RecordVideoType::AudioOnly;
    // The list gets its records first (one per part of a split recording):
    // whatever happens while the session closes, the files are findable.
    const double splitSeconds =
        static_cast<SplitType>(store_->integerForKey(S::SplitType)) == SplitType::ByTime
            ? recordManager->encodeManager().splitTime
            : 0;
    // A recording whose file could not even be made leaves nothing to list.
    if (QFileInfo::exists(outputPath))
        FileListStore::addRecords(
            plistPath(), FileListStore::recordingRecords(outputPath, fileDuration, fileSize, splitSeconds,
                                                         QDateTime::currentDateTime(), isVideo));
    // The file is finished in the background: a long recording must not
    // freeze the window. Until then the window says so.
    recordManager->stopRecordingInBackground([this, path = outputPath] {
        generateMemoryInfo();
        emit durationTextsChanged("00:00:00",
                                  QString::asprintf("%.2f MB / %s", 0.0, qPrintable(systemFreeSpace())));
        emit recordingStopped(path);
        emit fileListRequested();
        if (finshpopIndex == 2)
            emit quitRequested();
        if (!everyTime)
            finshpopIndex = 1;
    });
    if (isAutoStopOnce) {
        store_->setBool(S::IsAutoStop, false);
        isAutoStop = false;
    }
    if (isAutoSplitOnce)
        store_->setInteger(S::SplitType, static_cast<long long>(SplitType::None));
    autoStop_Duration = 0;
    if (recordManager->encodeManager().isFinishing())
        emit recordingFinishing(outputPath);
}

void AppDelegate::pauseOrResumeAction() {
    if (!recordManager || recordManager->status == RecordingStatus::Idle)
        return;
    if (recordManager->status == RecordingStatus::Paused) {
        EMLog::showMessage("%s %d", __func__, __LINE__);
        recordManager->resumeRecording();
        emit recordingPaused(false);
    } else {
        EMLog::showMessage("%s %d", __func__, __LINE__);
        recordManager->pauseRecording();
        emit recordingPaused(true);
    }
}

void AppDelegate::countDownAction(int seconds) {
    isShowReverseTime = true;
    store_->setInteger(S::RecordTimeDuration, seconds == 5 ? 5 : seconds == 10 ? 10 : 3);
    recordAfterScreenClicked();
}

void AppDelegate::startSetsItemChangeAction(int item) {
    const bool recording = recordManager && recordManager->status != RecordingStatus::Idle;
    if (recording) {
        if (item == 1) {
            recordScreenClicked();
            return;
        }
        autoStop_StartTime = getNowTimeTimestamp();
        switch (item) {
        case 2:
            autoStop_Duration = 600;
            break;
        case 3:
            autoStop_Duration = 1200;
            break;
        case 4:
            autoStop_Duration = 1800;
            break;
        default:
            emit autoStopDialogRequested();
            return;
        }
        // Choosing a delay arms it: the tick only counts it down while the
        // menu's stop is armed.
        autoStop_withTime = true;
        return;
    }
    isShowReverseTime = false;
    store_->setInteger(S::StartItemIndex, item - 1);
    if (item == 1)
        recordScreenClicked();
    else if (item == 2)
        emit screenshotRequested();
}

void AppDelegate::timeSetsAction() {
    emit timeSetsDialogRequested();
}

void AppDelegate::autoSplitSetsAction() {
    emit autoSplitDialogRequested();
}

void AppDelegate::autoStopSetsAction(int item) {
    if (item == 1)
        recordAfterScreenClicked();
    emit autoStopDialogRequested();
}

void AppDelegate::areaChangeAction(int kind) {
    generateMemoryInfo();
    recordVideoType = std::clamp(kind, 0, 4);
    if (leaveUnavailableWindowKind())
        emit windowKindAvailabilityChanged();
}

void AppDelegate::frameChangeAction(int index) {
    framItemIndex = index;
    store_->setInteger(S::FramItemIndex, index);
}

void AppDelegate::fpsChangeAction(int index) {
    fpsItemIndex = index;
    fps = IndexTables::fpsForIndex(index);
    store_->setInteger(S::FpsItemIndex, index);
}

void AppDelegate::videoTypeChangeAction(int index) {
    videoTypeBoxIndex = index;
    store_->setInteger(S::VideoTypeIndex, index);
}

void AppDelegate::audioExpChangeAction(int index) {
    audioExtensionIndex = index;
    setAudioExtensionTitle(IndexTables::audioExtensionForIndex(index));
    store_->setInteger(S::AudioTypeIndex, index);
}

void AppDelegate::systemAudioBoxChange(int item) {
    applyAudioItems(item, micphoneItem());
}

void AppDelegate::micphoneBoxChange(int item) {
    applyAudioItems(systemAudioItem(), item);
}

void AppDelegate::applyAudioItems(int systemItem, int micphoneItem) {
    const RecordAudioType kind = AudioDeviceRules::recordAudioTypeForItems(systemItem, micphoneItem);
    recordAudioType = toInt(kind);
    if (recordManager) {
        recordManager->recordAudioType = kind;
        recordManager->switchRecordType(kind);
        recordManager->captrueAudioInputEnable(kind != RecordAudioType::None);
    }
    store_->setInteger(S::RecordAudioType, recordAudioType);
}
