// The screen source on GNOME's own compositor: mutter, headless with one
// virtual monitor, shares its screen through the screen-cast interface that
// GNOME's portal backend drives, asked for the pointer as metadata, and the
// pointer is moved through its remote-desktop interface. This is the cursor
// metadata as GNOME really sends it (pointer moves as buffers without a
// picture, its own cursor images), which the published stream of
// StreamSourceTest.cpp only imitates. Skipped where mutter is not installed.
#include "MutterSession.h"
#include "StreamTestSupport.h"
#include "platform/portal/StreamSource.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <mutex>

using streamtest::eventually;

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

} // namespace

TEST(StreamSource, FollowsGnomesPointerMetadata) {
    const QString mutterBinary = QStandardPaths::findExecutable("mutter");
    if (mutterBinary.isEmpty())
        GTEST_SKIP() << "mutter is not installed";
    int argc = 1;
    char name[] = "integration_gnome_cast";
    char* argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);

    QProcess mutter;
    mutter.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    mutter.setStandardOutputFile(QProcess::nullDevice());
    mutter.start(mutterBinary,
                 {"--headless", "--wayland", "--no-x11", "--wayland-display", "framedeck-mutter",
                  "--virtual-monitor", QString("%1x%2").arg(kWidth).arg(kHeight)});
    ASSERT_TRUE(mutter.waitForStarted()) << "mutter did not start";
    struct Stop {
        QProcess& process;
        ~Stop() {
            process.terminate();
            if (!process.waitForFinished(5000))
                process.kill();
        }
    } stop{mutter};
    QString error;
    ASSERT_TRUE(MutterSession::waitForMutter(error)) << error.toStdString();
    // The portal asks for the pointer as metadata; so does this session.
    MutterSession session(MutterSession::Metadata, error);
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    ASSERT_TRUE(session.movePointer(40, 40));

    ScreenCaptureRequest request;
    request.screen = RVScreen{"Meta-0", 0, 0, kWidth, kHeight, true};
    request.fps = 30;
    auto feed = std::make_shared<PointerFeed>();
    const uint32_t node = session.node();
    auto source = portalcapture::createStreamSource(request, feed, [node](std::string& error) {
        std::optional<portalcapture::SharedScreen> shared(std::in_place);
        shared->remote = streamtest::connectToServer();
        if (shared->remote.get() < 0) {
            error = "cannot connect to PipeWire";
            return std::optional<portalcapture::SharedScreen>();
        }
        shared->node = node;
        shared->cursorMetadata = true;
        return shared;
    });
    std::mutex mutex;
    VideoFramePtr last;
    int frames = 0;
    std::string failure;
    source->setVideoCallback([&](const VideoFramePtr& frame) {
        std::lock_guard lock(mutex);
        last = frame;
        ++frames;
    });
    source->setFailureCallback([&](const std::string& message) {
        std::lock_guard lock(mutex);
        failure = message;
    });
    std::string startError;
    ASSERT_TRUE(source->start(startError)) << startError;
    EXPECT_EQ(source->frameWidth(), kWidth);
    EXPECT_EQ(source->frameHeight(), kHeight);
    ASSERT_TRUE(eventually([&] {
        std::lock_guard lock(mutex);
        return frames > 0;
    })) << "no picture of mutter's monitor came out";
    const auto pixelAt = [&](int x, int y) {
        std::lock_guard lock(mutex);
        const uint8_t* p = last->pixels.row(y) + x * 4;
        return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16;
    };
    const uint32_t background = pixelAt(300, 200);

    // mutter sends a pointer move as a buffer with metadata and no picture;
    // each position must reach the decorations.
    for (const auto& [x, y] : {std::pair{300, 200}, std::pair{520, 90}, std::pair{12, 460}}) {
        ASSERT_TRUE(session.movePointer(x, y));
        EXPECT_TRUE(eventually([&] {
            return feed->position() == PointerFeed::Position{x, y};
        })) << "the pointer moved to "
            << x << "," << y << " but the feed says "
            << (feed->position()
                    ? std::to_string(feed->position()->x) + "," + std::to_string(feed->position()->y)
                    : std::string("hidden"));
    }
    // Still there after many frames: no picture of the still screen hides it,
    // and it is not painted into the pictures (FrameDeck draws its own, and
    // a second arrow would show there).
    int framesBefore = 0;
    {
        std::lock_guard lock(mutex);
        framesBefore = frames;
    }
    ASSERT_TRUE(session.movePointer(300, 200));
    EXPECT_TRUE(eventually([&] {
        std::lock_guard lock(mutex);
        return frames >= framesBefore + 10;
    })) << "a still screen stopped filling the recording";
    EXPECT_EQ(feed->position(), (PointerFeed::Position{300, 200}));
    EXPECT_EQ(pixelAt(300 + 2, 200 + 4), background) << "mutter painted the pointer into the picture";

    source->stop();
    std::lock_guard lock(mutex);
    EXPECT_TRUE(failure.empty()) << failure;
}
