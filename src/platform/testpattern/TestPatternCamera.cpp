#include "platform/testpattern/TestPatternCamera.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace testpattern {
namespace {

constexpr std::array<uint32_t, 8> kBars = {0xffffffff, 0xffffff00, 0xff00ffff, 0xff00ff00,
                                           0xffff00ff, 0xffff0000, 0xff0000ff, 0xff000000};
constexpr int kSquare = 64;
constexpr int kPoolFrames = 6;

class TestPatternSource : public CaptureSource {
public:
    ~TestPatternSource() override { stop(); }

    bool start(std::string&) override {
        pool_ = FramePool::create(kWidth, kHeight, kPoolFrames);
        stopping_ = false;
        thread_ = std::thread([this] { run(); });
        return true;
    }
    void stop() override {
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        if (thread_.joinable())
            thread_.join();
    }
    CaptureCapabilities capabilities() const override { return {true, false, false}; }
    int frameWidth() const override { return kWidth; }
    int frameHeight() const override { return kHeight; }

private:
    void run() {
        nameCurrentThread("VideoOutputQueue");
        using Clock = std::chrono::steady_clock;
        const auto period =
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / kFps));
        auto deadline = Clock::now();
        long long index = 0;
        std::unique_lock lock(mutex_);
        while (!wake_.wait_until(lock, deadline, [this] { return stopping_; })) {
            lock.unlock();
            if (VideoFramePtr frame = pool_->acquire()) {
                draw(frame->pixels, index);
                frame->captureTime = captureClockNow();
                deliverVideo(frame);
            }
            ++index;
            lock.lock();
            deadline += period;
            if (deadline < Clock::now())
                deadline = Clock::now() + period;
        }
    }

    static void draw(PixelBufferView& pixels, long long index) {
        for (int y = 0; y < pixels.height; ++y) {
            auto* row = reinterpret_cast<uint32_t*>(pixels.row(y));
            for (int x = 0; x < pixels.width; ++x)
                row[x] = barColorAt(x);
        }
        // The square crosses the picture in four seconds and goes round.
        const int left = static_cast<int>((index * 5) % (kWidth - kSquare));
        const int top = (kHeight - kSquare) / 2;
        for (int y = top; y < top + kSquare; ++y) {
            auto* row = reinterpret_cast<uint32_t*>(pixels.row(y));
            for (int x = left; x < left + kSquare; ++x)
                row[x] = 0xffffffff;
        }
    }

    std::shared_ptr<FramePool> pool_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace

bool requestedByEnvironment() {
    const char* value = std::getenv("FRAMEDECK_TEST_CAMERA");
    return value && std::strcmp(value, "1") == 0;
}

uint32_t barColorAt(int x) {
    const int bar = x * static_cast<int>(kBars.size()) / kWidth;
    return kBars[static_cast<std::size_t>(bar < 0 ? 0 : bar >= 8 ? 7 : bar)];
}

std::unique_ptr<CaptureSource> createCamera() {
    return std::make_unique<TestPatternSource>();
}

} // namespace testpattern
