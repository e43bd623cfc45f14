// The screen source on a real PipeWire server (tests/integration/pulse/
// on-pipewire.sh starts one of its own, with WirePlumber to link streams),
// fed by a video stream this test publishes the way GNOME's and KDE's screen
// casts do: pictures only when they change, and the pointer as cursor
// metadata instead of in the pixels. The portal is not involved (the source
// is handed the node directly), so the cases a desktop cannot be made to
// show on demand are played here: a hidden pointer, a cast that ends.
// gnome_portal_check.sh records GNOME's real cast end to end.
#include "platform/portal/StreamSource.h"

#include "StreamTestSupport.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <mutex>
#include <optional>
#include <pipewire/pipewire.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>
#include <thread>

using namespace std::chrono_literals;
using streamtest::eventually;

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kCursorSide = 16;
constexpr std::size_t kCursorMetaBytes =
    sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + kCursorSide * kCursorSide * 4;

// A screen-cast-like PipeWire source: BGRx pictures of one grey shade, sent
// only when the shade changes, and buffers carrying only cursor metadata when
// only the pointer moved. Everything runs on its own PipeWire thread.
class TestScreenStream {
public:
    TestScreenStream() {
        pw_init(nullptr, nullptr);
        loop_ = pw_thread_loop_new("TestScreen", nullptr);
        context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
        pw_thread_loop_start(loop_);
        pw_thread_loop_lock(loop_);
        core_ = pw_context_connect(context_, nullptr, 0);
        if (core_) {
            stream_ = pw_stream_new(core_, "test screen",
                                    pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                                                      "Source", PW_KEY_MEDIA_CLASS, "Video/Source", nullptr));
            static const pw_stream_events events = [] {
                pw_stream_events e{};
                e.version = PW_VERSION_STREAM_EVENTS;
                e.param_changed = [](void* self, uint32_t id, const spa_pod* param) {
                    if (param && id == SPA_PARAM_Format)
                        static_cast<TestScreenStream*>(self)->negotiated();
                };
                return e;
            }();
            pw_stream_add_listener(stream_, &listener_, &events, this);
            uint8_t storage[512];
            spa_pod_builder b = SPA_POD_BUILDER_INIT(storage, sizeof(storage));
            spa_rectangle size = SPA_RECTANGLE(kWidth, kHeight);
            spa_fraction rate = SPA_FRACTION(0, 1);
            const spa_pod* format = static_cast<const spa_pod*>(spa_pod_builder_add_object(
                &b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
                SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
                SPA_FORMAT_VIDEO_format, SPA_POD_Id(SPA_VIDEO_FORMAT_BGRx), SPA_FORMAT_VIDEO_size,
                SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate)));
            pw_stream_connect(
                stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS), &format, 1);
        }
        pw_thread_loop_unlock(loop_);
    }

    ~TestScreenStream() {
        pw_thread_loop_stop(loop_);
        if (stream_)
            pw_stream_destroy(stream_);
        if (core_)
            pw_core_disconnect(core_);
        pw_context_destroy(context_);
        pw_thread_loop_destroy(loop_);
    }

    // The node's id once the server has made it.
    uint32_t node() {
        for (int i = 0; i < 500; ++i) {
            pw_thread_loop_lock(loop_);
            const uint32_t id = stream_ ? pw_stream_get_node_id(stream_) : SPA_ID_INVALID;
            pw_thread_loop_unlock(loop_);
            if (id != SPA_ID_INVALID)
                return id;
            std::this_thread::sleep_for(10ms);
        }
        return SPA_ID_INVALID;
    }

    // Sends a picture of `shade` with the pointer at `pointer` (nothing:
    // hidden), or only the pointer when the shade is the one sent before.
    void send(uint8_t shade, std::optional<std::pair<int, int>> pointer, bool wholePicture = false) {
        pw_thread_loop_lock(loop_);
        pictureDue_ = wholePicture || shade != shade_ || !sentPicture_;
        shade_ = shade;
        pointer_ = pointer;
        // The buffer is queued before the graph runs, so the reader gets it
        // in this cycle.
        if (stream_) {
            fill();
            pw_stream_trigger_process(stream_);
        }
        pw_thread_loop_unlock(loop_);
    }

    bool cursorMetaAgreed() const { return cursorMetaAgreed_; }

