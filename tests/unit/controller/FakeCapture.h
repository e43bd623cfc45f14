#pragma once

#include "engine/capture/CaptureFactory.h"

#include <memory>
#include <vector>

// Capture sources the test drives by hand: frames and audio are delivered
// when the test says so, on the test's thread.
class FakeSource : public CaptureSource {
public:
    FakeSource(CaptureCapabilities caps, int width, int height)
        : caps_(caps), width_(width), height_(height) {}
    bool start(std::string& error) override {
        if (failStart) {
            error = "fake failure";
            return false;
        }
        return true;
    }
    void stop() override {}
    CaptureCapabilities capabilities() const override { return caps_; }
    int frameWidth() const override { return width_; }
    int frameHeight() const override { return height_; }

    // A frame of the source's size, filled with one BGRA value.
    void emitFrame(double captureTime, uint32_t color = 0xff204080, bool pictureChanged = true) {
        if (!pool_)
            pool_ = FramePool::create(width_, height_, 8);
        VideoFramePtr frame = pool_->acquire();
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                reinterpret_cast<uint32_t*>(frame->pixels.row(y))[x] = color;
        frame->captureTime = captureTime;
        frame->pictureChanged = pictureChanged;
        deliverVideo(frame);
    }
    void emitAudio(int frames) {
        std::vector<int32_t> samples(static_cast<std::size_t>(frames) * 2, 1000);
        AudioSampleBuffer buffer{samples.data(), 2, 44100, frames};
        deliverAudio(buffer, 0);
    }
    void fail(const std::string& message) { deliverFailure(message); }

    bool failStart = false;

private:
    CaptureCapabilities caps_;
    int width_;
    int height_;
    std::shared_ptr<FramePool> pool_;
};

// Hands out FakeSources and remembers the requests; the test keeps raw
// pointers to the sources it wants to drive.
class FakeFactory : public CaptureFactory {
public:
    std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request) override {
        screenRequests.push_back(request);
        const RVRect& r = request.captureRect;
        auto source =
            std::make_unique<FakeSource>(CaptureCapabilities{true, false, false},
                                         r.isZero() ? request.screen.width : static_cast<int>(r.width),
                                         r.isZero() ? request.screen.height : static_cast<int>(r.height));
        screen = source.get();
        return source;
    }
    std::unique_ptr<CaptureSource> createWindowSource(const WindowCaptureRequest& request) override {
        windowRequests.push_back(request);
        // Without a size the window is the one the desktop let the user pick.
        auto source = std::make_unique<FakeSource>(CaptureCapabilities{true, false, true},
                                                   request.width ? request.width : pickedWindow.width,
                                                   request.height ? request.height : pickedWindow.height);
        screen = source.get();
        return source;
    }
    std::unique_ptr<CaptureSource> createCameraSource(const CameraCaptureRequest&) override {
        return std::make_unique<FakeSource>(CaptureCapabilities{true, false, false}, 64, 48);
    }
    std::unique_ptr<CaptureSource> createAudioSource(const AudioCaptureRequest& request) override {
        audioRequests.push_back(request);
        auto source = std::make_unique<FakeSource>(CaptureCapabilities{false, true, false}, 0, 0);
        source->failStart = audioUnavailable;
        audio = source.get();
        return source;
    }
    std::vector<RVScreen> screens() override { return {{"fake", 0, 0, 320, 240}}; }
    std::vector<CaptureWindowInfo> onScreenWindows() override { return windows; }
    std::vector<CameraInfo> cameras() override { return {{"fake", "Fake camera"}}; }

    std::vector<CaptureWindowInfo> windows;
    struct {
        int width = 0;
        int height = 0;
    } pickedWindow;
    // Audio sources fail to start (the sound server is down).
    bool audioUnavailable = false;
    std::vector<ScreenCaptureRequest> screenRequests;
    std::vector<WindowCaptureRequest> windowRequests;
    std::vector<AudioCaptureRequest> audioRequests;
    FakeSource* screen = nullptr;
    FakeSource* audio = nullptr;
};
