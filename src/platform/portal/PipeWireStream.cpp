#include "platform/portal/PipeWireStream.h"

#include "core/EMLog.h"

#include <condition_variable>
#include <mutex>
#include <pipewire/pipewire.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>
#include <spa/utils/result.h>

namespace portalcapture {
namespace {

struct LoopDeleter {
    void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
};
struct ContextDeleter {
    void operator()(pw_context* context) const { pw_context_destroy(context); }
};
struct CoreDeleter {
    void operator()(pw_core* core) const { pw_core_disconnect(core); }
};
struct StreamDeleter {
    void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
};

// The largest cursor picture the metadata may be sized for. The desktop
// fixes the size on its side and the two must overlap, or no metadata is
// agreed at all and the pointer is lost: GNOME 43 asks for exactly 384x384,
// so this bound is set well above what any desktop uses. The pointer's
// position is what FrameDeck reads; the bitmap only says whether it shows.
constexpr int kCursorMetaSide = 1024;
constexpr std::size_t cursorMetaSize(int side) {
    return sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + static_cast<std::size_t>(side) * side * 4;
}
// Buffers the stream may hold: enough for the portal to fill one while we
// copy another.
constexpr int kMinBuffers = 2;
constexpr int kDefaultBuffers = 4;
constexpr int kMaxBuffers = 16;
constexpr int kLargestSide = 16384;
// Damage regions a buffer may name; a desktop with more to say names one
// that covers them.
constexpr int kDamageRegions = 16;

void initPipeWire() {
    static std::once_flag once;
    std::call_once(once, [] { pw_init(nullptr, nullptr); });
}

} // namespace

struct PipeWireStream::Impl {
    // Destroyed in reverse: the stream before its core, the core before the
    // context, the context before the loop.
    std::unique_ptr<pw_thread_loop, LoopDeleter> loop;
    std::unique_ptr<pw_context, ContextDeleter> context;
    std::unique_ptr<pw_core, CoreDeleter> core;
    std::unique_ptr<pw_stream, StreamDeleter> stream;
    spa_hook coreListener{};
    spa_hook streamListener{};
    bool cursorMetadata = false;
    Callbacks callbacks;

    // Written on the PipeWire thread, read by waitForFormat().
    std::mutex mutex;
    std::condition_variable changed;
    int width = 0;
    int height = 0;
    std::string failure;
    bool failed = false;

    // PipeWire thread only.
    bool streaming = false;
    // The rows changed since the last picture handed on, over buffers given
    // back unread (nothing: not known).
    std::optional<RowBands> pendingRows;

    void fail(const std::string& message) {
        {
            std::lock_guard lock(mutex);
            if (failed)
                return;
            failed = true;
            failure = message;
        }
        changed.notify_all();
        EMLog::showMessage("%s %d screen cast stream: %s", __func__, __LINE__, message.c_str());
        if (callbacks.onFailure)
            callbacks.onFailure(message);
    }