private:
    // PipeWire thread.
    void negotiated() {
        uint8_t storage[512];
        spa_pod_builder b = SPA_POD_BUILDER_INIT(storage, sizeof(storage));
        const spa_pod* params[3];
        params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
            SPA_PARAM_BUFFERS_size, SPA_POD_Int(kWidth * kHeight * 4), SPA_PARAM_BUFFERS_stride,
            SPA_POD_Int(kWidth * 4), SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd)));
        params[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
            SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
        // As the desktops offer it: room for a cursor picture up to a size.
        params[2] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Cursor),
            SPA_PARAM_META_size,
            SPA_POD_CHOICE_RANGE_Int(int(kCursorMetaBytes), int(sizeof(spa_meta_cursor)),
                                     int(kCursorMetaBytes))));
        pw_stream_update_params(stream_, params, 3);
    }

    // Under the loop's lock.
    void fill() {
        pw_buffer* b = pw_stream_dequeue_buffer(stream_);
        if (!b)
            return;

        spa_buffer* buffer = b->buffer;
        spa_data& data = buffer->datas[0];
        if (pictureDue_ && data.data) {
            std::memset(data.data, shade_, std::size_t(kWidth) * kHeight * 4);
            data.chunk->offset = 0;
            data.chunk->stride = kWidth * 4;
            data.chunk->size = kWidth * kHeight * 4;
            sentPicture_ = true;
        } else {
            data.chunk->size = 0; // the pointer moved, the picture did not
        }
        auto* cursor = static_cast<spa_meta_cursor*>(
            spa_buffer_find_meta_data(buffer, SPA_META_Cursor, sizeof(spa_meta_cursor)));
        if (cursor) {
            cursorMetaAgreed_ = true;
            cursor->id = 1;
            cursor->flags = 0;
            cursor->position.x = pointer_ ? pointer_->first : 0;
            cursor->position.y = pointer_ ? pointer_->second : 0;
            cursor->hotspot.x = 0;
            cursor->hotspot.y = 0;
            cursor->bitmap_offset = sizeof(spa_meta_cursor);
            auto* bitmap = SPA_PTROFF(cursor, cursor->bitmap_offset, spa_meta_bitmap);
            bitmap->format = SPA_VIDEO_FORMAT_BGRA;
            // A hidden pointer is an empty picture.
            const int side = pointer_ ? kCursorSide : 0;
            bitmap->size.width = side;
            bitmap->size.height = side;
            bitmap->stride = side * 4;
            bitmap->offset = pointer_ ? sizeof(spa_meta_bitmap) : 0;
            std::memset(SPA_PTROFF(bitmap, sizeof(spa_meta_bitmap), void), 0xff,
                        std::size_t(side) * side * 4);
        }
        pw_stream_queue_buffer(stream_, b);
    }

    pw_thread_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_stream* stream_ = nullptr;
    spa_hook listener_{};
    // Under the loop's lock.
    uint8_t shade_ = 0;
    bool pictureDue_ = false;
    bool sentPicture_ = false;
    std::optional<std::pair<int, int>> pointer_;
    std::atomic<bool> cursorMetaAgreed_{false};
};

// What the source delivered, as the screen thread saw it.
struct Delivered {
    std::mutex mutex;
    int frames = 0;
    int lastShade = -1;
    int originX = 0;
    int originY = 0;
    std::string failure;
};

// A source of the test stream's node, as the portal would hand it over, on a
// monitor at `x`, `y` of the desktop.
std::unique_ptr<CaptureSource> sourceOf(uint32_t node, int x, int y, std::shared_ptr<PointerFeed> feed) {
    ScreenCaptureRequest request;
    request.screen = RVScreen{"TEST-1", x, y, kWidth, kHeight, true};
    request.fps = 30;
    return portalcapture::createStreamSource(request, feed, streamtest::sharedScreen(node, feed != nullptr));
}