    void formatChanged(const spa_pod* param) {
        spa_video_info_raw info{};
        if (spa_format_video_raw_parse(param, &info) < 0)
            return;
        if (info.format != SPA_VIDEO_FORMAT_BGRx && info.format != SPA_VIDEO_FORMAT_BGRA) {
            fail("the stream offers no BGRx or BGRA pictures");
            return;
        }
        uint8_t storage[1024];
        spa_pod_builder b = SPA_POD_BUILDER_INIT(storage, sizeof(storage));
        const spa_pod* params[5];
        uint32_t count = 0;
        params[count++] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(kDefaultBuffers, kMinBuffers, kMaxBuffers), SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
        params[count++] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header),
            SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(sizeof(spa_meta_header)))));
        if (cursorMetadata)
            params[count++] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
                &b, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
                SPA_POD_Id(SPA_META_Cursor), SPA_PARAM_META_size,
                SPA_POD_CHOICE_RANGE_Int(static_cast<int>(cursorMetaSize(64)),
                                         static_cast<int>(cursorMetaSize(1)),
                                         static_cast<int>(cursorMetaSize(kCursorMetaSide)))));
        // Which rows changed, where the desktop says: the picture is then
        // copied and converted there alone.
        params[count++] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(SPA_META_VideoDamage), SPA_PARAM_META_size,
            SPA_POD_CHOICE_RANGE_Int(static_cast<int>(sizeof(spa_meta_region) * kDamageRegions),
                                     static_cast<int>(sizeof(spa_meta_region)),
                                     static_cast<int>(sizeof(spa_meta_region) * kDamageRegions))));
        // Where in the picture the picture is: a window's stream may send it
        // in a larger frame.
        params[count++] = static_cast<const spa_pod*>(
            spa_pod_builder_add_object(&b, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
                                       SPA_POD_Id(SPA_META_VideoCrop), SPA_PARAM_META_size,
                                       SPA_POD_Int(static_cast<int>(sizeof(spa_meta_region)))));
        pw_stream_update_params(stream.get(), params, count);
        pendingRows.reset(); // what follows is measured against nothing
        {
            std::lock_guard lock(mutex);
            width = static_cast<int>(info.size.width);
            height = static_cast<int>(info.size.height);
        }
        changed.notify_all();
    }

    // Hands on the newest picture; older ones waiting behind it are given
    // back unread (the screen thread only wants the latest). Every buffer's
    // pointer news is read, though: GNOME sends a pointer move as a buffer
    // with metadata and no picture, which may well be the newest one, and
    // its new cursor image may come in a buffer older than that.
    void process() {
        pw_buffer* newestPicture = nullptr;
        while (pw_buffer* next = pw_stream_dequeue_buffer(stream.get())) {
            noteDamage(*next->buffer);
            if (cursorMetadata && callbacks.onCursor)
                if (const std::optional<CursorUpdate> update = readCursorMeta(*next->buffer))
                    callbacks.onCursor(*update);
            if (!hasPicture(*next->buffer)) {
                pw_stream_queue_buffer(stream.get(), next);
                continue;
            }
            if (newestPicture)
                pw_stream_queue_buffer(stream.get(), newestPicture);
            newestPicture = next;
        }
        if (!newestPicture)
            return;
        deliver(*newestPicture->buffer);
        pw_stream_queue_buffer(stream.get(), newestPicture);
    }

    static bool hasPicture(const spa_buffer& buffer) {
        if (buffer.n_datas < 1)
            return false;
        const spa_data& data = buffer.datas[0];
        if (!data.data || !data.chunk || data.chunk->size == 0 ||
            (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED))
            return false;
        auto* header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)));
        return !header || !(header->flags & SPA_META_HEADER_FLAG_CORRUPTED);
    }

    void noteDamage(const spa_buffer& buffer) {
        if (!hasPicture(buffer))
            return; // no picture, so no change to it
        int rows = 0;
        {
            std::lock_guard lock(mutex);
            rows = height;
        }
        const std::optional<RowBands> damage = readDamageRows(buffer, rows);
        if (!damage)
            pendingRows.reset();
        else if (pendingRows)
            pendingRows->add(*damage, rows);
    }

    void deliver(const spa_buffer& buffer) {
        const spa_data& data = buffer.datas[0];
        StreamPicture picture;
        {
            std::lock_guard lock(mutex);
            picture.width = width;
            picture.height = height;
        }
        picture.stride = data.chunk->stride > 0 ? data.chunk->stride : picture.width * 4;
        if (data.chunk->offset + static_cast<uint64_t>(picture.stride) * picture.height > data.maxsize)
            return;
        picture.pixels = static_cast<const uint8_t*>(data.data) + data.chunk->offset;
        picture.changedRows = std::exchange(pendingRows, RowBands{});
        picture.crop = readCropArea(buffer, picture.width, picture.height);
        if (callbacks.onPicture)
            callbacks.onPicture(picture);
    }

    void stateChanged(pw_stream_state state, const char* message) {
        if (state == PW_STREAM_STATE_STREAMING)
            streaming = true;
        else if (state == PW_STREAM_STATE_ERROR)
            fail(message ? message : "the stream failed");
        else if (state == PW_STREAM_STATE_UNCONNECTED && streaming)
            fail("the screen cast ended");
    }
};

namespace {

const pw_stream_events kStreamEvents = [] {
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.state_changed = [](void* data, pw_stream_state, pw_stream_state state, const char* message) {
        static_cast<PipeWireStream::Impl*>(data)->stateChanged(state, message);
    };
    events.param_changed = [](void* data, uint32_t id, const spa_pod* param) {
        if (param && id == SPA_PARAM_Format)
            static_cast<PipeWireStream::Impl*>(data)->formatChanged(param);
    };
    events.process = [](void* data) {
        static_cast<PipeWireStream::Impl*>(data)->process();
    };
    return events;
}();

const pw_core_events kCoreEvents = [] {
    pw_core_events events{};
    events.version = PW_VERSION_CORE_EVENTS;
    events.error = [](void* data, uint32_t id, int, int res, const char* message) {
        // Errors of the core object itself mean the connection is gone.
        if (id == PW_ID_CORE)
            static_cast<PipeWireStream::Impl*>(data)->fail(std::string("PipeWire: ") +
                                                           (message ? message : spa_strerror(res)));
    };
    return events;
}();

} // namespace