// The source waits for the format, which the producer agrees only once it
// is linked: the first picture is sent from the side meanwhile.
void start(CaptureSource& source, TestScreenStream& screen, std::optional<std::pair<int, int>> pointer) {
    std::thread first([&] {
        std::this_thread::sleep_for(200ms);
        screen.send(0x40, pointer);
    });
    std::string error;
    const bool started = source.start(error);
    first.join();
    ASSERT_TRUE(started) << error;
}

// The cast ends last (the user stopped sharing): a recording of it hears of
// that instead of recording a frozen picture, and is never linked to some
// other video source instead.
TEST(StreamSource, FollowsPicturesAndCursorMetadataOfARealStreamUntilItEnds) {
    auto screen = std::make_unique<TestScreenStream>();
    const uint32_t node = screen->node();
    ASSERT_NE(node, SPA_ID_INVALID) << "no PipeWire server to publish on";
    auto feed = std::make_shared<PointerFeed>();
    auto source = sourceOf(node, 100, 50, feed);
    Delivered delivered;
    source->setVideoCallback([&](const VideoFramePtr& frame) {
        std::lock_guard lock(delivered.mutex);
        ++delivered.frames;
        delivered.lastShade = frame->pixels.row(kHeight - 1)[(kWidth - 1) * 4];
        delivered.originX = frame->originX;
        delivered.originY = frame->originY;
    });
    const auto noteFailure = [&](const std::string& message) {
        std::lock_guard lock(delivered.mutex);
        delivered.failure = message;
    };
    source->setFailureCallback(noteFailure);
    ASSERT_NO_FATAL_FAILURE(start(*source, *screen, std::make_pair(10, 20)));
    EXPECT_EQ(source->frameWidth(), kWidth);
    EXPECT_EQ(source->frameHeight(), kHeight);
    EXPECT_TRUE(feed->active()) << "a stream with cursor metadata feeds the decorations' pointer";

    // Sent until it comes through: the link may still be setting up its
    // buffers, and a picture sent before has nowhere to go.
    ASSERT_TRUE(eventually([&] {
        screen->send(0x40, std::make_pair(10, 20), true);
        std::lock_guard lock(delivered.mutex);
        return delivered.lastShade == 0x40;
    })) << "no picture of the stream came out";
    EXPECT_TRUE(screen->cursorMetaAgreed()) << "the stream's buffers carry no cursor metadata";

    // Only the pointer moves: the position is the monitor's origin plus the
    // stream pixel, and the held picture keeps filling the recording.
    screen->send(0x40, std::make_pair(300, 200));
    EXPECT_TRUE(eventually([&] {
        return feed->position() == PointerFeed::Position{400, 250};
    })) << "the pointer did not follow the metadata";
    int framesBefore = 0;
    {
        std::lock_guard lock(delivered.mutex);
        framesBefore = delivered.frames;
        EXPECT_EQ(delivered.originX, 100);
        EXPECT_EQ(delivered.originY, 50);
    }
    EXPECT_TRUE(eventually([&] {
        std::lock_guard lock(delivered.mutex);
        return delivered.frames >= framesBefore + 10 && delivered.lastShade == 0x40;
    })) << "a still stream stopped filling the recording";

    // A new picture, then the pointer hidden (an empty cursor picture).
    screen->send(0x90, std::make_pair(300, 200));
    EXPECT_TRUE(eventually([&] {
        std::lock_guard lock(delivered.mutex);
        return delivered.lastShade == 0x90;
    }));
    screen->send(0x90, std::nullopt);
    EXPECT_TRUE(eventually([&] { return !feed->position().has_value(); }))
        << "a hidden pointer still has a position";
    EXPECT_TRUE(feed->active());

    source->stop();
    EXPECT_FALSE(feed->active()) << "a stopped source leaves the pointer to others";
    const auto failed = [&] {
        std::lock_guard lock(delivered.mutex);
        return !delivered.failure.empty();
    };
    EXPECT_FALSE(failed()) << delivered.failure;

    auto last = sourceOf(node, 0, 0, nullptr);
    last->setFailureCallback(noteFailure);
    ASSERT_NO_FATAL_FAILURE(start(*last, *screen, std::nullopt));
    screen.reset();
    EXPECT_TRUE(eventually(failed)) << "the end of the stream went unnoticed";
    last->stop();
}

} // namespace