PipeWireStream::PipeWireStream(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {
}

std::unique_ptr<PipeWireStream> PipeWireStream::connect(UniqueFd remote, uint32_t node, bool cursorMetadata,
                                                        Callbacks callbacks, std::string& error) {
    initPipeWire();
    auto impl = std::make_unique<Impl>();
    impl->cursorMetadata = cursorMetadata;
    impl->callbacks = std::move(callbacks);
    impl->loop.reset(pw_thread_loop_new("PipeWireStream", nullptr));
    if (!impl->loop) {
        error = "cannot make a PipeWire loop";
        return nullptr;
    }
    impl->context.reset(pw_context_new(pw_thread_loop_get_loop(impl->loop.get()), nullptr, 0));
    if (!impl->context) {
        error = "cannot make a PipeWire context";
        return nullptr;
    }
    if (pw_thread_loop_start(impl->loop.get()) < 0) {
        error = "cannot start the PipeWire thread";
        return nullptr;
    }
    std::unique_ptr<PipeWireStream> self(new PipeWireStream(std::move(impl)));
    Impl& i = *self->impl_;
    pw_thread_loop_lock(i.loop.get());
    // The core owns the descriptor from here on, also when it fails.
    i.core.reset(pw_context_connect_fd(i.context.get(), remote.release(), nullptr, 0));
    if (i.core) {
        pw_core_add_listener(i.core.get(), &i.coreListener, &kCoreEvents, &i);
        i.stream.reset(pw_stream_new(i.core.get(), "FrameDeck screen",
                                     pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                                                       "Capture", PW_KEY_MEDIA_ROLE, "Screen", nullptr)));
    }
    int result = -1;
    if (i.stream) {
        pw_stream_add_listener(i.stream.get(), &i.streamListener, &kStreamEvents, &i);
        uint8_t storage[1024];
        spa_pod_builder b = SPA_POD_BUILDER_INIT(storage, sizeof(storage));
        spa_rectangle defaultSize = SPA_RECTANGLE(1920, 1080);
        spa_rectangle minSize = SPA_RECTANGLE(1, 1);
        spa_rectangle maxSize = SPA_RECTANGLE(kLargestSide, kLargestSide);
        spa_fraction defaultRate = SPA_FRACTION(30, 1);
        spa_fraction minRate = SPA_FRACTION(0, 1);
        spa_fraction maxRate = SPA_FRACTION(1000, 1);
        // No modifier property: that is what asks for shared memory.
        const spa_pod* format = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &b, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
            SPA_FORMAT_VIDEO_format,
            SPA_POD_CHOICE_ENUM_Id(3, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA),
            SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&defaultSize, &minSize, &maxSize),
            SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&defaultRate, &minRate, &maxRate)));
        // Never relinked: when the shared screen goes away, the recording
        // must hear of it, not carry on with another video source.
        result = pw_stream_connect(i.stream.get(), PW_DIRECTION_INPUT, node,
                                   static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT |
                                                                PW_STREAM_FLAG_MAP_BUFFERS |
                                                                PW_STREAM_FLAG_DONT_RECONNECT),
                                   &format, 1);
    }
    pw_thread_loop_unlock(i.loop.get());
    if (!i.core || !i.stream || result < 0) {
        error =
            !i.core ? "cannot connect to the portal's PipeWire remote" : "cannot connect the PipeWire stream";
        return nullptr;
    }
    return self;
}

PipeWireStream::~PipeWireStream() {
    if (!impl_ || !impl_->loop)
        return;
    pw_thread_loop_stop(impl_->loop.get());
    if (impl_->stream)
        spa_hook_remove(&impl_->streamListener);
    impl_->stream.reset();
    if (impl_->core)
        spa_hook_remove(&impl_->coreListener);
    impl_->core.reset();
    impl_->context.reset();
    impl_->loop.reset();
}

bool PipeWireStream::waitForFormat(std::chrono::milliseconds timeout, int& width, int& height,
                                   std::string& error) {
    std::unique_lock lock(impl_->mutex);
    impl_->changed.wait_for(lock, timeout, [this] { return impl_->failed || impl_->width > 0; });
    if (impl_->failed) {
        error = impl_->failure;
        return false;
    }
    if (impl_->width <= 0) {
        error = "the screen cast sent no picture format";
        return false;
    }
    width = impl_->width;
    height = impl_->height;
    return true;
}

} // namespace portalcapture
